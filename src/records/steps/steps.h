// The steps of the processing cycle, in their order. Each takes a list and returns a new one; everything else it looks
// at is in its parameters. Steps are total (odd input passes through), keep the input's order unless their rules say
// otherwise, throw nothing but allocation failures, and none grows faster than n log n. Called on the listen thread.
#pragma once

#include <atomic>

#include "records/model/change_record.h"
#include "records/model/step_record.h"
#include "records/steps/step_world.h"
#include "records/names/temporary_file_rules.h"

namespace tavi::records {

// What a step may consult and fill besides its list. The referenced objects outlive the steps' run.
struct StepContext {
    const TemporaryFileRules& rules;
    StepWorld& world;
    FileChangeInfoList&
        delayRecords;  // held back for a later cycle; the conversion step empties it, later steps refill it
    TemporaryFileList& temporaryFiles;  // filled anew by the temporary-file filter
    const std::atomic<bool>& stop;      // once set, the batch's result is discarded: long work may end early
};

// 1: drops the journal's traces of a placeholder that is released, created or filled.
UsnRecordList FilterPlaceholders(UsnRecordList records, StepContext& context);
// 2: a file that arrives hidden and is made visible later is reported visible.
UsnRecordList CorrectHiddenAttributes(UsnRecordList records, StepContext& context);
// 3: the held delay records, then the conversion of the batch.
StepRecordList ConvertDataFormat(UsnRecordList records, StepContext& context);
// 4: drops changes of temporary files; lists the temporary files seen.
StepRecordList FilterTemporaryFiles(StepRecordList records, StepContext& context);
// 5: a run of modifications becomes one.
StepRecordList MergeModifications(StepRecordList records, StepContext& context);
// 6: drops deletions of documents that are saves.
StepRecordList CheckSpecialDeletions(StepRecordList records, StepContext& context);
// 7: rename halves become one rename; what moved in from outside is expanded.
StepRecordList PairRenames(StepRecordList records, StepContext& context);
// 8: saves of MATLAB files through a rename become modifications.
StepRecordList CheckSpecialRenames(StepRecordList records, StepContext& context);
// 9: resolves renames through temporary files.
StepRecordList ResolveTemporaryRenames(StepRecordList records, StepContext& context);
// 10: operations on one path in one batch are combined.
StepRecordList MergeBatch(StepRecordList records, StepContext& context);
// 11: a rename across directories is a move.
StepRecordList SplitMoves(StepRecordList records, StepContext& context);

}  // namespace tavi::records
