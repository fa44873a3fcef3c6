// The steps of the processing cycle in their order, each with its label, and the one runner that does the same for
// every step: run it, look whether the batch is abandoned, hand the result to an observer. The processing cycle and the
// replay tool use both; a test can run any prefix. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "records/steps/steps.h"

namespace tavi::records {

// The batch on its way. Up to the conversion `usnRecords` is the list, from then on `changes` (and `usnRecords` is
// empty).
struct PipelineBatch {
    UsnRecordList usnRecords;
    StepRecordList changes;
};

enum class PipelineList { kUsnRecords, kChanges };

struct PipelineStep {
    std::string_view label;    // in the sync log
    std::string_view purpose;  // for a person: a sentence without its dot
    void (*run)(PipelineBatch& batch, StepContext& context);
    PipelineList result;  // which of the two lists the step leaves
};

inline constexpr std::size_t kPipelineStepCount = 12;

// In order, 0 to 11; the first one leaves the batch as read.
extern const std::array<PipelineStep, kPipelineStepCount> kPipeline;

// The place of the step that makes changes of journal records: the first one that leaves changes.
std::size_t ConversionStep();

// Sees every step's result, empty lists too. The lists may be read during the call only.
class PipelineObserver {
public:
    virtual ~PipelineObserver() = default;
    virtual void OnUsnRecords(std::string_view label, const UsnRecordList& records) = 0;
    virtual void OnChanges(std::string_view label, const StepRecordList& records) = 0;
};

enum class PipelineResult { kFinished, kAbandoned };

// Runs the first `stepCount` steps. Ends after the step during which context.stop was set; that step's result is not
// shown, and what the batch and the context's lists hold then is of no use.
PipelineResult RunPipeline(PipelineBatch& batch, StepContext& context, PipelineObserver& observer,
                           std::size_t stepCount = kPipelineStepCount);

}  // namespace tavi::records
