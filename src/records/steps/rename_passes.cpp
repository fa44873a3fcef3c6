#include "records/steps/rename_passes.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "records/steps/keep_places.h"
#include "records/names/lower_case.h"

namespace tavi::records {
namespace {

// The text from the last point of the whole path on, point included; empty when there is none.
std::u16string_view Suffix(std::u16string_view path) {
    const std::size_t point = path.rfind(u'.');
    return point == std::u16string_view::npos ? std::u16string_view() : path.substr(point);
}

// First pass. A file number is used up by its first success: the walk leaves no CREATE and no RENAME of that number,
// and nothing makes new ones. So it is enough to find out which numbers are resolved, in the order of the temporary
// renames, and to walk once at the end.
class TemporaryRenamePass {
public:
    TemporaryRenamePass(const RenameList& temporaryRenames, RenameOutput& output);
    void Use(const StepRecord& temporaryRename);
    void Apply();

private:
    const StepRecord* FirstRenameTo(const std::u16string& name);

    RenameOutput& output_;
    // By the names that are asked for; the last one is the first in the output.
    std::unordered_map<std::u16string_view, std::vector<const StepRecord*>> renames_;
    std::unordered_set<std::uint64_t> createdNumbers_;
    std::unordered_map<std::uint64_t, const StepRecord*> resolved_;  // to the temporary rename that did it
};

TemporaryRenamePass::TemporaryRenamePass(const RenameList& temporaryRenames, RenameOutput& output) : output_(output) {
    for (const SeenRename& rename : temporaryRenames) {
        renames_.try_emplace(rename.record->originalFileName);
    }
    for (std::size_t i = output.size(); i-- > 0;) {
        if (output.Is(i, FileChangeReason::kCreate)) {
            createdNumbers_.insert(output[i].frn);
        } else if (output.Is(i, FileChangeReason::kRename)) {
            if (const auto wanted = renames_.find(output[i].fileName); wanted != renames_.end()) {
                wanted->second.push_back(&output[i]);
            }
        }
    }
}

const StepRecord* TemporaryRenamePass::FirstRenameTo(const std::u16string& name) {
    std::vector<const StepRecord*>& renames = renames_.find(name)->second;
    while (!renames.empty() && resolved_.contains(renames.back()->frn)) {
        renames.pop_back();
    }
    return renames.empty() ? nullptr : renames.back();
}

void TemporaryRenamePass::Use(const StepRecord& temporaryRename) {
    const StepRecord* rename = FirstRenameTo(temporaryRename.originalFileName);
    if (rename != nullptr && createdNumbers_.contains(rename->frn)) {
        resolved_.emplace(rename->frn, &temporaryRename);
    }
}

void TemporaryRenamePass::Apply() {
    if (resolved_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output_.size(); ++i) {
        const auto resolved = resolved_.find(output_[i].frn);
        if (resolved == resolved_.end()) {
            continue;
        }
        if (output_.Is(i, FileChangeReason::kCreate)) {
            // The name of the rename that was found, which is the temporary rename's old name.
            output_.TakeNameFromOriginal(i, *resolved->second);
            output_.SetReason(i, FileChangeReason::kModify);
        } else if (output_.Is(i, FileChangeReason::kRename) || output_.Is(i, FileChangeReason::kModify)) {
            output_.Remove(i);
        }
    }
}

// Second pass. A backup's name is used up by its first rename that finds a CREATE of it: no such CREATE is left. So the
// renames that have an effect are known beforehand, and one walk does for all.
class BackupRenamePass {
public:
    // `backupRenames`: those with the backup's suffix, in order.
    BackupRenamePass(const RenameList& backupRenames, const RenameOutput& output);
    void Apply(RenameOutput& output) const;

private:
    struct Backup {
        const StepRecord* rename = nullptr;  // the first one from this name
        bool isCreated = false;              // the output holds a CREATE of this name
    };

    const StepRecord* EffectiveRenameFrom(const std::u16string& oldName) const;

    std::unordered_map<std::u16string_view, Backup> backups_;  // by the backup's name
    std::unordered_set<std::u16string_view> names_;            // that backups were renamed to with effect
};

BackupRenamePass::BackupRenamePass(const RenameList& backupRenames, const RenameOutput& output) {
    backups_.reserve(backupRenames.size());
    for (const SeenRename& rename : backupRenames) {
        backups_.try_emplace(rename.record->originalFileName, Backup{rename.record, false});
    }
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (!output.Is(i, FileChangeReason::kCreate)) {
            continue;
        }
        if (const auto backup = backups_.find(output[i].fileName); backup != backups_.end()) {
            backup->second.isCreated = true;
            names_.insert(backup->second.rename->fileName);
        }
    }
}

const StepRecord* BackupRenamePass::EffectiveRenameFrom(const std::u16string& oldName) const {
    const auto backup = backups_.find(oldName);
    return backup != backups_.end() && backup->second.isCreated ? backup->second.rename : nullptr;
}

void BackupRenamePass::Apply(RenameOutput& output) const {
    if (names_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (output.Is(i, FileChangeReason::kCreate)) {
            if (const StepRecord* rename = EffectiveRenameFrom(output[i].fileName)) {
                output.TakeName(i, *rename);
                output.SetReason(i, FileChangeReason::kModify);
            }
        } else if (output.Is(i, FileChangeReason::kRename)) {
            const StepRecord* rename = EffectiveRenameFrom(output[i].originalFileName);
            if (rename != nullptr && rename->fileName == output[i].fileName) {
                output.SetReason(i, FileChangeReason::kModify);
            }
        } else if (output.Is(i, FileChangeReason::kDelete) && names_.contains(output[i].fileName)) {
            output.Remove(i);
        }
    }
}

// Copies the new names first, then assigns them: they may be those of records that get new ones themselves.
void ApplyNewNames(StepRecordList& records, const std::vector<RenameOutput::NewName>& newNames) {
    std::vector<std::u16string> texts;
    texts.reserve(newNames.size());
    for (const RenameOutput::NewName& newName : newNames) {
        texts.push_back(newName.source == nullptr ? std::u16string() : *newName.source);
    }
    for (std::size_t i = 0; i < newNames.size(); ++i) {
        StepRecord& record = records[newNames[i].index];
        const bool isName = newNames[i].field == RenameOutput::Field::kName;
        (isName ? record.fileName : record.originalFileName) = std::move(texts[i]);
        (isName ? record.nameClass : record.originalNameClass) = newNames[i].nameClass;
    }
}

}  // namespace

StepRecordList RenameOutput::TakeRecords() {
    std::erase_if(newNames_, [this](const NewName& newName) { return !IsPresent(newName.index); });
    ApplyNewNames(records_, newNames_);
    KeepPlaces(records_, [this](std::size_t place) { return IsPresent(place); });
    return std::move(records_);
}

void UseTemporaryRenames(const RenameList& temporaryRenames, RenameOutput& output) {
    if (temporaryRenames.empty()) {
        return;
    }
    TemporaryRenamePass pass(temporaryRenames, output);
    for (const SeenRename& rename : temporaryRenames) {
        pass.Use(*rename.record);
    }
    pass.Apply();
}

void UseBackupRenames(const RenameList& renames, RenameOutput& output) {
    RenameList backupRenames;
    std::copy_if(renames.begin(), renames.end(), std::back_inserter(backupRenames), [](const SeenRename& rename) {
        return EqualsLowered(Suffix(rename.record->originalFileName), u".igbak");
    });
    if (backupRenames.empty()) {
        return;
    }
    BackupRenamePass(backupRenames, output).Apply(output);
}

void UseTemporaryToBackupRenames(const RenameList& renames, RenameOutput& output) {
    std::unordered_set<std::u16string_view> bases;
    for (const SeenRename& rename : renames) {
        const std::u16string_view name = rename.record->fileName;
        if (EqualsLowered(Suffix(name), u".bak") && EqualsLowered(Suffix(rename.record->originalFileName), u".tmp")) {
            bases.insert(name.substr(0, name.rfind(u'.')));
        }
    }
    if (bases.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output.size(); ++i) {
        const std::u16string_view name = output[i].fileName;
        if (output.Is(i, FileChangeReason::kCreate) && name.find(u'.') != std::u16string_view::npos &&
            bases.contains(name.substr(0, name.rfind(u'.')))) {
            output.SetReason(i, FileChangeReason::kModify);
        }
    }
}

}  // namespace tavi::records
