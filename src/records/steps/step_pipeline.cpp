#include "records/steps/step_pipeline.h"

#include <algorithm>
#include <utility>

namespace tavi::records {
namespace {

void LeaveAsRead(PipelineBatch&, StepContext&) {}

template <auto step>
void OnUsnRecords(PipelineBatch& batch, StepContext& context) {
    batch.usnRecords = step(std::exchange(batch.usnRecords, {}), context);
}

void Convert(PipelineBatch& batch, StepContext& context) {
    batch.changes = ConvertDataFormat(std::exchange(batch.usnRecords, {}), context);
}

template <auto step>
void OnChanges(PipelineBatch& batch, StepContext& context) {
    batch.changes = step(std::exchange(batch.changes, {}), context);
}

}  // namespace

const std::array<PipelineStep, kPipelineStepCount> kPipeline = {{
    {"Original USN record", LeaveAsRead, PipelineList::kUsnRecords},
    {"Filters placeholder records, including entity file free space and placeholder creation",
     OnUsnRecords<FilterPlaceholders>, PipelineList::kUsnRecords},
    {"Changing the File Attribute from a Hidden File to a Non-Hidden File", OnUsnRecords<CorrectHiddenAttributes>,
     PipelineList::kUsnRecords},
    {"Data Format Conversion", Convert, PipelineList::kChanges},
    {"Filter out the creation, modification, and deletion records of temporary files", OnChanges<FilterTemporaryFiles>,
     PipelineList::kChanges},
    {"Consecutive modification records are combined into one record", OnChanges<MergeModifications>,
     PipelineList::kChanges},
    {"Check the deletion of special files to avoid incorrect deletion", OnChanges<CheckSpecialDeletions>,
     PipelineList::kChanges},
    {"Combines the old name record and the new name record in the renaming record into a renaming record",
     OnChanges<PairRenames>, PipelineList::kChanges},
    {"Check the renaming records of special files", OnChanges<CheckSpecialRenames>, PipelineList::kChanges},
    {"Processing Rename Records with Temporary Files", OnChanges<ResolveTemporaryRenames>, PipelineList::kChanges},
    {"The operation records of the same file or directory in the same batch are combined as much as possible",
     OnChanges<MergeBatch>, PipelineList::kChanges},
    {"Split a move record from the rename record", OnChanges<SplitMoves>, PipelineList::kChanges},
}};

PipelineResult RunPipeline(PipelineBatch& batch, StepContext& context, PipelineObserver& observer,
                           std::size_t stepCount) {
    for (std::size_t i = 0; i < std::min(stepCount, kPipeline.size()); ++i) {
        const PipelineStep& step = kPipeline[i];
        step.run(batch, context);
        if (context.stop.load()) {
            return PipelineResult::kAbandoned;
        }
        if (step.result == PipelineList::kUsnRecords) {
            observer.OnUsnRecords(step.label, batch.usnRecords);
        } else {
            observer.OnChanges(step.label, batch.changes);
        }
    }
    return PipelineResult::kFinished;
}

}  // namespace tavi::records
