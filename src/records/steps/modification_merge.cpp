// The modification merge
//
// A program that writes a file leaves one modification after the other. A run of them becomes one. And a program that
// saves by renaming the old version away, writing a new file and deleting the old version has modified a file, although
// the journal says that it created one.
//
// The rule, for each record in order:
//   1. A MODIFY whose predecessor in the output is a MODIFY of exactly the same path is dropped; the predecessor takes
//      its attributes and keeps everything else, its time stamp too.
//   2. Every other record is kept. A CREATE of file c under the path n becomes a MODIFY when the input, from its start,
//      holds a MODIFY of c under n and behind that a DELETE of some path d, such that the input also holds, from its
//      start again, a RENAME_OLD_NAME of c from n and behind that a RENAME_NEW_NAME of c to d. (The file was modified,
//      renamed to d, and d was deleted.)
//
// Paths are compared exactly. Rule 2 looks at the input as it came in, before and behind the CREATE.
//
//   MODIFY x, RENAME_OLD_NAME x, RENAME_NEW_NAME x.old, CREATE x, DELETE x.old, all of one number
//   -> MODIFY x, RENAME_OLD_NAME x, RENAME_NEW_NAME x.old, MODIFY x, DELETE x.old
//   MODIFY a, CREATE a, MODIFY a   -> the same three: the CREATE stands between the modifications
//
// Odd on purpose: only neighbours merge; a CREATE that has become a MODIFY counts as one for the record behind it, but
// is itself never merged into the MODIFY before it.
//
// Done as tests/unit/records/steps/reference/modification_merge.cpp does it, rule 2 is a walk within a walk within a
// walk. But whether a DELETE serves depends on three things only: that it lies behind the first MODIFY of c under n,
// that c was renamed to its path, and that this rename lies behind the first RENAME_OLD_NAME of c from n. So of each
// path the latest DELETE is enough, and of each file's renames, from the last to the first, the latest DELETE of any
// path that it had from there on.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/types.h"
#include "records/steps/numbered_name.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// Rule 2 for the records of one list.
class CreateAfterDelete {
public:
    // `deletions` and `newNames` are the indexes of the records of those kinds, ascending.
    CreateAfterDelete(const StepRecordList& records, const std::vector<std::size_t>& deletions,
                      const std::vector<std::size_t>& newNames);

    bool HoldsFor(const StepRecord& create) const;

private:
    struct Copy {
        platform::FileReferenceNumber frn;
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

// The indexes of the records that rule 2 makes a MODIFY, ascending. Found before any record changes.
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
