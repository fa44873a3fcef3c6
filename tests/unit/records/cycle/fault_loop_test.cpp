// Every system and database call of a cycle fails in turn, once or for ever: the database then holds all of a batch
// with its position or none of it, nothing leaks, and later cycles deliver what is missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/records/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using ::testing::IsEmpty;

constexpr std::uint64_t kMostCalls = 2000;

struct Outcome {
    bool fired = false;
    std::string failedCall;
    bool batchStored = false;          // some row of the batch is there
    std::int64_t positionMoved = 0;    // how far the stored position has gone
    std::int64_t batchBytes = 0;       // how far it goes with the whole batch
    bool heldDelivered = false;        // the held-back record is a change now
    bool heldStillHeld = false;        // it is in the table of held-back records
    std::vector<std::string> changes;  // after a further, undisturbed task
};

class CycleFaults : public ::testing::TestWithParam<bool> {
protected:
    static Outcome Run(std::uint64_t nth, bool forEver);
};

// Two cycles of a folder with work to do: a directory, a file, a temporary file, a held-back record. The calls of the
// first one fail.
Outcome CycleFaults::Run(std::uint64_t nth, bool forEver) {
    testing::CycleRig rig;
    rig.RunSql(
        "INSERT INTO delayRecord (filePath, originalFilePath, fileAttributes, isTempFile, reason, delayCount, "
        "time_stamp, frn) VALUES ('held.mlx', 'was.mlx', 32, 0, 5, 0, 1234, 77);");
    auto cycle = rig.StartCycle();
    rig.MakeFile(u"C:\\Sync\\Docs\\a.txt", "text");
    rig.MakeFile(u"C:\\Sync\\b.tmp");
    const std::vector<std::string> before = rig.Everything();
    const std::int64_t start = cycle->startUsn();
    const std::int64_t end = rig.NextUsn();

    Outcome outcome;
    const std::uint64_t firedBefore = rig.machine.faults().fired();
    rig.machine.faults().Fail({.nth = nth, .forEver = forEver});
    const int result = cycle->GetAndHandleUSNRecord();
    rig.machine.faults().Clear();
    outcome.fired = rig.machine.faults().fired() != firedBefore;
    outcome.failedCall = outcome.fired ? rig.machine.faults().lastFired() : "";
    if (result == 0) {
        EXPECT_EQ(rig.Everything(), before) << outcome.failedCall;
        EXPECT_EQ(cycle->startUsn(), start) << outcome.failedCall;
        EXPECT_TRUE(rig.log.HasError("FileChangeRecord", "GetAndHandleUSNRecord",
                                     "Writing to the database fails after several attempts"))
            << outcome.failedCall;
    }
    outcome.batchStored = !rig.Rows("SELECT * FROM fileChangeRecord WHERE relativePath LIKE 'Docs%';").empty();
    outcome.positionMoved = rig.Position() - start;
    outcome.batchBytes = end - start;
    outcome.heldDelivered = !rig.Rows("SELECT * FROM fileChangeRecord WHERE relativePath = 'held.mlx';").empty();
    outcome.heldStillHeld = !rig.Rows("SELECT * FROM delayRecord;").empty();
    // A device that is not ready has its journal deleted, by design.
    const bool journalLives = rig.volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.active(); });
    EXPECT_TRUE(journalLives || cycle->journal().journalLost()) << outcome.failedCall;
    cycle.reset();
    EXPECT_THAT(rig.machine.leaks(), IsEmpty()) << outcome.failedCall;

    if (journalLives) {
        cycle = rig.StartCycle();
        EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
        EXPECT_EQ(rig.Position(), rig.NextUsn());
    }
    outcome.changes = rig.Changes();
    return outcome;
}

TEST_P(CycleFaults, BatchAndPositionAreStoredTogetherOrNotAtAll) {
    const Outcome good = Run(kMostCalls, false);
    ASSERT_FALSE(good.fired);
    ASSERT_TRUE(good.batchStored && good.positionMoved == good.batchBytes && good.heldDelivered && !good.heldStillHeld);
    std::uint64_t calls = 0;
    for (std::uint64_t nth = 1; nth < kMostCalls; ++nth) {
        const Outcome outcome = Run(nth, GetParam());
        if (!outcome.fired) {
            break;
        }
        ++calls;
        // A time stamp that could not be had may split the batch; then a part of it is stored with its own position.
        EXPECT_TRUE(outcome.positionMoved > 0 || !outcome.batchStored) << outcome.failedCall;
        EXPECT_LE(outcome.positionMoved, outcome.batchBytes) << outcome.failedCall;
        EXPECT_NE(outcome.heldDelivered, outcome.heldStillHeld) << outcome.failedCall;
        if (outcome.failedCall.starts_with("Sqlite.")) {
            EXPECT_EQ(outcome.changes, good.changes) << outcome.failedCall;
        }
    }
    EXPECT_GT(calls, 20U) << "a cycle makes more calls than that";
    EXPECT_LT(calls, kMostCalls - 1);
}

INSTANTIATE_TEST_SUITE_P(Calls, CycleFaults, ::testing::Values(false, true),
                         [](const auto& instance) { return instance.param ? "ForEver" : "Once"; });

}  // namespace
}  // namespace tavi::records
