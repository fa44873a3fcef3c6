#include "sim/sim_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;

class ClockTest : public testing::Test {
protected:
    Machine machine;
    Platform platform = machine.platform();
};

TEST_F(ClockTest, WallClockStartsAtAKnownTimeAndMovesWithVirtualTime) {
    EXPECT_EQ(platform.clock.GetLocalTime(), (SystemTime{2024, 5, 1, 6, 7, 8, 9, 0}));
    platform.threads.Sleep(51234);
    EXPECT_EQ(platform.clock.GetLocalTime(), (SystemTime{2024, 5, 1, 6, 7, 9, 0, 234}));
    machine.clock().SetOffset(-8 * 60);
    EXPECT_EQ(platform.clock.GetLocalTime(), (SystemTime{2024, 5, 0, 5, 23, 9, 0, 234}));
}

TEST_F(ClockTest, ConvertsFileTimes) {
    machine.clock().SetOffset(90);
    FileTime local = 0;
    ASSERT_TRUE(platform.clock.FileTimeToLocalFileTime(131926665709243619, local));
    EXPECT_EQ(local, 131926665709243619 + 90ULL * 60 * 10000000);
    SystemTime time;
    ASSERT_TRUE(platform.clock.FileTimeToSystemTime(131926665709243619, time));
    EXPECT_EQ(time, (SystemTime{2019, 1, 2, 22, 21, 36, 10, 924}));
    ASSERT_TRUE(platform.clock.FileTimeToSystemTime(0, time));
    EXPECT_EQ(time.year, 1601);
    EXPECT_FALSE(platform.clock.FileTimeToSystemTime(~FileTime{0}, time));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInvalidParameter);
}

TEST_F(ClockTest, MktimeUsesTheRuntimesZoneAndNormalises) {
    EXPECT_EQ(platform.clock.Mktime64({70, 0, 1, 0, 0, 0, 0}), 0);
    EXPECT_EQ(platform.clock.Mktime64({124, 1, 29, 12, 0, 1, 0}), 1709208001);
    EXPECT_EQ(platform.clock.Mktime64({123, 13, 29, 12, 0, 1, 0}), 1709208001) << "month 13 is February of next year";
    machine.clock().SetRuntimeOffset(60);
    EXPECT_EQ(platform.clock.Mktime64({124, 1, 29, 13, 0, 1, 0}), 1709208001);
    EXPECT_EQ(platform.clock.Mktime64({70, 0, 1, 0, 0, 0, 0}), -1) << "before 1970 in UTC";
}

TEST_F(ClockTest, SettingTheWallClockBackLeavesVirtualTimeAlone) {
    const FileTime before = machine.clock().NowUtc();
    platform.threads.Sleep(1000);
    machine.clock().SetNowUtc(before - 10000000);
    EXPECT_EQ(machine.NowMilliseconds(), 1000);
    EXPECT_EQ(platform.clock.GetLocalTime().second, 8);
}

TEST_F(ClockTest, LocaleAndRandomNumbersAreRememberedAndRepeatable) {
    platform.clock.WsetlocaleAll(u"chs");
    EXPECT_EQ(machine.clock().locale(), u"chs");
    Machine same;
    Machine other({.seed = 5});
    const std::uint64_t number = platform.clock.RandomNumber();
    EXPECT_EQ(same.platform().clock.RandomNumber(), number);
    EXPECT_NE(other.platform().clock.RandomNumber(), number);
    EXPECT_NE(platform.clock.RandomNumber(), number);
}

TEST_F(ClockTest, ErrorTextsEndWithALineBreakAndMayBeMissing) {
    EXPECT_EQ(platform.errors.FormatMessageW(5), u"Access is denied.\r\n");
    EXPECT_EQ(platform.errors.FormatMessageW(99999), u"");
    machine.errors().SetText(99999, u"text\r\n");
    EXPECT_EQ(platform.errors.FormatMessageW(99999), u"text\r\n");
}

TEST_F(ClockTest, HeapMemoryIsZeroedAndKnowsItsSize) {
    void* memory = platform.heap.HeapAlloc(1048576);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(platform.heap.HeapSize(memory), 1048576U);
    EXPECT_EQ(static_cast<unsigned char*>(memory)[1048575], 0);
    platform.heap.HeapFree(memory);
    platform.heap.HeapFree(nullptr);
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
}

}  // namespace
}  // namespace tavi::sim
