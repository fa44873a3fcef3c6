// The special-file rename check
//
// MATLAB saves a script by renaming the old version to a temporary name and creating the script anew. To the user the
// script was modified, and it is still the file that it was.
//
// The rule, from the last record to the first. Every record is kept.
//   1. A RENAME of a file, not of a directory, from a path with a MATLAB extension (TemporaryFileRules::
//      matlabExtensions) to a temporary name: if a later CREATE of the old path has been met, the nearest one becomes a
//      MODIFY and its oldfrn the number of the renamed file. If none has, a copy of the record is added to the records
//      that are held back: the CREATE may come with the next batch.
//   2. A CREATE of a path with a MATLAB extension is remembered for rule 1.
// The RENAME stays where it is in either case; the temporary rename resolution deals with it.
//
//   RENAME model.mlx to a1b2c3d4, CREATE model.mlx   -> RENAME model.mlx to a1b2c3d4, MODIFY model.mlx
//   RENAME model.mlx to a1b2c3d4                     -> the same, and a copy is held back
//
// Odd on purpose: the copies stand in the order of the walk, the last rename first, behind what was held back before,
// and their delayCount is not counted up. A CREATE serves several renames of its path. A directory that is created
// serves too.
//
// tests/unit/records/steps/reference/special_rename_check.cpp builds the list from the back and reverses it; here the
// records stay in their places.
#include <string_view>
#include <unordered_map>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {

StepRecordList CheckSpecialRenames(StepRecordList records, StepContext& context) {
    const auto& matlab = context.rules.matlabExtensions();
    std::unordered_map<std::u16string_view, std::size_t> createdLater;
    for (std::size_t index = records.size(); index-- > 0;) {
        const StepRecord& record = records[index];
        if (record.reason == FileChangeReason::kRename && !platform::IsDirectory(record.fileAttributes) &&
            record.nameClass.temporary && TemporaryFileRules::HasExtensionIn(matlab, record.originalFileName)) {
            if (const auto created = createdLater.find(record.originalFileName); created != createdLater.end()) {
                records[created->second].reason = FileChangeReason::kModify;
                records[created->second].oldfrn = record.frn;
            } else {
                context.delayRecords.push_back(record);
            }
        } else if (record.reason == FileChangeReason::kCreate &&
                   TemporaryFileRules::HasExtensionIn(matlab, record.fileName)) {
            createdLater[record.fileName] = index;
        }
    }
    return records;
}

}  // namespace tavi::records
