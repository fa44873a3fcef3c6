// The move split
//
// To the client a file that changed its directory was moved, and one that changed its name alone was renamed.
//
// The rule: a RENAME whose two paths have different directories becomes a MOVE. A path's directory is the text before
// its last backslash, and empty without one. Directories are compared exactly. Nothing else of a record changes, and no
// other kind is looked at.
//
//   RENAME docs\a.txt to docs\b.txt   -> RENAME
//   RENAME docs\a.txt to b.txt        -> MOVE, although the name changed as well
//
// Odd on purpose: a directory that was only spelt in another case is another directory.
//
// tests/unit/records/steps/reference/move_split.cpp is the same with copies.
#include <string_view>

#include "records/steps/steps.h"

namespace tavi::records {
namespace {

std::u16string_view DirectoryPart(std::u16string_view path) {
    const std::size_t backslash = path.rfind(u'\\');
    return backslash == std::u16string_view::npos ? std::u16string_view() : path.substr(0, backslash);
}

}  // namespace

StepRecordList SplitMoves(StepRecordList records, StepContext&) {
    for (StepRecord& record : records) {
        if (record.reason == FileChangeReason::kRename &&
            DirectoryPart(record.fileName) != DirectoryPart(record.originalFileName)) {
            record.reason = FileChangeReason::kMove;
        }
    }
    return records;
}

}  // namespace tavi::records
