#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "records/steps/moved_in_entries.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// Two halves of one rename are written within the same journal operation; other records may lie between their times.
constexpr std::uint64_t kPairTimeLimit = 16;  // milliseconds, exclusive

enum class Plan : std::uint8_t {
    kKeep,
    kUnpairedOldName,
    kUnpairedNewName,
    kReturningDirectory,  // an unpaired new name of a directory that was deleted earlier in the list
    kPaired,
    kConsumed
};

bool IsDirectory(const StepRecord& record) {
    return (record.fileAttributes & platform::kFileAttributeDirectory) != 0;
}

bool ArePair(const StepRecord& oldName, const StepRecord& next) {
    // Unsigned: a second half that is dated earlier is far away.
    const std::uint64_t elapsed =
        static_cast<std::uint64_t>(next.timestamp) - static_cast<std::uint64_t>(oldName.timestamp);
    return (next.reason == FileChangeReason::kRenameNewName && elapsed < kPairTimeLimit) || next.frn == oldName.frn;
}

std::vector<Plan> PlanPairs(const StepRecordList& records) {
    std::vector<Plan> plan(records.size(), Plan::kKeep);
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (records[i].reason == FileChangeReason::kRenameNewName) {
            plan[i] = Plan::kUnpairedNewName;
        } else if (records[i].reason == FileChangeReason::kRenameOldName) {
            if (i + 1 < records.size() && ArePair(records[i], records[i + 1])) {
                plan[i] = Plan::kPaired;
                plan[++i] = Plan::kConsumed;
            } else {
                plan[i] = Plan::kUnpairedOldName;
            }
        }
    }
    return plan;
}

// While nothing has moved yet, so that the names can be looked up where they are.
void MarkReturningDirectories(const StepRecordList& records, std::vector<Plan>& plan) {
    std::unordered_set<std::u16string_view> deletedDirectories;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!IsDirectory(records[i])) {
            continue;
        }
        const bool isDeleted = plan[i] == Plan::kUnpairedOldName ||
                               (plan[i] == Plan::kKeep && records[i].reason == FileChangeReason::kDelete);
        if (isDeleted) {
            deletedDirectories.insert(records[i].fileName);
        } else if (plan[i] == Plan::kUnpairedNewName && deletedDirectories.contains(records[i].fileName)) {
            plan[i] = Plan::kReturningDirectory;
        }
    }
}

StepRecord MakeRename(StepRecord&& oldName, StepRecord&& newName) {
    newName.originalFileName = std::move(oldName.fileName);
    newName.originalNameClass = oldName.nameClass;
    newName.reason = FileChangeReason::kRename;
    newName.oldfrn = kNoFrn;
    return std::move(newName);
}

// The step's output, written over the input as far as it has been read. What directories bring in with them is kept
// apart and put in its place at the end.
class PairedOutput {
public:
    PairedOutput(StepRecordList& records, StepContext& context) : records_(records), entries_(context) {}

    void Append(StepRecord&& record);
    void AppendMovedIn(StepRecord&& record);
    void AppendReturning(StepRecord&& directory);
    StepRecordList Take();

private:
    struct Insertion {
        std::size_t place;  // in the output without insertions
        StepRecordList entries;
    };

    bool IsLastHeldBack() const {
        const bool isEntry = !insertions_.empty() && insertions_.back().place == count_;
        return !isEntry && records_[count_ - 1].delayCount != 0;
    }

    StepRecordList& records_;
    MovedInEntries entries_;
    std::size_t count_ = 0;
    std::vector<Insertion> insertions_;
};

void PairedOutput::Append(StepRecord&& record) {
    if (&records_[count_] != &record) {
        records_[count_] = std::move(record);
    }
    ++count_;
}

// A new name without its old one: the file or directory arrived from outside the listened folder.
void PairedOutput::AppendMovedIn(StepRecord&& record) {
    record.reason = FileChangeReason::kCreate;
    Append(std::move(record));
    const StepRecord& arrived = records_[count_ - 1];
    if (!IsDirectory(arrived)) {
        return;
    }
    StepRecordList entries;
    entries_.AppendBelow(arrived.fileName, arrived.timestamp, entries);
    if (!entries.empty()) {
        insertions_.push_back({count_, std::move(entries)});
    }
}

void PairedOutput::AppendReturning(StepRecord&& directory) {
    if (count_ == 0 || IsLastHeldBack()) {
        AppendMovedIn(std::move(directory));
        return;
    }
    directory.reason = FileChangeReason::kMove;
    Append(std::move(directory));
}

StepRecordList PairedOutput::Take() {
    records_.resize(count_);
    if (insertions_.empty()) {
        return std::move(records_);
    }
    StepRecordList output;
    std::size_t next = 0;
    const auto moveUpTo = [&](std::size_t end) {
        output.insert(output.end(), std::make_move_iterator(records_.begin() + static_cast<std::ptrdiff_t>(next)),
                      std::make_move_iterator(records_.begin() + static_cast<std::ptrdiff_t>(end)));
        next = end;
    };
    for (Insertion& insertion : insertions_) {
        moveUpTo(insertion.place);
        std::move(insertion.entries.begin(), insertion.entries.end(), std::back_inserter(output));
    }
    moveUpTo(records_.size());
    return output;
}

}  // namespace

StepRecordList PairRenames(StepRecordList records, StepContext& context) {
    std::vector<Plan> plan = PlanPairs(records);
    MarkReturningDirectories(records, plan);
    PairedOutput output(records, context);
    for (std::size_t i = 0; i < records.size(); ++i) {
        switch (plan[i]) {
            case Plan::kKeep:
                output.Append(std::move(records[i]));
                break;
            case Plan::kUnpairedOldName:
                records[i].reason = FileChangeReason::kDelete;  // it left the listened folder
                output.Append(std::move(records[i]));
                break;
            case Plan::kUnpairedNewName:
                output.AppendMovedIn(std::move(records[i]));
                break;
            case Plan::kReturningDirectory:
                output.AppendReturning(std::move(records[i]));
                break;
            case Plan::kPaired:
                output.Append(MakeRename(std::move(records[i]), std::move(records[i + 1])));
                break;
            case Plan::kConsumed:
                break;
        }
    }
    return output.Take();
}

}  // namespace tavi::records
