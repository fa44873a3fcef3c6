#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "records/moved_in_entries.h"
#include "records/steps.h"

namespace tavi::records {
namespace {

constexpr std::uint32_t kDirectoryAttribute = 0x10;
// Two halves of one rename are written within the same journal operation; other records may lie between their times.
constexpr std::uint64_t kPairTimeLimit = 16;  // milliseconds, exclusive

enum class Plan : std::uint8_t { kKeep, kUnpairedOldName, kUnpairedNewName, kPaired, kConsumed };

bool ArePair(const StepRecord& oldName, const StepRecord& next) {
    // Unsigned: a second half that is dated earlier is far away.
    const std::uint64_t elapsed =
        static_cast<std::uint64_t>(next.timestamp) - static_cast<std::uint64_t>(oldName.timestamp);
    return (next.reason == FileChangeReason::kRenameNewName && elapsed < kPairTimeLimit) || next.frn == oldName.frn;
}

std::vector<Plan> MakePlan(const StepRecordList& records) {
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

StepRecord MakeRename(StepRecord oldName, StepRecord newName) {
    newName.originalFileName = std::move(oldName.fileName);
    newName.originalNameClass = oldName.nameClass;
    newName.reason = FileChangeReason::kRename;
    newName.oldfrn = kNoFrn;
    return newName;
}

class RenamePairing {
public:
    explicit RenamePairing(StepContext& context) : entries_(context) {}

    void Emit(StepRecord record);
    void EmitMovedIn(StepRecord record);
    StepRecordList TakeOutput() { return std::move(output_); }
    void Reserve(std::size_t count) { output_.reserve(count); }

private:
    StepRecordList output_;
    std::unordered_set<std::u16string> deletedDirectories_;
    MovedInEntries entries_;
};

void RenamePairing::Emit(StepRecord record) {
    output_.push_back(std::move(record));
    const StepRecord& last = output_.back();
    if ((last.fileAttributes & kDirectoryAttribute) != 0 && last.reason == FileChangeReason::kDelete) {
        deletedDirectories_.insert(last.fileName);
    }
}

// A new name without its old one: the file or directory arrived from outside the listened folder.
void RenamePairing::EmitMovedIn(StepRecord record) {
    record.reason = FileChangeReason::kCreate;
    if ((record.fileAttributes & kDirectoryAttribute) == 0) {
        output_.push_back(std::move(record));
        return;
    }
    if (!output_.empty() && output_.back().delayCount == 0 && deletedDirectories_.contains(record.fileName)) {
        record.reason = FileChangeReason::kMove;
        output_.push_back(std::move(record));
        return;
    }
    output_.push_back(record);
    entries_.AppendBelow(record, output_);
}

}  // namespace

StepRecordList PairRenames(StepRecordList records, StepContext& context) {
    const std::vector<Plan> plan = MakePlan(records);
    RenamePairing pairing(context);
    pairing.Reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        switch (plan[i]) {
            case Plan::kKeep:
                pairing.Emit(std::move(records[i]));
                break;
            case Plan::kUnpairedOldName:
                records[i].reason = FileChangeReason::kDelete;  // it left the listened folder
                pairing.Emit(std::move(records[i]));
                break;
            case Plan::kUnpairedNewName:
                pairing.EmitMovedIn(std::move(records[i]));
                break;
            case Plan::kPaired:
                pairing.Emit(MakeRename(std::move(records[i]), std::move(records[i + 1])));
                break;
            case Plan::kConsumed:
                break;
        }
    }
    return pairing.TakeOutput();
}

}  // namespace tavi::records
