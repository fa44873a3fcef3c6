// The conversion; whether a rename half is known already is found by a walk over the output: see
// src/records/steps/data_format_conversion.cpp.
#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

FileChangeInfo MakeInfo(const UsnRecord& record, FileChangeReason kind) {
    FileChangeInfo info;
    info.fileName = record.filename;
    info.fileAttributes = record.fileAttributes;
    info.isTempFile = IsTemporaryFile(record.fileAttributes, record.filename);
    info.reason = kind;
    info.delayCount = 0;
    info.timestamp = record.timestamp;
    info.frn = record.frn;
    info.oldfrn = kNoFrn;
    return info;
}

void ApplyRenameRule(const UsnRecord& record, FileChangeInfoList& output) {
    FileChangeReason candidate = FileChangeReason::kNone;
    if ((record.reason & 0x1000) != 0) {
        candidate = FileChangeReason::kRenameOldName;
    } else if ((record.reason & 0x2000) != 0) {
        candidate = FileChangeReason::kRenameNewName;
    } else {
        return;
    }
    for (const FileChangeInfo& earlier : output) {
        if (earlier.frn == record.frn && earlier.reason == candidate && earlier.fileName == record.filename) {
            return;
        }
    }
    output.push_back(MakeInfo(record, candidate));
}

}  // namespace

FileChangeInfoList Convert(const UsnRecordList& input) {
    FileChangeInfoList output;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const UsnRecord& r = input[i];
        if (i >= 1) {
            const UsnRecord& p = input[i - 1];
            if (p.filename == r.filename && (p.reason & r.reason) == p.reason && (r.reason & 0x3307 & ~p.reason) == 0) {
                continue;
            }
        }
        if ((r.reason & 0x80000000) == 0) {
            if (r.reason == 0x100 || r.reason == 0x500) {
                output.push_back(MakeInfo(r, FileChangeReason::kCreate));
            } else if ((r.reason & 0x7) != 0) {
                output.push_back(MakeInfo(r, FileChangeReason::kModify));
                ApplyRenameRule(r, output);
            } else {
                ApplyRenameRule(r, output);
            }
        } else if ((r.reason & 0x200) != 0) {
            output.push_back(MakeInfo(r, FileChangeReason::kDelete));
        } else if ((r.reason & 0x7) != 0) {
            output.push_back(MakeInfo(r, FileChangeReason::kModify));
        }
    }
    return output;
}

}  // namespace tavi::reference
