// The steps of the processing cycle, in their order. Each takes a list and returns a new one; everything else it looks
// at is in its parameters. What a step does is told here in short; its source, named after the step, tells its rule.
// Steps are total (odd input passes through), keep the input's order unless their rules say otherwise, throw nothing
// but allocation failures, and none grows faster than n log n. Called on the listen thread.
#pragma once

#include <atomic>

#include "records/model/change_record.h"
#include "records/model/step_record.h"
#include "records/names/temporary_file_rules.h"
#include "records/steps/step_world.h"

namespace tavi::records {

// What a step may consult and fill besides its list. The referenced objects outlive the steps' run.
struct StepContext {
    const TemporaryFileRules& rules;
    StepWorld& world;
    // Held back for a later cycle. The conversion empties it, the special-file rename check refills it.
    FileChangeInfoList& delayRecords;
    TemporaryFileList& temporaryFiles;  // filled anew by the temporary-file filter
    const std::atomic<bool>& stop;      // once set, the batch's result is discarded: long work may end early
};

// 1, placeholder filter: drops what the journal says about cloud placeholders that are released (five records), created
// (one) or filled (eight). Sets oldfrn of what is kept to all ones.
UsnRecordList FilterPlaceholders(UsnRecordList records, StepContext& context);
// 2, hidden-attribute correction: a file that is renamed into place hidden and made visible later loses the hidden bit
// in the record of its arrival. Sets every oldfrn to all ones. Drops nothing.
UsnRecordList CorrectHiddenAttributes(UsnRecordList records, StepContext& context);
// 3, conversion: moves the held-back records into the new list, which empties context.delayRecords, and appends what
// the batch means: CREATE, DELETE, MODIFY and both rename halves. Drops what only repeats the record before it, and
// rename halves that were given already. Classifies all names.
StepRecordList DataFormatConversion(UsnRecordList records, StepContext& context);
// 4, temporary-file filter: drops creations, modifications and deletions of temporary files, but not their renames.
// Keeps a hidden placeholder twice. Empties context.temporaryFiles and lists there the temporary files that were seen.
// Asks the world about hidden files.
StepRecordList FilterTemporaryFiles(StepRecordList records, StepContext& context);
// 5, modification merge: a run of MODIFY of one path becomes the first, with the attributes of the last. A CREATE that
// is part of a save (modified, renamed away, created anew, old version deleted) becomes a MODIFY.
StepRecordList MergeModifications(StepRecordList records, StepContext& context);
// 6, special-file deletion check: drops the DELETE of a document whose path lives on in the batch.
StepRecordList CheckSpecialDeletions(StepRecordList records, StepContext& context);
// 7, rename pairing: two rename halves become one RENAME. An old name alone becomes a DELETE, a new name alone a CREATE
// or, for a directory that was deleted before, a MOVE. Adds a CREATE for everything below a directory that came in;
// asks the world for it, and ends early once context.stop is set.
StepRecordList PairRenames(StepRecordList records, StepContext& context);
// 8, special-file rename check: a MATLAB file that is renamed to a temporary name and created anew: the CREATE becomes
// a MODIFY, its oldfrn the renamed file's number. Without the CREATE a copy of the RENAME is added to
// context.delayRecords. Drops nothing.
StepRecordList CheckSpecialRenames(StepRecordList records, StepContext& context);
// 9, temporary rename resolution: drops what is left of temporary files. A RENAME from a temporary name becomes a
// MODIFY, and its number goes to the file's other records. Saves through temporary files and backups (".igbak", ".tmp"
// to ".bak") become a MODIFY; renames of one file in a row become one.
StepRecordList ResolveTemporaryRenames(StepRecordList records, StepContext& context);
// 10, batch merge: combines what happened to one path: CREATE and DELETE to nothing, DELETE and CREATE to MODIFY,
// MODIFY into the CREATE or RENAME before it, RENAME and DELETE to a DELETE of the old path.
StepRecordList MergeBatch(StepRecordList records, StepContext& context);
// 11, move split: a RENAME into another directory becomes a MOVE.
StepRecordList SplitMoves(StepRecordList records, StepContext& context);

}  // namespace tavi::records
