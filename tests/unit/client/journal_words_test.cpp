#include "commands/journal_words.h"

#include <gtest/gtest.h>

namespace tavi::client {
namespace {

JournalLook Seen(std::int64_t first, std::int64_t next, std::uint64_t maximum = 1000) {
    JournalLook look;
    look.state = JournalLook::State::kSeen;
    look.data.firstUsn = first;
    look.data.nextUsn = next;
    look.data.maximumSize = maximum;
    return look;
}

TEST(JournalWords, APositionAtEitherEndIsValid) {
    const JournalLook look = Seen(100, 200);
    EXPECT_EQ(JudgePosition(look, 99), PositionState::kExpired);
    EXPECT_EQ(JudgePosition(look, 100), PositionState::kValid);
    EXPECT_EQ(JudgePosition(look, 200), PositionState::kValid);
    EXPECT_EQ(JudgePosition(look, 201), PositionState::kAhead);
}

TEST(JournalWords, SayWhereAPositionLies) {
    const JournalLook look = Seen(1000, 20000);
    EXPECT_EQ(DescribePosition(look, 4000),
              "16,000 bytes behind the journal's end, 3,000 bytes ahead of its beginning");
    EXPECT_EQ(DescribePosition(look, 1), "expired: the journal begins 999 bytes later");
    EXPECT_EQ(DescribePosition(look, 30000), "not of this journal, which ends 10,000 bytes earlier");
    EXPECT_EQ(DescribePosition(JournalLook{}, 1), "not compared with the journal");
}

TEST(JournalWords, AFullerJournalHoldsLess) {
    constexpr std::uint64_t kHour = 3600ULL * 10'000'000;
    JournalLook look = Seen(0, 500, 1000);
    EXPECT_FALSE(HoursHeld(look).has_value());
    look.age = kHour;
    ASSERT_TRUE(HoursHeld(look).has_value());
    EXPECT_DOUBLE_EQ(*HoursHeld(look), 2.0);
    look.data.nextUsn = 2000;
    EXPECT_DOUBLE_EQ(*HoursHeld(look), 0.5);
}

TEST(JournalWords, TooLittleSaysNothingOfTheRate) {
    JournalLook look = Seen(0, 500);
    look.age = 59ULL * 10'000'000;
    EXPECT_FALSE(HoursHeld(look).has_value());
    look.age = 1'000'000'000'000;
    look.data.nextUsn = 0;
    EXPECT_FALSE(HoursHeld(look).has_value());
}

TEST(JournalWords, SizesHaveUnits) {
    EXPECT_EQ(FormatBytes(0), "0 bytes");
    EXPECT_EQ(FormatBytes(1023), "1023 bytes");
    EXPECT_EQ(FormatBytes(1024), "1 KiB");
    EXPECT_EQ(FormatBytes(1536), "1.5 KiB");
    EXPECT_EQ(FormatBytes(32ULL << 20), "32 MiB");
    EXPECT_EQ(FormatBytes(5ULL << 40), "5 TiB");
    EXPECT_EQ(FormatBytes(5000ULL << 40), "5000 TiB");
}

}  // namespace
}  // namespace tavi::client
