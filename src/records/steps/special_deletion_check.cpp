// The special-file deletion check
//
// Many programs save a document by deleting it and writing it anew. The client, told of a deletion, would remove the
// document elsewhere. So the deletion of a document is dropped when the same path goes on living in the batch.
//
// The rule, for each DELETE of a path with a document's extension (TemporaryFileRules::documentExtensions) that a later
// record of the list has as its path. Every other record is kept. L is the nearest such later record:
//   1. L is a CREATE: the DELETE is kept. The batch merge makes one modification of the two.
//   2. L is a RENAME_NEW_NAME: the DELETE is kept, unless the record right before L is a RENAME_OLD_NAME less than
//      kSaveRenameTime earlier. Then the two are one rename, which puts a new version in the document's place, and the
//      DELETE is dropped. It is kept all the same when the save-by-rename test holds: both halves have the same time
//      stamp, the last components of their paths differ, and the DELETE's path is the rename's old path.
//   3. L is anything else: the DELETE is dropped.
//
// Only DELETE records go; none changes. Paths are compared exactly.
//
//   DELETE plan.dwg, MODIFY plan.dwg   -> MODIFY plan.dwg
//   DELETE plan.dwg, CREATE plan.dwg   -> both
//   DELETE plan.dwg                    -> the same
//
// Odd on purpose: the time is a difference of unsigned numbers, so a new name that is dated before its old name is no
// quick rename. "Later" is a place in the list, not a time. And the record before L may be the DELETE itself.
//
// tests/unit/records/steps/reference/special_deletion_check.cpp collects what is kept from the back and reverses it.
// Here the walk from the back marks what is dropped, and a list without such a deletion is left alone.
#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// In the unit of the time stamps, exclusive: the two halves of one rename are stamped within a clock tick.
constexpr std::uint64_t kSaveRenameTime = 3;

bool IsSaveByRename(const StepRecord& deletion, const StepRecord& oldName, const StepRecord& newName) {
    return oldName.timestamp == newName.timestamp &&
           LastComponent(oldName.fileName) != LastComponent(newName.fileName) && deletion.fileName == oldName.fileName;
}

// `later` is not the list's first record.
bool DeletionStands(const StepRecordList& records, const StepRecord& deletion, std::size_t later) {
    const StepRecord& successor = records[later];
    if (successor.reason == FileChangeReason::kCreate) {
        return true;
    }
    if (successor.reason != FileChangeReason::kRenameNewName) {
        return false;
    }
    const StepRecord& before = records[later - 1];
    const std::uint64_t elapsed =
        static_cast<std::uint64_t>(successor.timestamp) - static_cast<std::uint64_t>(before.timestamp);
    if (before.reason == FileChangeReason::kRenameOldName && elapsed < kSaveRenameTime) {
        return IsSaveByRename(deletion, before, successor);
    }
    return true;
}

bool IsDeletedDocument(const StepRecord& record, const TemporaryFileRules& rules) {
    return record.reason == FileChangeReason::kDelete &&
           TemporaryFileRules::HasExtensionIn(rules.documentExtensions(), record.fileName);
}

}  // namespace

StepRecordList CheckSpecialDeletions(StepRecordList records, StepContext& context) {
    const auto inQuestion = [&context](const StepRecord& record) { return IsDeletedDocument(record, context.rules); };
    if (std::ranges::none_of(records, inQuestion)) {
        return records;
    }
    std::vector<bool> dropped(records.size());
    std::unordered_map<std::u16string_view, std::size_t> nextWithName;
    nextWithName.reserve(records.size());
    for (std::size_t index = records.size(); index-- > 0;) {
        const StepRecord& record = records[index];
        const auto [entry, isLast] = nextWithName.try_emplace(record.fileName, index);
        const std::size_t later = std::exchange(entry->second, index);
        dropped[index] = !isLast && inQuestion(record) && !DeletionStands(records, record, later);
    }
    RemoveMarked(records, dropped);
    return records;
}

}  // namespace tavi::records
