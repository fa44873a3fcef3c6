// The move split: see src/records/steps/move_split.cpp.
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

FileChangeInfoList SplitMoves(const FileChangeInfoList& input) {
    const auto directoryOf = [](const std::u16string& path) {
        const std::size_t backslash = path.rfind(u'\\');
        return backslash == std::u16string::npos ? std::u16string() : path.substr(0, backslash);
    };
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        output.push_back(r);
        if (r.reason == FileChangeReason::kRename && directoryOf(r.fileName) != directoryOf(r.originalFileName)) {
            output.back().reason = FileChangeReason::kMove;
        }
    }
    return output;
}

}  // namespace tavi::reference
