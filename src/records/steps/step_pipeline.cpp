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
    batch.changes = DataFormatConversion(std::exchange(batch.usnRecords, {}), context);
}

template <auto step>
void OnChanges(PipelineBatch& batch, StepContext& context) {
    batch.changes = step(std::exchange(batch.changes, {}), context);
}

}  // namespace

const std::array<PipelineStep, kPipelineStepCount> kPipeline = {{
    {"Original USN record", "the journal's records of the batch, as read", LeaveAsRead, PipelineList::kUsnRecords},
    {"Filters placeholder records, including entity file free space and placeholder creation",
     "creating, filling and releasing a cloud placeholder is no change of the user's", OnUsnRecords<FilterPlaceholders>,
     PipelineList::kUsnRecords},
    {"Changing the File Attribute from a Hidden File to a Non-Hidden File",
     "a file that arrives hidden and is made visible is reported visible", OnUsnRecords<CorrectHiddenAttributes>,
     PipelineList::kUsnRecords},
    {"Data Format Conversion",
     "creating, writing, deleting and renaming are changes; closing alone, attributes, rights and what repeats the "
     "record before are none",
     Convert, PipelineList::kChanges},
    {"Filter out the creation, modification, and deletion records of temporary files",
     "creating, changing and deleting temporary, lock and download files is not reported",
     OnChanges<FilterTemporaryFiles>, PipelineList::kChanges},
    {"Consecutive modification records are combined into one record",
     "modifications of one file that follow each other are reported once", OnChanges<MergeModifications>,
     PipelineList::kChanges},
    {"Check the deletion of special files to avoid incorrect deletion",
     "a document that is deleted and written again under its name was saved, not deleted",
     OnChanges<CheckSpecialDeletions>, PipelineList::kChanges},
    {"Combines the old name record and the new name record in the renaming record into a renaming record",
     "an old and a new name make one rename; what leaves the folder is deleted, what comes into it created",
     OnChanges<PairRenames>, PipelineList::kChanges},
    {"Check the renaming records of special files",
     "a save that renames the old file away is a modification; such a rename may be kept for the next batch, too",
     OnChanges<CheckSpecialRenames>, PipelineList::kChanges},
    {"Processing Rename Records with Temporary Files",
     "a save through a temporary file is a modification of the file itself", OnChanges<ResolveTemporaryRenames>,
     PipelineList::kChanges},
    {"The operation records of the same file or directory in the same batch are combined as much as possible",
     "what happens to one file in one batch is reported as its result; what is created and deleted in it not at all",
     OnChanges<MergeBatch>, PipelineList::kChanges},
    {"Split a move record from the rename record", "a rename into another directory is a move", OnChanges<SplitMoves>,
     PipelineList::kChanges},
}};

std::size_t ConversionStep() {
    const auto step = std::ranges::find(kPipeline, PipelineList::kChanges, &PipelineStep::result);
    return static_cast<std::size_t>(step - kPipeline.begin());
}

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
