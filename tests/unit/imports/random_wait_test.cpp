#include "imports/random_wait.h"

#include <gtest/gtest.h>

#include <map>

namespace Drive {
namespace {

class CountingClock : public tavi::platform::Clock {
public:
    tavi::platform::SystemTime GetLocalTime() override { return {}; }
    tavi::platform::FileTime GetSystemTimePreciseAsFileTime() override { return 0; }
    bool FileTimeToLocalFileTime(tavi::platform::FileTime, tavi::platform::FileTime&) override { return false; }
    bool FileTimeToSystemTime(tavi::platform::FileTime, tavi::platform::SystemTime&) override { return false; }
    std::int64_t Mktime64(const tavi::platform::CalendarTime&) override { return -1; }
    void WsetlocaleAll(const std::u16string&) override {}
    std::uint64_t RandomNumber() override { return next++; }

    std::uint64_t next = 0;
};

TEST(GetRandWaitTime, IsUniformBetweenTenAndAHundredMilliseconds) {
    CountingClock clock;
    std::map<std::uint64_t, int> seen;
    for (int i = 0; i < 91 * 3; ++i) {
        ++seen[GetRandWaitTime(clock)];
    }
    ASSERT_EQ(seen.size(), 91u);
    EXPECT_EQ(seen.begin()->first, 10u);
    EXPECT_EQ(seen.rbegin()->first, 100u);
    for (const auto& [wait, count] : seen) {
        EXPECT_EQ(count, 3) << wait;
    }
}

TEST(GetRandWaitTime, StaysInItsBoundsForTheLargestNumber) {
    CountingClock clock;
    clock.next = ~std::uint64_t{0};
    EXPECT_GE(GetRandWaitTime(clock), 10u);
    clock.next = ~std::uint64_t{0};
    EXPECT_LE(GetRandWaitTime(clock), 100u);
}

}  // namespace
}  // namespace Drive
