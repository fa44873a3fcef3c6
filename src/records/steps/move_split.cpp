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
