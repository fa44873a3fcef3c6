#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/rename_passes.h"
#include "records/steps.h"

namespace tavi::records {
namespace {

constexpr std::uint32_t kDirectoryAttribute = 0x10;

// The step's output while it takes shape: a slot per input record. The input stays as it came until TakeOutput, because
// the renames and the slots view its names.
class TemporaryRenameResolution {
public:
    explicit TemporaryRenameResolution(StepRecordList records);

    void KeepNumbersOfSavedFiles();
    void RunPasses();
    StepRecordList TakeOutput();

private:
    struct NewName {
        std::size_t index;
        std::u16string StepRecord::*field;
        std::u16string text;
    };

    void Add(const StepRecord& record);
    void ApplyNewNames();

    StepRecordList records_;
    std::vector<OutputSlot> slots_;
    RenameList temporaryRenames_;
    RenameList renames_;
    std::unordered_map<std::u16string_view, std::uint64_t> savedNumbers_;
};

TemporaryRenameResolution::TemporaryRenameResolution(StepRecordList records) : records_(std::move(records)) {
    slots_.reserve(records_.size());
    for (const StepRecord& record : records_) {
        Add(record);
    }
}

void TemporaryRenameResolution::Add(const StepRecord& record) {
    OutputSlot& slot = slots_.emplace_back();
    slot.name = {record.fileName, record.nameClass};
    slot.originalName = {record.originalFileName, record.originalNameClass};
    slot.frn = record.frn;
    slot.reason = record.reason;
    slot.present = !record.isTempFile;
    if (record.reason != FileChangeReason::kRename) {
        return;
    }
    renames_.push_back({slot.name, slot.originalName, slot.frn});
    if (record.isTempFile) {
        temporaryRenames_.push_back(renames_.back());
    } else if ((record.fileAttributes & kDirectoryAttribute) == 0 && record.originalNameClass.temporary) {
        // A save through a temporary file is complete.
        slot.reason = FileChangeReason::kModify;
        slot.originalName = {};
        savedNumbers_[slot.name.text] = slot.frn;
    }
}

// The file keeps the identity of the file that was saved over it.
void TemporaryRenameResolution::KeepNumbersOfSavedFiles() {
    if (savedNumbers_.empty()) {
        return;
    }
    for (OutputSlot& slot : slots_) {
        if (!slot.present || (slot.reason != FileChangeReason::kCreate && slot.reason != FileChangeReason::kModify)) {
            continue;
        }
        const auto saved = savedNumbers_.find(slot.name.text);
        if (saved != savedNumbers_.end() && saved->second != kNoFrn) {
            slot.frn = saved->second;
        }
    }
}

void TemporaryRenameResolution::RunPasses() {
    UseTemporaryRenames(temporaryRenames_, slots_);
    UseBackupRenames(renames_, slots_);
    CollapseRenameChains(renames_, slots_);
    UseTemporaryToBackupRenames(renames_, slots_);
}

// Copies first, then assigns: the slots view names of records that may get new ones themselves.
void TemporaryRenameResolution::ApplyNewNames() {
    std::vector<NewName> newNames;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        const OutputSlot& slot = slots_[i];
        if (slot.present && slot.name.text != records_[i].fileName) {
            newNames.push_back({i, &StepRecord::fileName, std::u16string(slot.name.text)});
        }
        if (slot.present && slot.originalName.text != records_[i].originalFileName) {
            newNames.push_back({i, &StepRecord::originalFileName, std::u16string(slot.originalName.text)});
        }
    }
    for (NewName& newName : newNames) {
        records_[newName.index].*newName.field = std::move(newName.text);
    }
}

StepRecordList TemporaryRenameResolution::TakeOutput() {
    ApplyNewNames();
    StepRecordList output;
    output.reserve(records_.size());
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        const OutputSlot& slot = slots_[i];
        if (!slot.present) {
            continue;
        }
        StepRecord& record = output.emplace_back(std::move(records_[i]));
        record.nameClass = slot.name.nameClass;
        record.originalNameClass = slot.originalName.nameClass;
        record.frn = slot.frn;
        record.reason = slot.reason;
    }
    return output;
}

}  // namespace

StepRecordList ResolveTemporaryRenames(StepRecordList records, StepContext&) {
    TemporaryRenameResolution resolution(std::move(records));
    resolution.KeepNumbersOfSavedFiles();
    resolution.RunPasses();
    return resolution.TakeOutput();
}

}  // namespace tavi::records
