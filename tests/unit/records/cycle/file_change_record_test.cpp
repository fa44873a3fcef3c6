// One cycle: the steps with their dumps, the save with its retries, and what a stop or a failure leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "records/dumps/record_dumps.h"
#include "records/steps/step_pipeline.h"
#include "unit/records/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kGivesUp = "Writing to the database fails after several attempts";

class Cycle : public ::testing::Test, protected testing::CycleRig {
protected:
    std::vector<sim::LogLine> SyncLines() const {
        std::vector<sim::LogLine> lines;
        for (const sim::LogLine& line : log.Lines()) {
            if (line.kind == sim::LogKind::kSync) {
                lines.push_back(line);
            }
        }
        return lines;
    }
    // Fails the next saves at their first statement.
    void FailSaves(int times) {
        for (int i = 1; i <= times; ++i) {
            machine.faults().Fail({.call = "Sqlite.OpenV2", .nth = static_cast<std::uint64_t>(i), .code = 14});
        }
    }
    void HoldBack() {
        RunSql(
            "INSERT INTO delayRecord (filePath, originalFilePath, fileAttributes, isTempFile, reason, delayCount, "
            "time_stamp, frn) VALUES ('held.mlx', 'was.mlx', 32, 0, 5, 0, 1234, 77);");
    }
};

TEST_F(Cycle, CreatedFileIsStoredWithThePositionBehindIt) {
    const auto cycle = StartCycle();
    MakeFile(u"C:\\Sync\\a.txt", "text");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
    EXPECT_EQ(Position(), NextUsn());
    EXPECT_EQ(cycle->startUsn(), NextUsn());
}

TEST_F(Cycle, EveryStepsListIsDumpedUnderItsLabelInOrder) {
    const auto cycle = StartCycle();
    MakeFile(u"C:\\Sync\\a.txt");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    std::vector<std::string> expected = {
        "WriteUSNLog/Original USN record",
        "WriteUSNLog/Filters placeholder records, including entity file free space and placeholder creation",
        "WriteUSNLog/Changing the File Attribute from a Hidden File to a Non-Hidden File",
        "WriteUSNLog/Data Format Conversion",
        "WriteUSNLog/Filter out the creation, modification, and deletion records of temporary files",
        "WriteUSNLog/Consecutive modification records are combined into one record",
        "WriteUSNLog/Check the deletion of special files to avoid incorrect deletion",
        "WriteUSNLog/Combines the old name record and the new name record in the renaming record into a renaming "
        "record",
        "WriteUSNLog/Check the renaming records of special files",
        "WriteUSNLog/Processing Rename Records with Temporary Files",
        "WriteUSNLog/The operation records of the same file or directory in the same batch are combined as much as "
        "possible",
        "WriteUSNLog/Split a move record from the rename record",
        "WriteChangeJournal/record"};
    std::vector<std::string> labels;
    for (const sim::LogLine& line : SyncLines()) {
        labels.push_back(line.classTag + "/" + line.function);
    }
    EXPECT_EQ(labels, expected);
}

TEST_F(Cycle, DumpsAreRawUpToStep2AndProcessedFromStep3On) {
    const auto cycle = StartCycle();
    MakeFile(u"C:\\Sync\\a.txt");
    cycle->GetAndHandleUSNRecord();
    const std::vector<sim::LogLine> lines = SyncLines();
    ASSERT_THAT(lines, SizeIs(13));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const char* header = i <= 2 ? "usn\treason\t" : "fileName\toriginalFileName\t";
        EXPECT_TRUE(lines[i].text.starts_with(header)) << lines[i].function;
    }
    EXPECT_EQ(lines[12].text, lines[11].text) << "the final list once more";
}

TEST_F(Cycle, EmptyListsAreNotDumped) {
    const auto cycle = StartCycle();
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(SyncLines(), IsEmpty());
    // A temporary file's records end at the temporary-file filter.
    MakeFile(u"C:\\Sync\\report.tmp");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    const std::vector<sim::LogLine> lines = SyncLines();
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines.back().function, "Data Format Conversion");
    EXPECT_THAT(Rows("SELECT filePath, isHandle FROM temporaryFile;"), ElementsAre("report.tmp|0"));
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(Cycle, GapLeavesTheSecondRecordToTheNextCycle) {
    const auto cycle = StartCycle(1000);
    Append(1, u"a.txt", 0);
    const std::int64_t second = NextUsn();
    Append(2, u"b.txt", 5000);
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
    EXPECT_EQ(Position(), second);
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|", "1|b.txt|"));
    EXPECT_EQ(Position(), NextUsn());
}

TEST_F(Cycle, HeldBackRecordsFlowWithoutNewOnesAndThePositionIsStored) {
    HoldBack();
    const auto cycle = StartCycle();
    MakeFile(u"C:\\Elsewhere\\a.txt");
    EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx"));
    EXPECT_THAT(cycle->delayRecords(), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM delayRecord;"), IsEmpty());
    EXPECT_EQ(Position(), NextUsn());
}

TEST_F(Cycle, RecordThatAStepHoldsBackIsStoredForTheNextOne) {
    const auto cycle = StartCycle();
    MakeFile(u"C:\\Sync\\model.mlx");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    volume().Rename(u"C:\\Sync\\model.mlx", u"C:\\Sync\\0a1b2c3d.tmp");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
    EXPECT_THAT(Rows("SELECT filePath, originalFilePath FROM delayRecord;"), ElementsAre("0a1b2c3d.tmp|model.mlx"));
}

// A program saves by moving the old file away and writing a new one, and the service is stopped in between.
TEST_F(Cycle, RecordHeldBackThroughTwoCyclesAndARestartBecomesAModification) {
    auto cycle = StartCycle();
    MakeFile(u"C:\\Sync\\model.mlx");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    volume().Rename(u"C:\\Sync\\model.mlx", u"C:\\Sync\\0a1b2c3d.tmp");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1) << "nothing new: it is held on";
    EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
    cycle.reset();
    cycle = StartCycle();
    EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
    const std::size_t before = Changes().size();
    MakeFile(u"C:\\Sync\\model.mlx");
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    std::vector<std::string> changes = Changes();
    changes.erase(changes.begin(), changes.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(changes, ::testing::Contains("3|model.mlx|"));
    EXPECT_THAT(changes, ::testing::Not(::testing::Contains("1|model.mlx|")));
    EXPECT_THAT(cycle->delayRecords(), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM delayRecord;"), IsEmpty());
}

TEST_F(Cycle, FailedSaveIsTriedTenTimesWithRandomWaitsBetween) {
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    FailSaves(9);
    const std::int64_t before = machine.NowMilliseconds();
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    const std::int64_t waited = machine.NowMilliseconds() - before - 500;  // half a second before the second read
    EXPECT_GE(waited, 9 * 10);
    EXPECT_LE(waited, 9 * 100);
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
    EXPECT_FALSE(log.HasError("FileChangeRecord", "GetAndHandleUSNRecord", kGivesUp));
}

TEST_F(Cycle, TenFailedSavesRestoreEverythingAndTheNextCycleDeliversTheSame) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    const std::int64_t start = cycle->startUsn();
    const FileChangeInfoList held = cycle->delayRecords();
    const std::vector<std::string> before = Everything();
    FailSaves(10);
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0);
    EXPECT_EQ(log.Count(kGivesUp), 1U);
    EXPECT_TRUE(log.HasError("FileChangeRecord", "GetAndHandleUSNRecord", kGivesUp));
    EXPECT_EQ(cycle->startUsn(), start);
    EXPECT_EQ(cycle->delayRecords(), held);
    EXPECT_EQ(Everything(), before);

    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx", "1|a.txt|"));
    EXPECT_EQ(Position(), NextUsn());
}

TEST_F(Cycle, StopWhileGatheringWritesNothing) {
    const auto cycle = StartCycle(60'000);
    Append(1, u"a.txt", 0);
    const std::vector<std::string> before = Everything();
    int reads = 0;
    files.beforeControl = [&](std::uint32_t code) {
        if (code == platform::kFsctlReadUsnJournal && ++reads == 3) {
            abandon = true;
        }
    };
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_EQ(Everything(), before);
    EXPECT_THAT(SyncLines(), IsEmpty());
}

TEST_F(Cycle, StopDuringAnyStepWritesNothingAndKeepsTheBatchForTheNextCycle) {
    for (std::size_t step = 0; step + 1 < kPipeline.size(); ++step) {
        HoldBack();
        const auto cycle = StartCycle();
        Append(100 + step, u"a.txt", static_cast<std::int64_t>(step));
        const std::vector<std::string> before = Everything();
        log.OnLine([&](const sim::LogLine& line) {
            if (line.function == kPipeline[step].label) {
                abandon = true;
            }
        });
        EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
        log.OnLine({});
        EXPECT_EQ(Everything(), before) << kPipeline[step].label;
        EXPECT_EQ(SyncLines().back().function, kPipeline[step].label) << "the next step's result is not dumped";

        abandon = false;
        EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
        EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx", "1|a.txt|")) << kPipeline[step].label;
        RunSql("DELETE FROM fileChangeRecord;");
    }
}

TEST_F(Cycle, StopAfterTheLastStepsCheckStillStores) {
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    log.OnLine([&](const sim::LogLine& line) { abandon = abandon || line.function == "record"; });
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    log.OnLine({});
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
}

TEST_F(Cycle, StopThatIsSetAlreadyReadsNothing) {
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    const std::int64_t start = cycle->startUsn();
    files.controls.clear();
    abandon = true;
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(files.controls, IsEmpty());
    EXPECT_EQ(cycle->startUsn(), start);
    EXPECT_TRUE(abandon) << "the cycle reads the flag and never writes it";
}

TEST_F(Cycle, LostPositionShowsInTheFlagAndEndsAsAQuietCycle) {
    const auto cycle = StartCycle();
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 87};
    files.refusals[platform::kFsctlQueryUsnJournal] = {1, 1179};
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_TRUE(cycle->journal().positionLost());
}

TEST_F(Cycle, PositionBeyondTheJournalIsReplacedAndStored) {
    SetPosition(NextUsn() + 4096);
    const auto cycle = StartCycle();
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_EQ(Position(), NextUsn());
}

TEST_F(Cycle, RunsWithoutInitFailingOnlyToRead) {
    const auto cycle = MakeCycle();
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(Cycle, StagesCanBeRunOneByOne) {
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    UsnRecordList batch = cycle->GatherBatch();
    ASSERT_THAT(batch, SizeIs(1));
    const auto result = cycle->RunSteps(std::move(batch));
    ASSERT_TRUE(result.has_value());
    ASSERT_THAT(result->changes, SizeIs(1));
    EXPECT_EQ(result->changes[0].reason, FileChangeReason::kCreate);
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_TRUE(cycle->Store(*result));
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
}

TEST_F(Cycle, NumberAboveTheSignedRangeIsStoredBitForBit) {
    const auto cycle = StartCycle();
    constexpr std::uint64_t kAboveSigned = (std::uint64_t{37224} << 48U) + 115;
    Append(kAboveSigned, u"a.txt", 0);
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Rows("SELECT frn FROM fileChangeRecord;"),
                ElementsAre(std::to_string(static_cast<std::int64_t>(kAboveSigned))));
}

}  // namespace
}  // namespace tavi::records
