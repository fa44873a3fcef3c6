// The special-file rename check, collected backwards and reversed: see src/records/steps/special_rename_check.cpp.
#include <algorithm>
#include <map>
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

FileChangeInfoList CheckSpecialRenames(const FileChangeInfoList& input, FileChangeInfoList& delay) {
    FileChangeInfoList output;
    std::map<std::u16string, std::size_t> creates;
    for (std::size_t i = input.size(); i-- > 0;) {
        const FileChangeInfo& r = input[i];
        output.push_back(r);
        if (r.reason == FileChangeReason::kRename && HasMatlabExtension(r.originalFileName) &&
            IsTemporaryFile(r.fileAttributes, r.fileName)) {
            const auto found = creates.find(r.originalFileName);
            if (found != creates.end()) {
                output[found->second].reason = FileChangeReason::kModify;
                output[found->second].oldfrn = r.frn;
            } else {
                delay.push_back(r);
            }
        } else if (r.reason == FileChangeReason::kCreate && HasMatlabExtension(r.fileName)) {
            creates[r.fileName] = output.size() - 1;
        }
    }
    std::reverse(output.begin(), output.end());
    return output;
}

}  // namespace tavi::reference
