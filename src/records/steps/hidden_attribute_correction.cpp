#include <string_view>
#include <unordered_map>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

bool IsTemporaryFile(const UsnRecord& record, const TemporaryFileRules& rules) {
    return (record.fileAttributes & kFileAttributeDirectory) == 0 && rules.IsTemporaryFileName(record.filename);
}

}  // namespace

UsnRecordList CorrectHiddenAttributes(UsnRecordList records, StepContext& context) {
    // By name, where a file arrived hidden. The names are views into the list, whose records stay where they are.
    std::unordered_map<std::u16string_view, std::size_t> arrivedHidden;
    for (std::size_t index = 0; index < records.size(); ++index) {
        UsnRecord& record = records[index];
        record.oldfrn = -1;
        if ((record.reason & kReasonClose) != 0) {
            continue;
        }
        const bool hidden = (record.fileAttributes & kFileAttributeHidden) != 0;
        if (hidden && (record.reason & kReasonRenameNewName) != 0) {
            if (!IsTemporaryFile(record, context.rules)) {
                arrivedHidden[record.filename] = index;
            }
        } else if (!hidden && (record.reason & kReasonBasicInfoChange) != 0) {
            const auto arrival = arrivedHidden.find(record.filename);
            if (arrival != arrivedHidden.end() && !IsTemporaryFile(record, context.rules)) {
                records[arrival->second].fileAttributes &= ~kFileAttributeHidden;
                arrivedHidden.erase(arrival);
            }
        }
    }
    return records;
}

}  // namespace tavi::records
