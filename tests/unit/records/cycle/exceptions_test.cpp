// Exceptions, in practice a lack of memory: what is logged, what the results say, and that position and held-back
// records are as they were.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <stdexcept>

#include "unit/records/cycle/cycle_rig.h"
#include "unit/records/cycle/failing_allocation.h"

namespace tavi::records {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kLastDump = "Split a move record from the rename record";

class CycleExceptions : public ::testing::Test, protected testing::CycleRig {
protected:
    void TearDown() override { log.OnLine({}); }

    void HoldBack() {
        RunSql(
            "INSERT INTO delayRecord (filePath, originalFilePath, fileAttributes, isTempFile, reason, delayCount, "
            "time_stamp, frn) VALUES ('held.mlx', 'was.mlx', 32, 0, 5, 0, 1234, 77);");
    }
    // Throws when such a line is written, as a log without memory does; how often is counted.
    void ThrowAtLines(std::function<bool(const sim::LogLine&)> matches) {
        log.OnLine([this, matches = std::move(matches)](const sim::LogLine& line) {
            if (matches(line)) {
                ++thrown_;
                throw std::runtime_error("no memory");
            }
        });
    }
    // The first allocation behind the last step's dump finds no memory: the steps are done, nothing is stored yet.
    void FailAfterTheSteps(std::function<void(const sim::LogLine&)> onOtherLines = {}) {
        log.OnLine([this, onOtherLines = std::move(onOtherLines)](const sim::LogLine& line) {
            if (line.function == kLastDump) {
                failing_.emplace(1);
            } else if (onOtherLines) {
                onOtherLines(line);
            }
        });
    }
    void ExpectNextCycleDeliversEverything(FileChangeRecord& cycle) {
        log.OnLine({});
        failing_.reset();
        EXPECT_EQ(cycle.GetAndHandleUSNRecord(), 1);
        EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx", "1|a.txt|"));
        EXPECT_EQ(Position(), NextUsn());
    }

    int thrown_ = 0;
    std::optional<testing::FailingAllocation> failing_;
};

TEST_F(CycleExceptions, OneInTheInitialisationIsLoggedAndFailsIt) {
    const auto cycle = MakeCycle();
    ThrowAtLines([](const sim::LogLine& line) { return line.kind == sim::LogKind::kNet; });
    EXPECT_EQ(cycle->Init(), 0);
    EXPECT_EQ(thrown_, 1);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/Init/Failed to initialize the cycle: exception no memory"));
    log.OnLine({});
    EXPECT_EQ(cycle->Init(), 1);
}

TEST_F(CycleExceptions, OneInTheInitialisationThatCannotEvenBeLoggedIsNotThrown) {
    const auto cycle = MakeCycle();
    ThrowAtLines([](const sim::LogLine&) { return true; });
    EXPECT_EQ(cycle->Init(), 0);
    EXPECT_EQ(thrown_, 2);
}

TEST_F(CycleExceptions, OneWhileABatchIsProcessedIsLoggedAndEverythingRestored) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    const std::int64_t start = cycle->startUsn();
    const FileChangeInfoList held = cycle->delayRecords();
    ASSERT_THAT(held, SizeIs(1));
    const std::vector<std::string> before = Everything();
    // By then the batch is read and the held-back record has gone into it.
    FailAfterTheSteps();
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0);
    EXPECT_THAT(
        Errors(),
        ElementsAre("FileChangeRecord/GetAndHandleUSNRecord/Failed to process the batch: exception std::bad_alloc"));
    EXPECT_EQ(cycle->startUsn(), start);
    EXPECT_EQ(cycle->delayRecords(), held);
    EXPECT_EQ(Everything(), before);
    ExpectNextCycleDeliversEverything(*cycle);
}

TEST_F(CycleExceptions, OneThatCannotEvenBeLoggedRestoresEverythingAllTheSame) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    const std::int64_t start = cycle->startUsn();
    const FileChangeInfoList held = cycle->delayRecords();
    FailAfterTheSteps([this](const sim::LogLine& line) {
        if (line.kind == sim::LogKind::kError) {
            ++thrown_;
            throw std::runtime_error("no memory");
        }
    });
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0);
    EXPECT_EQ(thrown_, 1);
    EXPECT_EQ(cycle->startUsn(), start);
    EXPECT_EQ(cycle->delayRecords(), held);
    ExpectNextCycleDeliversEverything(*cycle);
}

TEST_F(CycleExceptions, EverythingIsRestoredBeforeTheExceptionIsLogged) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    const std::int64_t start = cycle->startUsn();
    bool logged = false;
    FailAfterTheSteps([&](const sim::LogLine& line) {
        if (line.kind == sim::LogKind::kError) {
            logged = true;
            EXPECT_EQ(cycle->startUsn(), start);
            EXPECT_THAT(cycle->delayRecords(), SizeIs(1));
        }
    });
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0);
    EXPECT_TRUE(logged);
}

TEST_F(CycleExceptions, ADumpThatFindsNoMemoryIsLeftOutAndTheBatchIsStored) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    ThrowAtLines([](const sim::LogLine& line) { return line.kind == sim::LogKind::kSync; });
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_EQ(thrown_, 13) << "twelve lists and what is stored";
    EXPECT_THAT(Errors(), SizeIs(13));
    EXPECT_THAT(Errors(), Contains("SyncLogDumps/record/No memory for this dump, it is left out"));
    EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx", "1|a.txt|"));
    EXPECT_EQ(Position(), NextUsn());
}

TEST_F(CycleExceptions, OneBeforeTheBatchIsReadIsLoggedAndNothingIsRead) {
    HoldBack();
    const auto cycle = StartCycle();
    Append(1, u"a.txt", 0);
    files.controls.clear();
    {
        const testing::FailingAllocation failing(1);  // that of the copy of what was held back
        EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0);
        EXPECT_TRUE(failing.Fired());
    }
    EXPECT_THAT(
        Errors(),
        ElementsAre("FileChangeRecord/GetAndHandleUSNRecord/Failed to start the cycle: exception std::bad_alloc"));
    EXPECT_THAT(files.controls, IsEmpty());
    ExpectNextCycleDeliversEverything(*cycle);
}

}  // namespace
}  // namespace tavi::records
