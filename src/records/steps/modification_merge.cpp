#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/steps/numbered_name.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// Answers for a created file whether the batch shows it being renamed away, to a name that was deleted after the file's
// first modification: a save that keeps the old version under another name and then removes it. Done by scans this is
// cubic. But for one file number, every deletion of a name it was renamed to counts, so that the latest deletion is all
// one needs to know of a name, and the maximum over the later renames all one needs to know of a number.
class CreateAfterDelete {
public:
    // `deletions` and `newNames` are the indexes of the records of those kinds, ascending.
    CreateAfterDelete(const StepRecordList& records, const std::vector<std::size_t>& deletions,
                      const std::vector<std::size_t>& newNames);

    bool HoldsFor(const StepRecord& create) const;

private:
    struct Copy {
        std::uint64_t frn;
        std::size_t index;           // of the rename to the copy's name
        std::size_t latestDeletion;  // of that name or of one that the same file got later in the list
    };
    using FirstIndex = std::unordered_map<NumberedName, std::size_t, NumberedNameHash>;

    void CollectCopies(const StepRecordList& records, const std::vector<std::size_t>& deletions,
                       const std::vector<std::size_t>& newNames);

    std::vector<Copy> copies_;  // by number, then by index
    FirstIndex firstModification_;
    FirstIndex firstRenameAway_;
};

CreateAfterDelete::CreateAfterDelete(const StepRecordList& records, const std::vector<std::size_t>& deletions,
                                     const std::vector<std::size_t>& newNames) {
    CollectCopies(records, deletions, newNames);
    if (copies_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        const StepRecord& record = records[i];
        if (record.reason == FileChangeReason::kModify) {
            firstModification_.try_emplace({record.frn, record.fileName}, i);
        } else if (record.reason == FileChangeReason::kRenameOldName) {
            firstRenameAway_.try_emplace({record.frn, record.fileName}, i);
        }
    }
}

void CreateAfterDelete::CollectCopies(const StepRecordList& records, const std::vector<std::size_t>& deletions,
                                      const std::vector<std::size_t>& newNames) {
    std::unordered_map<std::u16string_view, std::size_t> latestDeletion;
    latestDeletion.reserve(deletions.size());
    for (const std::size_t index : deletions) {
        latestDeletion[records[index].fileName] = index;
    }
    for (const std::size_t index : newNames) {
        const auto deletion = latestDeletion.find(records[index].fileName);
        if (deletion != latestDeletion.end()) {
            copies_.push_back({records[index].frn, index, deletion->second});
        }
    }
    std::sort(copies_.begin(), copies_.end(), [](const Copy& left, const Copy& right) {
        return left.frn != right.frn ? left.frn < right.frn : left.index < right.index;
    });
    for (std::size_t i = copies_.size(); i-- > 1;) {
        if (copies_[i - 1].frn == copies_[i].frn) {
            copies_[i - 1].latestDeletion = std::max(copies_[i - 1].latestDeletion, copies_[i].latestDeletion);
        }
    }
}

bool CreateAfterDelete::HoldsFor(const StepRecord& create) const {
    const auto modification = firstModification_.find({create.frn, create.fileName});
    const auto renameAway = firstRenameAway_.find({create.frn, create.fileName});
    if (modification == firstModification_.end() || renameAway == firstRenameAway_.end()) {
        return false;
    }
    const auto copy = std::upper_bound(
        copies_.begin(), copies_.end(), renameAway->second, [&create](std::size_t index, const Copy& element) {
            return element.frn != create.frn ? create.frn < element.frn : index < element.index;
        });
    return copy != copies_.end() && copy->frn == create.frn && copy->latestDeletion > modification->second;
}

// The indexes of the created records that are really modifications, ascending. Asked of the whole list before any of it
// changes, because the answer rests on the list as it came in.
std::vector<std::size_t> CreatesThatModify(const StepRecordList& records) {
    std::vector<std::size_t> creates;
    std::vector<std::size_t> deletions;
    std::vector<std::size_t> newNames;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (records[i].reason == FileChangeReason::kCreate) {
            creates.push_back(i);
        } else if (records[i].reason == FileChangeReason::kDelete) {
            deletions.push_back(i);
        } else if (records[i].reason == FileChangeReason::kRenameNewName) {
            newNames.push_back(i);
        }
    }
    if (creates.empty() || deletions.empty() || newNames.empty()) {
        return {};
    }
    const CreateAfterDelete test(records, deletions, newNames);
    std::erase_if(creates, [&](std::size_t index) { return !test.HoldsFor(records[index]); });
    return creates;
}

}  // namespace

StepRecordList MergeModifications(StepRecordList records, StepContext&) {
    const std::vector<std::size_t> createsThatModify = CreatesThatModify(records);
    auto nextCreate = createsThatModify.begin();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        StepRecord& record = records[i];
        if (record.reason == FileChangeReason::kModify && kept != 0 &&
            records[kept - 1].reason == FileChangeReason::kModify && records[kept - 1].fileName == record.fileName) {
            records[kept - 1].fileAttributes = record.fileAttributes;
            continue;
        }
        if (nextCreate != createsThatModify.end() && *nextCreate == i) {
            record.reason = FileChangeReason::kModify;
            ++nextCreate;
        }
        if (kept != i) {
            records[kept] = std::move(record);
        }
        ++kept;
    }
    records.resize(kept);
    return records;
}

}  // namespace tavi::records
