// The special-file deletion check, collected backwards and reversed: see
// src/records/steps/special_deletion_check.cpp.
#include <algorithm>
#include <map>
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

bool SaveByRename(const FileChangeInfo& deletion, std::size_t j, const FileChangeInfoList& input) {
    if (deletion.reason != FileChangeReason::kDelete || input[j].reason != FileChangeReason::kRenameNewName || j == 0 ||
        input[j - 1].reason != FileChangeReason::kRenameOldName || input[j - 1].timestamp != input[j].timestamp) {
        return false;
    }
    if (LastComponent(input[j - 1].fileName) == LastComponent(input[j].fileName)) {
        return false;
    }
    return deletion.fileName == input[j - 1].fileName;
}

bool KeepSpecialDeletion(const FileChangeInfo& deletion, std::size_t j, const FileChangeInfoList& input) {
    const FileChangeInfo& later = input[j];
    if (later.reason == FileChangeReason::kCreate) {
        return true;
    }
    if (later.reason == FileChangeReason::kRenameNewName) {
        if (j >= 1 && input[j - 1].reason == FileChangeReason::kRenameOldName &&
            UnsignedDifference(later.timestamp, input[j - 1].timestamp) < 3) {
            return SaveByRename(deletion, j, input);
        }
        return true;
    }
    return false;
}

}  // namespace

FileChangeInfoList CheckSpecialDeletions(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    std::map<std::u16string, std::size_t> later;
    for (std::size_t i = input.size(); i-- > 0;) {
        const FileChangeInfo& r = input[i];
        const auto found = later.find(r.fileName);
        if (r.reason != FileChangeReason::kDelete || !HasDocumentExtension(r.fileName) || found == later.end() ||
            KeepSpecialDeletion(r, found->second, input)) {
            output.push_back(r);
        }
        later[r.fileName] = i;
    }
    std::reverse(output.begin(), output.end());
    return output;
}

}  // namespace tavi::reference
