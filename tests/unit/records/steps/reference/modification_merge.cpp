// The modification merge with a walk over the list for every creation, and one more for every deletion that the
// first meets: see src/records/steps/modification_merge.cpp.
#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

bool CreateAfterDelete(const FileChangeInfo& create, const FileChangeInfo& deletion, const FileChangeInfoList& input) {
    bool flag = false;
    for (const FileChangeInfo& record : input) {
        if (record.fileName == create.fileName && record.reason == FileChangeReason::kRenameOldName &&
            record.frn == create.frn) {
            flag = true;
        } else if (flag && record.fileName == deletion.fileName && record.reason == FileChangeReason::kRenameNewName &&
                   record.frn == create.frn) {
            return true;
        }
    }
    return false;
}

bool CreateIsModification(const FileChangeInfo& create, const FileChangeInfoList& input) {
    bool modified = false;
    for (const FileChangeInfo& record : input) {
        if (record.reason == FileChangeReason::kModify && record.frn == create.frn &&
            record.fileName == create.fileName) {
            modified = true;
        } else if (modified && record.reason == FileChangeReason::kDelete && CreateAfterDelete(create, record, input)) {
            return true;
        }
    }
    return false;
}

}  // namespace

FileChangeInfoList MergeModifications(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        if (r.reason == FileChangeReason::kModify && !output.empty() &&
            output.back().reason == FileChangeReason::kModify && output.back().fileName == r.fileName) {
            output.back().fileAttributes = r.fileAttributes;
            continue;
        }
        output.push_back(r);
        if (r.reason == FileChangeReason::kCreate && CreateIsModification(r, input)) {
            output.back().reason = FileChangeReason::kModify;
        }
    }
    return output;
}

}  // namespace tavi::reference
