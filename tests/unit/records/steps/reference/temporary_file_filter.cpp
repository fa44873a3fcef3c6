// The temporary-file filter with its two independent tests: see src/records/steps/temporary_file_filter.cpp.
#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

FileChangeInfoList FilterTemporaryFiles(const FileChangeInfoList& input, const World& world,
                                        TemporaryFileList& temporaryFiles) {
    temporaryFiles.clear();
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        if (IsRecordedTemporaryFile(r)) {
            temporaryFiles.push_back({r.fileName, r.fileAttributes, 0});
        }
        const bool hidden = IsHidden(r.fileAttributes);
        const bool temporary = IsTemporaryFile(r.fileAttributes, r.fileName);
        if (!hidden || temporary || world.placeholders.count(r.fileName) != 0) {
            if (!(r.isTempFile && (r.reason == FileChangeReason::kCreate || r.reason == FileChangeReason::kDelete ||
                                   r.reason == FileChangeReason::kModify))) {
                output.push_back(r);
            }
        }
        if (hidden && !temporary) {
            output.push_back(r);
        }
    }
    return output;
}

}  // namespace tavi::reference
