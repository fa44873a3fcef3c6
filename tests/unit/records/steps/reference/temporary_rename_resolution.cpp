// The temporary rename resolution; each of its four passes walks the output for every rename and changes it at
// once: see src/records/steps/temporary_rename_resolution.cpp.
#include <algorithm>
#include <map>
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

void RemoveAt(FileChangeInfoList& list, std::size_t index) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
}

void UseTemporaryRename(const FileChangeInfo& t, FileChangeInfoList& output) {
    const auto x = std::find_if(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kRename && w.fileName == t.originalFileName;
    });
    if (x == output.end()) {
        return;
    }
    const auto y = std::find_if(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kCreate && w.frn == x->frn;
    });
    if (y == output.end()) {
        return;
    }
    const records::SharedText name = x->fileName;
    const std::uint64_t frn = y->frn;
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.frn == frn && w.reason == FileChangeReason::kCreate) {
            w.fileName = name;
            w.reason = FileChangeReason::kModify;
        } else if (w.frn == frn && (w.reason == FileChangeReason::kRename || w.reason == FileChangeReason::kModify)) {
            RemoveAt(output, i);
            continue;
        }
        ++i;
    }
}

void UseBackupRename(const FileChangeInfo& r, FileChangeInfoList& output) {
    const std::size_t dot = r.originalFileName.view().rfind(u'.');
    if (dot == std::u16string::npos || LowerCase(r.originalFileName.view().substr(dot)) != u".igbak") {
        return;
    }
    const bool created = std::any_of(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kCreate && w.fileName == r.originalFileName;
    });
    if (!created) {
        return;
    }
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.reason == FileChangeReason::kCreate && w.fileName == r.originalFileName) {
            w.fileName = r.fileName;
            w.reason = FileChangeReason::kModify;
        } else if (w.reason == FileChangeReason::kRename && w.fileName == r.fileName &&
                   w.originalFileName == r.originalFileName) {
            w.reason = FileChangeReason::kModify;
        } else if (w.reason == FileChangeReason::kDelete && w.fileName == r.fileName) {
            RemoveAt(output, i);
            continue;
        }
        ++i;
    }
}

void UseRenameChain(const FileChangeInfo& r, FileChangeInfoList& output) {
    records::SharedText savedName;
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.reason != FileChangeReason::kRename) {
            ++i;
        } else if (w.fileName == r.originalFileName && w.frn == r.frn) {
            savedName = w.originalFileName;
            RemoveAt(output, i);
        } else if (w.fileName == r.fileName && w.originalFileName == r.originalFileName && !savedName.empty() &&
                   w.frn == r.frn) {
            w.originalFileName = savedName;
            return;
        } else {
            ++i;
        }
    }
}

void UseTemporaryToBackupRename(const FileChangeInfo& r, FileChangeInfoList& output) {
    const std::size_t newDot = r.fileName.view().rfind(u'.');
    const std::size_t oldDot = r.originalFileName.view().rfind(u'.');
    if (newDot == std::u16string::npos || oldDot == std::u16string::npos) {
        return;
    }
    if (LowerCase(r.fileName.view().substr(newDot)) != u".bak" ||
        LowerCase(r.originalFileName.view().substr(oldDot)) != u".tmp") {
        return;
    }
    const std::u16string_view base = r.fileName.view().substr(0, newDot);
    for (FileChangeInfo& w : output) {
        const std::size_t dot = w.fileName.view().rfind(u'.');
        if (w.reason == FileChangeReason::kCreate && dot != std::u16string::npos &&
            w.fileName.view().substr(0, dot) == base) {
            w.reason = FileChangeReason::kModify;
        }
    }
}

}  // namespace

FileChangeInfoList ResolveTemporaryRenames(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    FileChangeInfoList temporaryRenames;
    FileChangeInfoList allRenames;
    std::map<std::u16string, std::uint64_t> savedNumbers;
    for (const FileChangeInfo& r : input) {
        if (!r.isTempFile) {
            output.push_back(r);
            if (r.reason == FileChangeReason::kRename && !IsDirectory(r.fileAttributes) &&
                IsTemporaryFileName(r.originalFileName)) {
                output.back().reason = FileChangeReason::kModify;
                output.back().originalFileName = {};
                savedNumbers[r.fileName] = r.frn;
            }
        } else if (r.reason == FileChangeReason::kRename) {
            temporaryRenames.push_back(r);
        }
        if (r.reason == FileChangeReason::kRename) {
            allRenames.push_back(r);
        }
    }
    for (FileChangeInfo& w : output) {
        const auto found = savedNumbers.find(w.fileName);
        if ((w.reason == FileChangeReason::kCreate || w.reason == FileChangeReason::kModify) &&
            found != savedNumbers.end() && found->second != kNoFrn) {
            w.frn = found->second;
        }
    }
    for (const FileChangeInfo& t : temporaryRenames) {
        UseTemporaryRename(t, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseBackupRename(r, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseRenameChain(r, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseTemporaryToBackupRename(r, output);
    }
    return output;
}

}  // namespace tavi::reference
