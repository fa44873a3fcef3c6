// The batch merge
//
// What happened to one path within a batch is told in as few records as will do: created and deleted is nothing at all,
// deleted and created is a modification, a modification of a new file is part of its creation.
//
// The rule, for each record in order. For every path one record stands for it at most; j is the one that stands for the
// record's path.
//   CREATE: if j is a DELETE that was not held back (delayCount 0), the record becomes a MODIFY and j goes. The record
//           stands for its path in any case.
//   DELETE: no j: the record stands for its path.
//           j is a CREATE: both go, and nothing stands for the path.
//           j is a MODIFY: j goes, and the record stands for the path.
//           j is a RENAME, modified or not: the file is deleted under the path it had before the batch. The record
//           takes j's old path and stands for that, and j goes. It still stands for its new path as well, gone as it
//           is. j is a DELETE: nothing changes.
//   MODIFY: no j: the record stands for its path.
//           j is a CREATE or a MODIFY: the record goes.
//           j is a RENAME, modified or not: j is modified from now on, and the record goes.
//           j is a DELETE: nothing changes.
//   RENAME: the record stands for its path.
//   Every other kind stays and stands for nothing.
// A RENAME that was modified is put out as the RENAME and, right behind it, a MODIFY with its path, attributes, time
// stamp and number, and nothing else of it.
//
//   CREATE x, MODIFY x, DELETE x       -> nothing
//   DELETE x, CREATE x                 -> MODIFY x
//   RENAME a to b, MODIFY b            -> RENAME a to b, MODIFY b
//   RENAME a to b, DELETE b            -> DELETE a
//
// Odd on purpose: a DELETE that was held back by an earlier batch is not the first half of a modification. A record may
// stand for a path although it is gone; what comes behind it is merged into it then, and is lost with it.
//
// "A RENAME that was modified" is the kind 8 within this step, one past the named kinds.
// tests/unit/records/steps/reference/batch_merge.cpp differs in its map alone, which is an ordered one.
#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/steps/steps.h"

namespace tavi::records {
namespace {

constexpr FileChangeReason kRenameThenModify = static_cast<FileChangeReason>(8);

bool IsRenamed(FileChangeReason reason) {
    return reason == FileChangeReason::kRename || reason == kRenameThenModify;
}

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
    std::unordered_map<std::u16string_view, std::size_t> standing_;  // who stands for a path at present
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
        // The key of the new path is the rename's text, which lives on in its record.
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
    standing_.clear();  // its keys are about to go
    if (std::ranges::find(records_, kRenameThenModify, &StepRecord::reason) == records_.end()) {
        RemoveMarked(records_, removed_);
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
