// How a batch is gathered: what belongs together in time, how long a quiet journal is waited for, and where the next
// read begins.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/records/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using journal::testing::FileNames;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Gathering : public ::testing::Test, protected testing::CycleRig {
protected:
    std::uint64_t Reads() const { return files.CountControls(platform::kFsctlReadUsnJournal); }
    // Lets something happen just before the n-th read from now.
    void BeforeRead(std::uint64_t nth, std::function<void()> happen) {
        files.beforeControl = [this, at = Reads() + nth, happen](std::uint32_t code) {
            if (code == platform::kFsctlReadUsnJournal && Reads() == at) {
                happen();
            }
        };
    }
};

TEST_F(Gathering, IntervalBelow500ClosesTheBatchAtTheFirstEmptyRead) {
    for (const std::uint32_t interval : {0U, 1U, 499U}) {
        const auto cycle = StartCycle(interval);
        files.controls.clear();
        const std::int64_t before = machine.NowMilliseconds();
        EXPECT_THAT(cycle->GatherBatch(), IsEmpty());
        EXPECT_EQ(Reads(), 1U);
        EXPECT_EQ(machine.NowMilliseconds(), before);
    }
}

TEST_F(Gathering, QuietJournalIsPolledTheWholeHalfSecondsOfTheInterval) {
    struct Row {
        std::uint32_t interval;
        std::uint64_t polls;
    };
    for (const Row& row : {Row{500, 1}, Row{999, 1}, Row{1000, 2}, Row{5200, 10}}) {
        const auto cycle = StartCycle(row.interval);
        files.controls.clear();
        const std::int64_t before = machine.NowMilliseconds();
        EXPECT_THAT(cycle->GatherBatch(), IsEmpty());
        EXPECT_EQ(Reads(), 1 + row.polls) << row.interval;
        EXPECT_EQ(machine.NowMilliseconds() - before, static_cast<std::int64_t>(500 * row.polls)) << row.interval;
    }
}

TEST_F(Gathering, RecordThatArrivesWhileWaitingGoesIntoTheBatch) {
    const auto cycle = StartCycle(2000);
    Append(1, u"first", 0);
    // Read 1 gives the first record, read 2 is empty, reads 3 to 6 are the polls.
    BeforeRead(5, [this] { Append(2, u"second", 1500); });
    EXPECT_EQ(FileNames(cycle->GatherBatch()), (std::vector<std::u16string>{u"first", u"second"}));
    EXPECT_EQ(cycle->startUsn(), NextUsn());
}

TEST_F(Gathering, TakenRecordsAreFollowedByAnotherReadHalfASecondLater) {
    const auto cycle = StartCycle(0);
    Append(1, u"first", 0);
    BeforeRead(2, [this] {
        Append(2, u"second", 0);
        EXPECT_EQ(machine.NowMilliseconds(), 500);
    });
    EXPECT_EQ(FileNames(cycle->GatherBatch()), (std::vector<std::u16string>{u"first", u"second"}));
    EXPECT_EQ(Reads(), 3U);
    EXPECT_EQ(machine.NowMilliseconds(), 1000);
}

TEST_F(Gathering, RecordsFurtherApartThanTheIntervalEndTheBatchBetweenThem) {
    const auto cycle = StartCycle(1000);
    Append(1, u"a", 0);
    Append(2, u"b", 1000);
    const std::int64_t third = NextUsn();
    Append(3, u"c", 2001);
    Append(4, u"d", 2002);
    EXPECT_EQ(FileNames(cycle->GatherBatch()), (std::vector<std::u16string>{u"a", u"b"}));
    EXPECT_EQ(cycle->startUsn(), third);
    EXPECT_EQ(FileNames(cycle->GatherBatch()), (std::vector<std::u16string>{u"c", u"d"}))
        << "the next batch begins with the record that was not taken";
}

TEST_F(Gathering, GapBetweenTwoReadsEndsTheBatchToo) {
    const auto cycle = StartCycle(1000);
    Append(1, u"a", 0);
    std::int64_t second = 0;
    BeforeRead(2, [&] {
        second = NextUsn();
        Append(2, u"b", 1001);
    });
    EXPECT_EQ(FileNames(cycle->GatherBatch()), std::vector<std::u16string>{u"a"});
    EXPECT_EQ(cycle->startUsn(), second);
}

TEST_F(Gathering, RecordDatedEarlierThanItsPredecessorSplitsTheBatch) {
    const auto cycle = StartCycle(60'000);
    Append(1, u"a", 100);
    const std::int64_t second = NextUsn();
    Append(2, u"b", 99);
    EXPECT_EQ(FileNames(cycle->GatherBatch()), std::vector<std::u16string>{u"a"});
    EXPECT_EQ(cycle->startUsn(), second);
}

TEST_F(Gathering, FailingReadsAreAQuietJournal) {
    const auto cycle = StartCycle(1000);
    Append(1, u"a", 0);
    files.refusals[platform::kFsctlReadUsnJournal] = {2, 5};
    EXPECT_EQ(FileNames(cycle->GatherBatch()), std::vector<std::u16string>{u"a"}) << "the third read succeeds";
}

TEST_F(Gathering, StopBeforeTheFirstReadReadsNothing) {
    const auto cycle = StartCycle(1000);
    files.controls.clear();
    abandon = true;
    EXPECT_THAT(cycle->GatherBatch(), IsEmpty());
    EXPECT_EQ(Reads(), 0U);
}

TEST_F(Gathering, StopEndsAWaitWithinOnePoll) {
    const auto cycle = StartCycle(3'600'000);
    files.controls.clear();
    BeforeRead(3, [this] { abandon = true; });
    EXPECT_THAT(cycle->GatherBatch(), IsEmpty());
    EXPECT_LE(machine.NowMilliseconds(), 1500);
}

TEST_F(Gathering, StopBetweenTwoRoundsEndsTheGathering) {
    const auto cycle = StartCycle(1000);
    Append(1, u"a", 0);
    BeforeRead(1, [this] { abandon = true; });
    EXPECT_EQ(cycle->GatherBatch().size(), 1U);
    EXPECT_EQ(Reads(), 1U);
}

TEST_F(Gathering, MoreThanOneReadIsGatheredIntoOneBatch) {
    const auto cycle = StartCycle(1000);
    std::vector<std::u16string> expected;
    for (std::uint64_t i = 0; i < 4000; ++i) {
        const std::u16string name = std::u16string(200, u'n') + static_cast<char16_t>(u'A' + i % 20);
        Append(i, name, static_cast<std::int64_t>(i));
        expected.push_back(name);
    }
    EXPECT_EQ(FileNames(cycle->GatherBatch()), expected);
    EXPECT_GT(Reads(), 2U);
}

}  // namespace
}  // namespace tavi::records
