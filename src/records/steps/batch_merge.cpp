#include <algorithm>
#include <cstddef>
#include <memory_resource>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/steps/keep_places.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// A rename whose file was then modified: one past the named kinds, nowhere but inside this step.
constexpr FileChangeReason kRenameThenModify = static_cast<FileChangeReason>(8);

bool IsRenamed(FileChangeReason reason) {
    return reason == FileChangeReason::kRename || reason == kRenameThenModify;
}

// Combines what happened to each name. The records stay where they are until TakeOutput, so that views of their names
// can be keys: a record's name changes only while it is looked at for the first time, before it becomes a key.
class BatchMerge {
public:
    explicit BatchMerge(StepRecordList records) : records_(std::move(records)), removed_(records_.size(), false) {
        standing_.reserve(records_.size());
    }

    void Add(std::size_t index);
    StepRecordList TakeOutput();

private:
    void AddCreate(std::size_t index);
    void AddDelete(std::size_t index);
    void AddModify(std::size_t index);

    StepRecordList records_;
    std::vector<bool> removed_;
    // Nearly every record adds a name, and all go together: the nodes need no memory management of their own.
    std::pmr::monotonic_buffer_resource nodes_;
    std::pmr::unordered_map<std::u16string_view, std::size_t> standing_{&nodes_};  // who stands for a name at present
};

void BatchMerge::Add(std::size_t index) {
    switch (records_[index].reason) {
        case FileChangeReason::kCreate:
            return AddCreate(index);
        case FileChangeReason::kDelete:
            return AddDelete(index);
        case FileChangeReason::kModify:
            return AddModify(index);
        case FileChangeReason::kRename:
            standing_[records_[index].fileName] = index;
            return;
        default:
            return;
    }
}

void BatchMerge::AddCreate(std::size_t index) {
    const auto [entry, isNew] = standing_.try_emplace(records_[index].fileName, index);
    if (isNew) {
        return;
    }
    const StepRecord& earlier = records_[entry->second];
    // A deletion that waited for a later cycle is not the first half of this change.
    if (earlier.reason == FileChangeReason::kDelete && earlier.delayCount == 0) {
        records_[index].reason = FileChangeReason::kModify;
        removed_[entry->second] = true;
    }
    entry->second = index;
}

void BatchMerge::AddDelete(std::size_t index) {
    const auto [entry, isNew] = standing_.try_emplace(records_[index].fileName, index);
    if (isNew) {
        return;
    }
    const std::size_t earlierIndex = entry->second;
    const StepRecord& earlier = records_[earlierIndex];
    if (earlier.reason == FileChangeReason::kCreate) {
        removed_[earlierIndex] = true;
        removed_[index] = true;
        standing_.erase(entry);
    } else if (earlier.reason == FileChangeReason::kModify) {
        removed_[earlierIndex] = true;
        entry->second = index;
    } else if (IsRenamed(earlier.reason)) {
        // The file goes under the name it had before the batch. The entry of the new name stays.
        records_[index].fileName = earlier.originalFileName;
        records_[index].nameClass = earlier.originalNameClass;
        removed_[earlierIndex] = true;
        standing_[records_[index].fileName] = index;
    }
}

void BatchMerge::AddModify(std::size_t index) {
    const auto [entry, isNew] = standing_.try_emplace(records_[index].fileName, index);
    if (isNew) {
        return;
    }
    StepRecord& earlier = records_[entry->second];
    if (earlier.reason == FileChangeReason::kCreate || earlier.reason == FileChangeReason::kModify) {
        removed_[index] = true;
    } else if (IsRenamed(earlier.reason)) {
        earlier.reason = kRenameThenModify;
        removed_[index] = true;
    }
}

StepRecord ModificationAfter(const StepRecord& rename) {
    StepRecord modification;
    modification.fileName = rename.fileName;
    modification.nameClass = rename.nameClass;
    modification.fileAttributes = rename.fileAttributes;
    modification.reason = FileChangeReason::kModify;
    modification.timestamp = rename.timestamp;
    modification.frn = rename.frn;
    return modification;
}

StepRecordList BatchMerge::TakeOutput() {
    standing_.clear();  // its keys are about to move
    if (std::ranges::find(records_, kRenameThenModify, &StepRecord::reason) == records_.end()) {
        KeepPlaces(records_, [this](std::size_t place) { return !removed_[place]; });
        return std::move(records_);
    }
    StepRecordList output;
    output.reserve(records_.size());
    for (std::size_t i = 0; i < records_.size(); ++i) {
        if (removed_[i]) {
            continue;
        }
        output.push_back(std::move(records_[i]));
        if (output.back().reason == kRenameThenModify) {
            output.back().reason = FileChangeReason::kRename;
            output.push_back(ModificationAfter(output.back()));
        }
    }
    return output;
}

}  // namespace

StepRecordList MergeBatch(StepRecordList records, StepContext&) {
    const std::size_t count = records.size();
    BatchMerge merge(std::move(records));
    for (std::size_t i = 0; i < count; ++i) {
        merge.Add(i);
    }
    return merge.TakeOutput();
}

}  // namespace tavi::records
