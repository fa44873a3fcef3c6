// The hidden-attribute correction
//
// Some programs write a file hidden, rename it to its final name and make it visible afterwards. To the user the file
// was never hidden, so it is reported with visible attributes from the start.
//
// The rule, for each record in order. Every record is kept; its oldfrn becomes all ones.
//   1. A record that closes its file tells nothing new and is passed over.
//   2. A new name (RENAME_NEW_NAME) of a hidden file or directory is remembered by its path: here it arrived hidden. A
//      file with a temporary name is not remembered: it is meant to be hidden.
//   3. Any other record that says "basic info changed" and is not hidden makes a path visible. If an arrival of the
//      path is remembered, the arrival loses its hidden bit, and the path is forgotten. A file with a temporary name
//      changes nothing here either.
//
// Only the hidden bit of one earlier record changes: the latest arrival under the same path, once.
//
//   RENAME_NEW_NAME a.docx hidden, BASIC_INFO_CHANGE a.docx   -> RENAME_NEW_NAME a.docx, BASIC_INFO_CHANGE a.docx
//   BASIC_INFO_CHANGE a.docx                                  -> the same: it was never seen hidden
//
// Odd on purpose: a file that is created hidden, rather than renamed, stays hidden; paths are compared, not file
// reference numbers.
//
// The reference, tests/unit/records/steps/reference/hidden_attribute_correction.cpp, asks about a temporary name for
// every record. Here the name is looked at only where it decides something.
#include <string_view>
#include <unordered_map>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

bool IsTemporaryFile(const UsnRecord& record, const TemporaryFileRules& rules) {
    return !IsDirectory(record.fileAttributes) && rules.IsTemporaryFileName(record.filename);
}

}  // namespace

UsnRecordList CorrectHiddenAttributes(UsnRecordList records, StepContext& context) {
    std::unordered_map<std::u16string_view, std::size_t> arrivedHidden;  // the index of a path's arrival
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
