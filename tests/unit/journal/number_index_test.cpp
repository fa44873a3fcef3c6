#include "journal/number_index.h"

#include <gtest/gtest.h>

#include <random>
#include <unordered_map>

namespace tavi::journal {
namespace {

TEST(NumberIndex, FindsWhatWasAddedWhateverTheNumbers) {
    std::mt19937_64 random(5);
    for (const std::uint64_t stride : {std::uint64_t{1}, std::uint64_t{1} << 32, std::uint64_t{1} << 48}) {
        NumberIndex index;
        std::unordered_map<std::uint64_t, std::uint32_t> expected;
        for (std::uint64_t i = 0; i < 20'000; ++i) {
            const std::uint64_t number = i % 2 == 0 ? i * stride : random();
            const auto place = static_cast<std::uint32_t>(expected.size());
            if (expected.emplace(number, place).second) {
                ASSERT_EQ(index.Add(number), place);
            }
        }
        for (const auto& [number, place] : expected) {
            ASSERT_EQ(index.Find(number), place);
        }
        for (int i = 0; i < 1'000; ++i) {
            const std::uint64_t number = random();
            ASSERT_EQ(index.Find(number), expected.contains(number) ? expected[number] : NumberIndex::kNone);
        }
    }
}

TEST(NumberIndex, NothingIsFoundInAnEmptyOneNorAfterClearing) {
    NumberIndex index;
    EXPECT_EQ(index.Find(0), NumberIndex::kNone);
    EXPECT_EQ(index.Find(~std::uint64_t{0}), NumberIndex::kNone);
    index.Add(0);
    index.Add(~std::uint64_t{0});
    EXPECT_EQ(index.Find(0), 0U);
    EXPECT_EQ(index.Find(~std::uint64_t{0}), 1U);
    index.Clear();
    EXPECT_EQ(index.Find(0), NumberIndex::kNone);
    EXPECT_EQ(index.Find(~std::uint64_t{0}), NumberIndex::kNone);
    index.Add(~std::uint64_t{0});
    index.Add(0);
    EXPECT_EQ(index.Find(0), 1U);
}

}  // namespace
}  // namespace tavi::journal
