#include "records/rename_passes.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "records/lower_case.h"

namespace tavi::records {
namespace {

using Indexes = std::vector<std::size_t>;
using IndexesByName = std::unordered_map<std::u16string_view, Indexes>;

bool Is(const OutputSlot& slot, FileChangeReason reason) {
    return slot.present && slot.reason == reason;
}

// The text from the last point of the whole path on, point included; empty when there is none.
std::u16string_view Suffix(std::u16string_view path) {
    const std::size_t point = path.rfind(u'.');
    return point == std::u16string_view::npos ? std::u16string_view() : path.substr(point);
}

bool EqualsLowered(std::u16string_view text, std::u16string_view lowered) {
    return std::equal(text.begin(), text.end(), lowered.begin(), lowered.end(),
                      [](char16_t unit, char16_t expected) { return ToLowerUnit(unit) == expected; });
}

// Adds the index where its name is among the wanted ones.
void AddIfWanted(IndexesByName& wanted, std::u16string_view name, std::size_t index) {
    if (const auto found = wanted.find(name); found != wanted.end()) {
        found->second.push_back(index);
    }
}

// First pass. A file number is used up by its first success: from then on the output holds no CREATE of that number,
// and nothing makes new ones. So every record is visited once.
class TemporaryRenamePass {
public:
    TemporaryRenamePass(const RenameList& temporaryRenames, OutputSlots output);
    void Use(const SeenRename& temporaryRename);

private:
    using NumberAndIndex = std::pair<std::uint64_t, std::size_t>;

    const OutputSlot* FirstRenameTo(std::u16string_view name);
    void Resolve(std::uint64_t frn, ClassedName name);

    OutputSlots output_;
    IndexesByName renames_;  // only those whose name is asked for; the last one is the first in the output
    std::unordered_set<std::uint64_t> createdNumbers_;
    std::vector<NumberAndIndex> byNumber_;  // CREATE, RENAME and MODIFY, sorted
};

TemporaryRenamePass::TemporaryRenamePass(const RenameList& temporaryRenames, OutputSlots output) : output_(output) {
    for (const SeenRename& rename : temporaryRenames) {
        renames_.try_emplace(rename.originalName.text);
    }
    for (std::size_t i = output.size(); i-- > 0;) {
        const OutputSlot& slot = output[i];
        if (Is(slot, FileChangeReason::kRename)) {
            AddIfWanted(renames_, slot.name.text, i);
        } else if (Is(slot, FileChangeReason::kCreate)) {
            createdNumbers_.insert(slot.frn);
        }
    }
    if (createdNumbers_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output.size(); ++i) {
        const OutputSlot& slot = output[i];
        if (Is(slot, FileChangeReason::kCreate) || Is(slot, FileChangeReason::kRename) ||
            Is(slot, FileChangeReason::kModify)) {
            byNumber_.emplace_back(slot.frn, i);
        }
    }
    std::sort(byNumber_.begin(), byNumber_.end());
}

const OutputSlot* TemporaryRenamePass::FirstRenameTo(std::u16string_view name) {
    Indexes& indexes = renames_.find(name)->second;
    while (!indexes.empty() && !output_[indexes.back()].present) {
        indexes.pop_back();
    }
    return indexes.empty() ? nullptr : &output_[indexes.back()];
}

void TemporaryRenamePass::Use(const SeenRename& temporaryRename) {
    const OutputSlot* rename = FirstRenameTo(temporaryRename.originalName.text);
    if (rename != nullptr && createdNumbers_.erase(rename->frn) != 0) {
        Resolve(rename->frn, rename->name);
    }
}

void TemporaryRenamePass::Resolve(std::uint64_t frn, ClassedName name) {
    auto entry = std::lower_bound(byNumber_.begin(), byNumber_.end(), NumberAndIndex(frn, 0));
    for (; entry != byNumber_.end() && entry->first == frn; ++entry) {
        OutputSlot& slot = output_[entry->second];
        if (slot.reason == FileChangeReason::kCreate) {
            slot.name = name;
            slot.reason = FileChangeReason::kModify;
        } else {
            slot.present = false;
        }
    }
}

// Second pass. A backup's name is used up by its first success: no CREATE of that name is left. The deletions of a
// name are used up likewise.
class BackupRenamePass {
public:
    BackupRenamePass(const RenameList& backupRenames, OutputSlots output);
    void Use(const SeenRename& backupRename);

private:
    OutputSlots output_;
    IndexesByName creates_;    // by the backup's name
    IndexesByName renames_;    // by the backup's name as the original one
    IndexesByName deletions_;  // by the name that the backup was renamed to
};

BackupRenamePass::BackupRenamePass(const RenameList& backupRenames, OutputSlots output) : output_(output) {
    for (const SeenRename& rename : backupRenames) {
        creates_.try_emplace(rename.originalName.text);
        renames_.try_emplace(rename.originalName.text);
        deletions_.try_emplace(rename.name.text);
    }
    for (std::size_t i = 0; i < output.size(); ++i) {
        const OutputSlot& slot = output[i];
        if (Is(slot, FileChangeReason::kCreate)) {
            AddIfWanted(creates_, slot.name.text, i);
        } else if (Is(slot, FileChangeReason::kRename)) {
            AddIfWanted(renames_, slot.originalName.text, i);
        } else if (Is(slot, FileChangeReason::kDelete)) {
            AddIfWanted(deletions_, slot.name.text, i);
        }
    }
}

void BackupRenamePass::Use(const SeenRename& backupRename) {
    const Indexes creates = std::exchange(creates_[backupRename.originalName.text], {});
    if (creates.empty()) {
        return;
    }
    for (std::size_t index : creates) {
        output_[index].name = backupRename.name;
        output_[index].reason = FileChangeReason::kModify;
    }
    for (std::size_t index : renames_[backupRename.originalName.text]) {
        if (output_[index].name.text == backupRename.name.text) {
            output_[index].reason = FileChangeReason::kModify;
        }
    }
    for (std::size_t index : std::exchange(deletions_[backupRename.name.text], {})) {
        output_[index].present = false;
    }
}

}  // namespace

void UseTemporaryRenames(const RenameList& temporaryRenames, OutputSlots output) {
    if (temporaryRenames.empty()) {
        return;
    }
    TemporaryRenamePass pass(temporaryRenames, output);
    for (const SeenRename& rename : temporaryRenames) {
        pass.Use(rename);
    }
}

void UseBackupRenames(const RenameList& renames, OutputSlots output) {
    RenameList backupRenames;
    std::copy_if(renames.begin(), renames.end(), std::back_inserter(backupRenames),
                 [](const SeenRename& rename) { return EqualsLowered(Suffix(rename.originalName.text), u".igbak"); });
    if (backupRenames.empty()) {
        return;
    }
    BackupRenamePass pass(backupRenames, output);
    for (const SeenRename& rename : backupRenames) {
        pass.Use(rename);
    }
}

void UseTemporaryToBackupRenames(const RenameList& renames, OutputSlots output) {
    std::unordered_set<std::u16string_view> bases;
    for (const SeenRename& rename : renames) {
        const std::u16string_view suffix = Suffix(rename.name.text);
        if (EqualsLowered(suffix, u".bak") && EqualsLowered(Suffix(rename.originalName.text), u".tmp")) {
            bases.insert(rename.name.text.substr(0, rename.name.text.size() - suffix.size()));
        }
    }
    if (bases.empty()) {
        return;
    }
    for (OutputSlot& slot : output) {
        const std::u16string_view suffix = Suffix(slot.name.text);
        if (Is(slot, FileChangeReason::kCreate) && !suffix.empty() &&
            bases.contains(slot.name.text.substr(0, slot.name.text.size() - suffix.size()))) {
            slot.reason = FileChangeReason::kModify;
        }
    }
}

}  // namespace tavi::records
