// The temporary rename resolution
//
// Programs save a file by writing a new one under another name and renaming: the new file to the old name, the old file
// to a backup's name, or both. To the user one file was modified. This step finds such saves among the renames and
// reports the modification; it also makes one rename of several renames of a file in a row.
//
// First the list, record by record:
//   - A record that is marked as temporary (isTempFile) is dropped. Every other record is kept.
//   - A RENAME of a file, not of a directory, from a temporary name is a completed save: it becomes a MODIFY without an
//     old path. Its path and number are noted; of two saves of one path the last one's number counts.
//   - Every RENAME, dropped or kept or turned into a MODIFY, is remembered as it came in: "the renames" below. Those
//     that are marked as temporary are "the temporary renames".
// Then every CREATE and MODIFY of a noted path takes the noted number, unless that is all ones: the file that was saved
// over another stands for it from now on.
//
// Then four passes over what was kept (the output). In their plain form each takes the remembered renames in order,
// walks the output for each of them, and changes it at once:
//   1. Temporary renames. t renamed a file away. x is the first RENAME in the output to t's old path, y the first
//   CREATE
//      with x's number. If both are there, the file that was created and renamed into place is the modified one: every
//      CREATE with that number takes x's path and becomes a MODIFY, every RENAME and MODIFY with that number goes.
//   2. Backups. r's old path ends in ".igbak", and the output holds a CREATE of it: the program wrote the new version
//      under the backup's name. Every such CREATE takes r's path and becomes a MODIFY; every RENAME with r's two paths
//      becomes a MODIFY; every DELETE of r's path goes.
//   3. Chains. Every RENAME of r's file to r's old path goes, and its old path is noted. The first RENAME like r (same
//      file, same two paths) behind a noted path, if that is not empty, takes it as its old path: the two are one
//      rename. That ends the walk.
//   4. Temporary files that become backups. r goes from "....tmp" to "B.bak": every CREATE of "B.<anything>" becomes a
//      MODIFY.
// A suffix begins at the last dot of the whole path and is compared in lower case; ".IGBAK" counts.
//
//   CREATE a.tmp, RENAME a.tmp to plan.txt            -> MODIFY plan.txt (the CREATE was dropped before this step)
//   CREATE n (8), RENAME n to plan.txt (8), RENAME plan.txt to t.tmp (7, temporary)   -> MODIFY plan.txt (8)
//   CREATE m.igbak, RENAME m.igbak to m.emmx          -> MODIFY m.emmx, MODIFY m.emmx
//   RENAME a to b (7), RENAME b to c (7)              -> RENAME a to c (7)
//
// Odd on purpose: a walk of pass 3 that finds no RENAME like r has removed the earlier ones all the same. A MODIFY that
// pass 2 makes of a RENAME keeps its old path. Saves still count as renames in the passes. The directory of a path
// without a dot in its name may hold the last dot.
//
// tests/unit/records/steps/reference/temporary_rename_resolution.cpp walks. Here each pass first indexes what its
// remembered renames can meet:
//   1. The first success with a number leaves no CREATE and no RENAME with it, and nothing makes new ones: a number is
//      used up. So it is enough to find, rename by rename, which numbers are used up, and to walk once at the end.
//   2. The first rename from a backup's path that finds a CREATE of it leaves none: the path is used up. Which renames
//      have an effect is known beforehand, and one walk does for all.
//   3. What is left of the renames of a file to a path is kept in the output's order, so that a walk goes from one to
//      the next without looking at the records between. So are the renames between two paths, among which it looks for
//      one like r. What a walk has removed or passed over is gone for all later ones.
//   4. Only the set of names before ".bak" matters.
// No pass reads a path that another pass has given: passes 1 and 2 give paths to records that are MODIFY from then on,
// and no pass looks at those by path.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <queue>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "records/names/lower_case.h"
#include "records/steps/numbered_name.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using platform::FileReferenceNumber;

// The renames as they came in, whatever became of them in the output. They own every path that the indexes refer to.
using RenameList = StepRecordList;

// The step's output while it takes shape, in place of the input: a record that goes is marked.
class Output {
public:
    explicit Output(StepRecordList records) : records_(std::move(records)), removed_(records_.size()) {}

    std::size_t size() const { return records_.size(); }
    StepRecord& operator[](std::size_t index) { return records_[index]; }
    bool Is(std::size_t index, FileChangeReason reason) const {
        return !removed_[index] && records_[index].reason == reason;
    }
    void Remove(std::size_t index) { removed_[index] = true; }

    // The record is a modification of the file `name`.
    void Modify(std::size_t index, const SharedText& name, NameClass nameClass) {
        records_[index].fileName = name;
        records_[index].nameClass = nameClass;
        records_[index].reason = FileChangeReason::kModify;
    }

    StepRecordList Take() {
        RemoveMarked(records_, removed_);
        return std::move(records_);
    }

private:
    StepRecordList records_;
    std::vector<bool> removed_;
};

// From the last dot of the whole path on; empty without a dot.
std::u16string_view Suffix(std::u16string_view path) {
    const std::size_t dot = path.rfind(u'.');
    return dot == std::u16string_view::npos ? std::u16string_view() : path.substr(dot);
}

// Pass 1.
class TemporaryRenamePass {
public:
    TemporaryRenamePass(const RenameList& temporaryRenames, Output& output);
    void Use(const StepRecord& temporaryRename);
    void Apply();

private:
    const StepRecord* FirstRenameTo(std::u16string_view name);

    Output& output_;
    // By the paths that are asked for; the last one is the first in the output.
    std::unordered_map<std::u16string_view, std::vector<const StepRecord*>> renames_;
    std::unordered_set<FileReferenceNumber> created_;
    std::unordered_map<FileReferenceNumber, const StepRecord*> usedUp_;  // by which temporary rename
};

TemporaryRenamePass::TemporaryRenamePass(const RenameList& temporaryRenames, Output& output) : output_(output) {
    for (const StepRecord& rename : temporaryRenames) {
        renames_.try_emplace(rename.originalFileName);
    }
    for (std::size_t i = output.size(); i-- > 0;) {
        if (output.Is(i, FileChangeReason::kCreate)) {
            created_.insert(output[i].frn);
        } else if (output.Is(i, FileChangeReason::kRename)) {
            if (const auto wanted = renames_.find(output[i].fileName); wanted != renames_.end()) {
                wanted->second.push_back(&output[i]);
            }
        }
    }
}

const StepRecord* TemporaryRenamePass::FirstRenameTo(std::u16string_view name) {
    std::vector<const StepRecord*>& renames = renames_.find(name)->second;
    while (!renames.empty() && usedUp_.contains(renames.back()->frn)) {
        renames.pop_back();
    }
    return renames.empty() ? nullptr : renames.back();
}

void TemporaryRenamePass::Use(const StepRecord& temporaryRename) {
    const StepRecord* rename = FirstRenameTo(temporaryRename.originalFileName);
    if (rename != nullptr && created_.contains(rename->frn)) {
        usedUp_.emplace(rename->frn, &temporaryRename);
    }
}

void TemporaryRenamePass::Apply() {
    if (usedUp_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output_.size(); ++i) {
        const auto entry = usedUp_.find(output_[i].frn);
        if (entry == usedUp_.end()) {
            continue;
        }
        if (output_.Is(i, FileChangeReason::kCreate)) {
            // The path of the rename that was found, which is the temporary rename's old path.
            output_.Modify(i, entry->second->originalFileName, entry->second->originalNameClass);
        } else if (output_.Is(i, FileChangeReason::kRename) || output_.Is(i, FileChangeReason::kModify)) {
            output_.Remove(i);
        }
    }
}

void UseTemporaryRenames(const RenameList& temporaryRenames, Output& output) {
    if (temporaryRenames.empty()) {
        return;
    }
    TemporaryRenamePass pass(temporaryRenames, output);
    for (const StepRecord& rename : temporaryRenames) {
        pass.Use(rename);
    }
    pass.Apply();
}

// Pass 2.
class BackupPass {
public:
    explicit BackupPass(const RenameList& renames);
    void Apply(Output& output);

private:
    struct Backup {
        const StepRecord* rename;  // the first one from this path
        bool created = false;      // the output holds a CREATE of the path
    };

    void FindCreations(Output& output);
    const StepRecord* RenameFrom(std::u16string_view backup) const;

    std::unordered_map<std::u16string_view, Backup> backups_;
    std::unordered_set<std::u16string_view> saved_;  // the paths that created backups were renamed to
};

BackupPass::BackupPass(const RenameList& renames) {
    for (const StepRecord& rename : renames) {
        if (EqualsLowered(Suffix(rename.originalFileName), u".igbak")) {
            backups_.try_emplace(rename.originalFileName, Backup{&rename});
        }
    }
}

void BackupPass::FindCreations(Output& output) {
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (!output.Is(i, FileChangeReason::kCreate)) {
            continue;
        }
        if (const auto backup = backups_.find(output[i].fileName); backup != backups_.end()) {
            backup->second.created = true;
            saved_.insert(backup->second.rename->fileName);
        }
    }
}

const StepRecord* BackupPass::RenameFrom(std::u16string_view backup) const {
    const auto found = backups_.find(backup);
    return found != backups_.end() && found->second.created ? found->second.rename : nullptr;
}

void BackupPass::Apply(Output& output) {
    if (backups_.empty()) {
        return;
    }
    FindCreations(output);
    for (std::size_t i = 0; i < output.size() && !saved_.empty(); ++i) {
        if (output.Is(i, FileChangeReason::kCreate)) {
            if (const StepRecord* rename = RenameFrom(output[i].fileName)) {
                output.Modify(i, rename->fileName, rename->nameClass);
            }
        } else if (output.Is(i, FileChangeReason::kRename)) {
            const StepRecord* rename = RenameFrom(output[i].originalFileName);
            if (rename != nullptr && rename->fileName == output[i].fileName) {
                output[i].reason = FileChangeReason::kModify;
            }
        } else if (output.Is(i, FileChangeReason::kDelete) && saved_.contains(output[i].fileName)) {
            output.Remove(i);
        }
    }
}

// Pass 3. Files and paths are told apart by number and path; each such pair gets an id once, and the rest is integers.
class ChainPass {
public:
    ChainPass(const RenameList& renames, const std::vector<std::size_t>& places, Output& output);
    void Run();

private:
    using Id = std::uint32_t;  // of a file under a path
    struct Journey {
        Id from = 0;
        Id to = 0;
    };
    // Places in the output, the first on top. A walk goes on behind the place that it removed, and the next walk that
    // asks removes a later one: what is passed over is never asked for again.
    using Places = std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>>;

    Id IdOf(FileReferenceNumber frn, std::u16string_view path) {
        return ids_.try_emplace({frn, path}, static_cast<Id>(ids_.size())).first->second;
    }
    static std::uint64_t KeyOf(Journey journey) { return std::uint64_t{journey.from} << 32 | journey.to; }
    void Use(Journey rename);
    // The renames like this one, from the first one on that is left behind `place`; null without one.
    Places* LikeBehind(Journey rename, std::size_t place);
    void Collapse(Places& like, std::size_t first);

    Output& output_;
    std::unordered_map<NumberedName, Id, NumberedNameHash> ids_;
    std::vector<Journey> journeys_;                    // of the renames of files that are renamed often, in order
    std::vector<Journey> atPlace_;                     // of the same in the output, by place
    std::vector<Places> arrivals_;                     // the renames to a path that are left
    std::unordered_map<std::uint64_t, Places> alike_;  // the renames between two paths, if the old one has arrivals
};

// The files with more than one rename, ascending. The rename of any other file meets none but itself, and removes
// itself only if its paths are the same.
std::vector<FileReferenceNumber> FilesRenamedOften(const RenameList& renames) {
    std::vector<FileReferenceNumber> numbers;
    for (const StepRecord& rename : renames) {
        numbers.insert(numbers.end(), rename.fileName == rename.originalFileName ? 2 : 1, rename.frn);
    }
    std::ranges::sort(numbers);
    std::vector<FileReferenceNumber> often;
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] == numbers[i - 1]) {
            often.push_back(numbers[i]);
        }
    }
    return often;
}

ChainPass::ChainPass(const RenameList& renames, const std::vector<std::size_t>& places, Output& output)
    : output_(output) {
    const std::vector<FileReferenceNumber> often = FilesRenamedOften(renames);
    if (often.empty()) {
        return;
    }
    ids_.reserve(often.size());
    atPlace_.resize(output.size());
    std::vector<std::size_t> left;
    for (std::size_t i = 0; i < renames.size(); ++i) {
        const StepRecord& rename = renames[i];
        if (!std::ranges::binary_search(often, rename.frn)) {
            continue;
        }
        journeys_.push_back({IdOf(rename.frn, rename.originalFileName), IdOf(rename.frn, rename.fileName)});
        if (output.Is(places[i], FileChangeReason::kRename)) {
            atPlace_[places[i]] = journeys_.back();
            left.push_back(places[i]);
        }
    }
    arrivals_.resize(ids_.size());
    for (const std::size_t place : left) {
        arrivals_[atPlace_[place].to].push(place);
    }
    for (const std::size_t place : left) {
        if (!arrivals_[atPlace_[place].from].empty()) {
            alike_[KeyOf(atPlace_[place])].push(place);
        }
    }
}

ChainPass::Places* ChainPass::LikeBehind(Journey rename, std::size_t place) {
    const auto found = alike_.find(KeyOf(rename));
    if (found == alike_.end()) {
        return nullptr;
    }
    Places& like = found->second;
    while (!like.empty() && (like.top() < place || !output_.Is(like.top(), FileChangeReason::kRename))) {
        like.pop();
    }
    return like.empty() ? nullptr : &like;
}

// The first of these takes the old path of the rename at `first`: it is like other renames from now on.
void ChainPass::Collapse(Places& like, std::size_t first) {
    const std::size_t place = like.top();
    like.pop();
    output_[place].originalFileName = output_[first].originalFileName;
    output_[place].originalNameClass = output_[first].originalNameClass;
    atPlace_[place].from = atPlace_[first].from;
    if (!arrivals_[atPlace_[place].from].empty()) {
        alike_[KeyOf(atPlace_[place])].push(place);
    }
}

void ChainPass::Use(Journey rename) {
    Places& arrivals = arrivals_[rename.from];
    while (!arrivals.empty()) {
        const std::size_t removed = arrivals.top();
        arrivals.pop();
        output_.Remove(removed);
        // A rename to its own old path is an arrival itself, not a rename like itself.
        if (output_[removed].originalFileName.empty() || rename.from == rename.to) {
            continue;
        }
        Places* const like = LikeBehind(rename, removed);
        if (like != nullptr && (arrivals.empty() || like->top() < arrivals.top())) {
            Collapse(*like, removed);
            return;
        }
    }
}

void ChainPass::Run() {
    for (const Journey rename : journeys_) {
        Use(rename);
    }
}

// Pass 4.
void UseTemporaryToBackupRenames(const RenameList& renames, Output& output) {
    std::unordered_set<std::u16string_view> bases;
    for (const StepRecord& rename : renames) {
        const std::u16string_view name = rename.fileName;
        if (EqualsLowered(Suffix(name), u".bak") && EqualsLowered(Suffix(rename.originalFileName), u".tmp")) {
            bases.insert(name.substr(0, name.rfind(u'.')));
        }
    }
    for (std::size_t i = 0; i < output.size() && !bases.empty(); ++i) {
        const std::u16string_view name = output[i].fileName;
        const std::size_t dot = name.rfind(u'.');
        if (output.Is(i, FileChangeReason::kCreate) && dot != std::u16string_view::npos &&
            bases.contains(name.substr(0, dot))) {
            output[i].reason = FileChangeReason::kModify;
        }
    }
}

// What becomes of the list before the passes.
class TemporaryRenameResolution {
public:
    explicit TemporaryRenameResolution(StepRecordList records);

    void HandOnNumbersOfSavedFiles();
    void RunPasses();
    StepRecordList TakeOutput() { return output_.Take(); }

private:
    void AddRename(std::size_t place);

    Output output_;
    RenameList temporaryRenames_;
    RenameList renames_;
    std::vector<std::size_t> renamePlaces_;  // where they are in the output, if they are left there
    std::unordered_map<SharedText, FileReferenceNumber> savedNumbers_;
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

void TemporaryRenameResolution::AddRename(std::size_t place) {
    StepRecord& record = output_[place];
    renames_.push_back(record);
    renamePlaces_.push_back(place);
    if (record.isTempFile) {
        temporaryRenames_.push_back(record);
    } else if (!platform::IsDirectory(record.fileAttributes) && record.originalNameClass.temporary) {
        record.reason = FileChangeReason::kModify;
        record.originalFileName = {};
        record.originalNameClass = {};
        savedNumbers_[record.fileName] = record.frn;
    }
}

void TemporaryRenameResolution::HandOnNumbersOfSavedFiles() {
    if (savedNumbers_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < output_.size(); ++i) {
        if (!output_.Is(i, FileChangeReason::kCreate) && !output_.Is(i, FileChangeReason::kModify)) {
            continue;
        }
        const auto saved = savedNumbers_.find(output_[i].fileName);
        if (saved != savedNumbers_.end() && saved->second != kNoFrn) {
            output_[i].frn = saved->second;
        }
    }
}

void TemporaryRenameResolution::RunPasses() {
    UseTemporaryRenames(temporaryRenames_, output_);
    BackupPass(renames_).Apply(output_);
    ChainPass(renames_, renamePlaces_, output_).Run();
    UseTemporaryToBackupRenames(renames_, output_);
}

}  // namespace

StepRecordList ResolveTemporaryRenames(StepRecordList records, StepContext&) {
    TemporaryRenameResolution resolution(std::move(records));
    resolution.HandOnNumbersOfSavedFiles();
    resolution.RunPasses();
    return resolution.TakeOutput();
}

}  // namespace tavi::records
