#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "records/steps/keep_places.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// Time between the two halves of a rename that belongs to a save, in the records' unit, exclusive.
constexpr std::uint64_t kSaveRenameTime = 3;

// The names are views into the list, whose records stay where they are while the map lives.
using IndexByName = std::unordered_map<std::u16string_view, std::size_t>;

// Whether the deleted file's name was given away by the rename that ends at `newName`: an older version is parked under
// the name before it is replaced.
bool IsSaveByRename(const StepRecordList& records, const StepRecord& deletion, std::size_t newName) {
    const StepRecord& oldHalf = records[newName - 1];
    const StepRecord& newHalf = records[newName];
    return oldHalf.timestamp == newHalf.timestamp &&
           LastComponent(oldHalf.fileName) != LastComponent(newHalf.fileName) && deletion.fileName == oldHalf.fileName;
}

// Whether a deletion stands although its name appears again at index `later`, which is not the first record.
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
        return IsSaveByRename(records, deletion, later);
    }
    return true;
}

bool IsDeletedDocument(const StepRecord& record, const TemporaryFileRules& rules) {
    return record.reason == FileChangeReason::kDelete &&
           TemporaryFileRules::HasExtensionIn(rules.documentExtensions(), record.fileName);
}

bool IsFile(const StepRecord& record) {
    return (record.fileAttributes & platform::kFileAttributeDirectory) == 0;
}

}  // namespace

StepRecordList CheckSpecialDeletions(StepRecordList records, StepContext& context) {
    const auto inQuestion = [&context](const StepRecord& record) { return IsDeletedDocument(record, context.rules); };
    if (std::ranges::none_of(records, inQuestion)) {
        return records;
    }
    std::vector<bool> dropped(records.size());
    IndexByName nextWithName;
    nextWithName.reserve(records.size());
    for (std::size_t index = records.size(); index-- > 0;) {
        const StepRecord& record = records[index];
        const auto [entry, isLast] = nextWithName.try_emplace(record.fileName, index);
        const std::size_t later = std::exchange(entry->second, index);
        dropped[index] = !isLast && inQuestion(record) && !DeletionStands(records, record, later);
    }
    KeepPlaces(records, [&dropped](std::size_t index) { return !dropped[index]; });
    return records;
}

StepRecordList CheckSpecialRenames(StepRecordList records, StepContext& context) {
    const auto& matlab = context.rules.matlabExtensions();
    IndexByName createdLater;
    for (std::size_t index = records.size(); index-- > 0;) {
        const StepRecord& record = records[index];
        if (record.reason == FileChangeReason::kRename &&
            TemporaryFileRules::HasExtensionIn(matlab, record.originalFileName) && IsFile(record) &&
            record.nameClass.temporary) {
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
