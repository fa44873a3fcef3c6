#include "records/steps/step_pipeline.h"

#include <gtest/gtest.h>

#include <string>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

struct Seen {
    std::string label;
    PipelineList list;
    std::size_t size;

    friend bool operator==(const Seen&, const Seen&) = default;
};

class Recorder : public PipelineObserver {
public:
    void OnUsnRecords(std::string_view label, const UsnRecordList& list) override {
        Note(label, PipelineList::kUsnRecords, list.size());
    }
    void OnChanges(std::string_view label, const StepRecordList& list) override {
        Note(label, PipelineList::kChanges, list.size());
    }

    std::vector<Seen> seen;
    std::atomic<bool>* stopFlag = nullptr;  // set once `stopAfter` lists were shown
    std::size_t stopAfter = 0;

private:
    void Note(std::string_view label, PipelineList list, std::size_t size) {
        seen.push_back({std::string(label), list, size});
        if (stopFlag != nullptr && seen.size() == stopAfter) {
            *stopFlag = true;
        }
    }
};

class StepPipelineTest : public StepTest {
protected:
    Recorder recorder;
};

TEST_F(StepPipelineTest, TheLabelsStandInTheirOrder) {
    const std::string_view labels[] = {
        "Original USN record",
        "Filters placeholder records, including entity file free space and placeholder creation",
        "Changing the File Attribute from a Hidden File to a Non-Hidden File",
        "Data Format Conversion",
        "Filter out the creation, modification, and deletion records of temporary files",
        "Consecutive modification records are combined into one record",
        "Check the deletion of special files to avoid incorrect deletion",
        "Combines the old name record and the new name record in the renaming record into a renaming record",
        "Check the renaming records of special files",
        "Processing Rename Records with Temporary Files",
        "The operation records of the same file or directory in the same batch are combined as much as possible",
        "Split a move record from the rename record"};
    ASSERT_EQ(std::size(labels), kPipeline.size());
    for (std::size_t i = 0; i < kPipeline.size(); ++i) {
        EXPECT_EQ(kPipeline[i].label, labels[i]);
    }
}

TEST_F(StepPipelineTest, TheConversionIsTheStepThatLeavesTheFirstChanges) {
    EXPECT_EQ(kPipeline[ConversionStep()].label, "Data Format Conversion");
    EXPECT_EQ(kPipeline[ConversionStep() - 1].result, PipelineList::kUsnRecords);
}

TEST_F(StepPipelineTest, EveryStepsListIsShownEvenOfAnEmptyBatch) {
    PipelineBatch batch;
    EXPECT_EQ(RunPipeline(batch, context, recorder), PipelineResult::kFinished);
    ASSERT_EQ(recorder.seen.size(), kPipeline.size());
    for (std::size_t i = 0; i < kPipeline.size(); ++i) {
        const PipelineList list = i < 3 ? PipelineList::kUsnRecords : PipelineList::kChanges;
        EXPECT_EQ(recorder.seen[i], (Seen{std::string(kPipeline[i].label), list, 0}));
    }
}

TEST_F(StepPipelineTest, HeldBackRecordsFlowThroughWithoutAnyNewOnes) {
    delayRecords = {Change(kCreate, u"a")};
    PipelineBatch batch;
    RunPipeline(batch, context, recorder);
    EXPECT_EQ(batch.changes, StepRecordList{Change(kCreate, u"a")});
    EXPECT_TRUE(delayRecords.empty());
    EXPECT_EQ(recorder.seen[2].size, 0u);
    EXPECT_EQ(recorder.seen[3].size, 1u);
}

TEST_F(StepPipelineTest, APrefixRunsThatManySteps) {
    for (std::size_t count = 0; count <= kPipeline.size(); ++count) {
        recorder.seen.clear();
        PipelineBatch batch{{Usn(0x100, u"a"), Usn(0x80000102, u"a")}, {}};
        EXPECT_EQ(RunPipeline(batch, context, recorder, count), PipelineResult::kFinished);
        EXPECT_EQ(recorder.seen.size(), count);
        EXPECT_EQ(batch.usnRecords.size(), count < 4 ? 2u : 0u);
        EXPECT_EQ(batch.changes.size(), count < 4 ? 0u : count < 11 ? 2u : 1u);
    }
}

TEST_F(StepPipelineTest, AnAbandonedBatchEndsWithTheStepThatRan) {
    for (std::size_t shown = 1; shown < kPipeline.size(); ++shown) {
        stop = false;
        Recorder stopping;
        stopping.stopFlag = &stop;
        stopping.stopAfter = shown;
        PipelineBatch batch{{Usn(0x100, u"a")}, {}};
        EXPECT_EQ(RunPipeline(batch, context, stopping), PipelineResult::kAbandoned);
        EXPECT_EQ(stopping.seen.size(), shown);
    }
}

TEST_F(StepPipelineTest, ABatchAbandonedBeforehandShowsNothing) {
    stop = true;
    PipelineBatch batch{{Usn(0x100, u"a")}, {}};
    EXPECT_EQ(RunPipeline(batch, context, recorder), PipelineResult::kAbandoned);
    EXPECT_TRUE(recorder.seen.empty());
}

}  // namespace
}  // namespace tavi::records
