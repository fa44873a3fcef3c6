#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/constants.h"
#include "records/steps/rename_passes.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

class TemporaryRenameResolution {
public:
    explicit TemporaryRenameResolution(StepRecordList records);

    void KeepNumbersOfSavedFiles();
    void RunPasses();
    StepRecordList TakeOutput() { return output_.TakeRecords(); }

private:
    void AddRename(std::size_t index);

    RenameOutput output_;
    RenameList temporaryRenames_;
    RenameList renames_;
    std::unordered_map<std::u16string_view, std::uint64_t> savedNumbers_;
};

TemporaryRenameResolution::TemporaryRenameResolution(StepRecordList records) : output_(std::move(records)) {
    for (std::size_t i = 0; i < output_.size(); ++i) {
        if (output_[i].isTempFile) {
            output_.Remove(i);
        }
        if (output_[i].reason == FileChangeReason::kRename) {
            AddRename(i);
        }
    }
}

void TemporaryRenameResolution::AddRename(std::size_t index) {
    const StepRecord& record = output_[index];
    renames_.push_back({&record, record.frn});
    if (record.isTempFile) {
        temporaryRenames_.push_back(renames_.back());
    } else if ((record.fileAttributes & platform::kFileAttributeDirectory) == 0 && record.originalNameClass.temporary) {
        // A save through a temporary file is complete.
        output_.SetReason(index, FileChangeReason::kModify);
        output_.EmptyOriginalName(index);
        savedNumbers_[record.fileName] = record.frn;
    }
}

// The file keeps the identity of the file that was saved over it.
void TemporaryRenameResolution::KeepNumbersOfSavedFiles() {
    if (savedNumbers_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output_.size(); ++i) {
        if (!output_.Is(i, FileChangeReason::kCreate) && !output_.Is(i, FileChangeReason::kModify)) {
            continue;
        }
        const auto saved = savedNumbers_.find(output_[i].fileName);
        if (saved != savedNumbers_.end() && saved->second != kNoFrn) {
            output_.SetFrn(i, saved->second);
        }
    }
}

void TemporaryRenameResolution::RunPasses() {
    UseTemporaryRenames(temporaryRenames_, output_);
    UseBackupRenames(renames_, output_);
    CollapseRenameChains(renames_, output_);
    UseTemporaryToBackupRenames(renames_, output_);
}

}  // namespace

StepRecordList ResolveTemporaryRenames(StepRecordList records, StepContext&) {
    TemporaryRenameResolution resolution(std::move(records));
    resolution.KeepNumbersOfSavedFiles();
    resolution.RunPasses();
    return resolution.TakeOutput();
}

}  // namespace tavi::records
