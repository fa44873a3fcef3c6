// The batch merge: see src/records/steps/batch_merge.cpp.
#include <map>
#include <string>
#include <vector>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

// Inside the batch merge only: a rename whose file was then modified.
constexpr FileChangeReason kRenameThenModify = static_cast<FileChangeReason>(8);

struct BatchMerge {
    FileChangeInfoList records;
    std::vector<bool> removed;
    std::map<std::u16string, std::size_t> standing;

    void OnCreate(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found != standing.end() && records[found->second].reason == FileChangeReason::kDelete &&
            records[found->second].delayCount == 0) {
            records[i].reason = FileChangeReason::kModify;
            removed[found->second] = true;
        }
        standing[records[i].fileName] = i;
    }

    void OnDelete(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found == standing.end()) {
            standing[records[i].fileName] = i;
            return;
        }
        const std::size_t j = found->second;
        const FileChangeReason kind = records[j].reason;
        if (kind == FileChangeReason::kCreate) {
            removed[j] = true;
            removed[i] = true;
            standing.erase(found);
        } else if (kind == FileChangeReason::kModify) {
            removed[j] = true;
            found->second = i;
        } else if (kind == FileChangeReason::kRename || kind == kRenameThenModify) {
            records[i].fileName = records[j].originalFileName;
            removed[j] = true;
            standing[records[i].fileName] = i;
        }
    }

    void OnModify(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found == standing.end()) {
            standing[records[i].fileName] = i;
            return;
        }
        FileChangeInfo& earlier = records[found->second];
        if (earlier.reason == FileChangeReason::kCreate || earlier.reason == FileChangeReason::kModify) {
            removed[i] = true;
        } else if (earlier.reason == FileChangeReason::kRename || earlier.reason == kRenameThenModify) {
            earlier.reason = kRenameThenModify;
            removed[i] = true;
        }
    }
};

}  // namespace

FileChangeInfoList MergeBatch(const FileChangeInfoList& input) {
    BatchMerge merge{input, std::vector<bool>(input.size(), false), {}};
    for (std::size_t i = 0; i < input.size(); ++i) {
        switch (input[i].reason) {
            case FileChangeReason::kCreate:
                merge.OnCreate(i);
                break;
            case FileChangeReason::kDelete:
                merge.OnDelete(i);
                break;
            case FileChangeReason::kModify:
                merge.OnModify(i);
                break;
            case FileChangeReason::kRename:
                merge.standing[input[i].fileName] = i;
                break;
            default:
                break;
        }
    }
    FileChangeInfoList output;
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (merge.removed[i]) {
            continue;
        }
        output.push_back(merge.records[i]);
        if (output.back().reason == kRenameThenModify) {
            output.back().reason = FileChangeReason::kRename;
            FileChangeInfo modify;
            modify.fileName = merge.records[i].fileName;
            modify.fileAttributes = merge.records[i].fileAttributes;
            modify.reason = FileChangeReason::kModify;
            modify.timestamp = merge.records[i].timestamp;
            modify.frn = merge.records[i].frn;
            output.push_back(modify);
        }
    }
    return output;
}

}  // namespace tavi::reference
