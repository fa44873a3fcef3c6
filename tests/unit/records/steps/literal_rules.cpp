#include "unit/records/steps/literal_rules.h"

#include <algorithm>

#include "unit/records/names/literal_names.h"

namespace tavi::literal {
namespace {

using records::FileChangeReason;
using records::kNoFrn;

bool IsDirectory(std::uint32_t attributes) {
    return (attributes & 0x10) != 0;
}
bool IsHidden(std::uint32_t attributes) {
    return (attributes & 0x2) != 0;
}

bool IsTemporaryFile(std::uint32_t attributes, const std::u16string& path) {
    return !IsDirectory(attributes) && IsTemporaryFileName(path);
}

std::uint64_t UnsignedDifference(std::int64_t later, std::int64_t earlier) {
    return static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier);
}

void RemoveAt(FileChangeInfoList& list, std::size_t index) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
}

bool IsPlaceholderRelease(const UsnRecordList& input, std::size_t i) {
    const std::uint32_t pattern[] = {0x80000000, 0x8000, 0x108000, 0x108001, 0x80108001};
    if (input[i].reason != 0x80000000 || i + 5 > input.size()) {
        return false;
    }
    for (std::size_t k = 0; k < 5; ++k) {
        if (input[i + k].reason != pattern[k]) {
            return false;
        }
    }
    return true;
}

bool IsPlaceholderHydration(const UsnRecordList& input, std::size_t i) {
    if (i >= input.size() || input[i].reason != 0x100000) {
        return false;
    }
    if (i + 7 >= input.size() || input[i + 7].reason != 0x80000200) {
        return false;
    }
    const std::u16string name = LastComponent(input[i + 7].filename);
    return IsHydrationName(name) && name.find(LastComponent(input[i].filename)) != std::u16string::npos;
}

FileChangeInfo MakeInfo(const UsnRecord& record, FileChangeReason kind) {
    FileChangeInfo info;
    info.fileName = record.filename;
    info.fileAttributes = record.fileAttributes;
    info.isTempFile = IsTemporaryFile(record.fileAttributes, record.filename);
    info.reason = kind;
    info.delayCount = 0;
    info.timestamp = record.timestamp;
    info.frn = record.frn;
    info.oldfrn = kNoFrn;
    return info;
}

void ApplyRenameRule(const UsnRecord& record, FileChangeInfoList& output) {
    FileChangeReason candidate = FileChangeReason::kNone;
    if ((record.reason & 0x1000) != 0) {
        candidate = FileChangeReason::kRenameOldName;
    } else if ((record.reason & 0x2000) != 0) {
        candidate = FileChangeReason::kRenameNewName;
    } else {
        return;
    }
    for (const FileChangeInfo& earlier : output) {
        if (earlier.frn == record.frn && earlier.reason == candidate && earlier.fileName == record.filename) {
            return;
        }
    }
    output.push_back(MakeInfo(record, candidate));
}

bool CreateAfterDelete(const FileChangeInfo& create, const FileChangeInfo& deletion, const FileChangeInfoList& input) {
    bool flag = false;
    for (const FileChangeInfo& record : input) {
        if (record.fileName == create.fileName && record.reason == FileChangeReason::kRenameOldName &&
            record.frn == create.frn) {
            flag = true;
        } else if (flag && record.fileName == deletion.fileName && record.reason == FileChangeReason::kRenameNewName &&
                   record.frn == create.frn) {
            return true;
        }
    }
    return false;
}

bool CreateIsModification(const FileChangeInfo& create, const FileChangeInfoList& input) {
    bool modified = false;
    for (const FileChangeInfo& record : input) {
        if (record.reason == FileChangeReason::kModify && record.frn == create.frn &&
            record.fileName == create.fileName) {
            modified = true;
        } else if (modified && record.reason == FileChangeReason::kDelete && CreateAfterDelete(create, record, input)) {
            return true;
        }
    }
    return false;
}

bool SaveByRename(const FileChangeInfo& deletion, std::size_t j, const FileChangeInfoList& input) {
    if (deletion.reason != FileChangeReason::kDelete || input[j].reason != FileChangeReason::kRenameNewName || j == 0 ||
        input[j - 1].reason != FileChangeReason::kRenameOldName || input[j - 1].timestamp != input[j].timestamp) {
        return false;
    }
    if (LastComponent(input[j - 1].fileName) == LastComponent(input[j].fileName)) {
        return false;
    }
    return deletion.fileName == input[j - 1].fileName;
}

bool KeepSpecialDeletion(const FileChangeInfo& deletion, std::size_t j, const FileChangeInfoList& input) {
    const FileChangeInfo& later = input[j];
    if (later.reason == FileChangeReason::kCreate) {
        return true;
    }
    if (later.reason == FileChangeReason::kRenameNewName) {
        if (j >= 1 && input[j - 1].reason == FileChangeReason::kRenameOldName &&
            UnsignedDifference(later.timestamp, input[j - 1].timestamp) < 3) {
            return SaveByRename(deletion, j, input);
        }
        return true;
    }
    return false;
}

void AppendEntriesBelow(const std::u16string& directory, std::int64_t timestamp, const World& world,
                        FileChangeInfoList& output) {
    const auto found = world.tree.find(directory);
    if (found == world.tree.end()) {
        return;
    }
    for (const World::Entry& entry : found->second) {
        FileChangeInfo info;
        const bool needsBackslash = !directory.empty() && directory.back() != u'\\';
        info.fileName = directory + (needsBackslash ? u"\\" : u"") + entry.name;
        info.fileAttributes = entry.attributes;
        info.isTempFile = IsTemporaryFile(entry.attributes, info.fileName);
        info.reason = FileChangeReason::kCreate;
        info.timestamp = timestamp;
        info.frn = entry.frn;
        output.push_back(info);
        if (IsDirectory(entry.attributes)) {
            AppendEntriesBelow(info.fileName, timestamp, world, output);
        }
    }
}

void HandleMovedIn(FileChangeInfo record, const std::set<std::u16string>& deletedDirectories, const World& world,
                   FileChangeInfoList& output) {
    if (!IsDirectory(record.fileAttributes)) {
        record.reason = FileChangeReason::kCreate;
        output.push_back(record);
        return;
    }
    if (deletedDirectories.count(record.fileName) != 0 && !output.empty() && output.back().delayCount == 0) {
        record.reason = FileChangeReason::kMove;
        output.push_back(record);
        return;
    }
    record.reason = FileChangeReason::kCreate;
    output.push_back(record);
    AppendEntriesBelow(record.fileName, record.timestamp, world, output);
}

enum class RenamePlan { kKeep, kUnpairedOldName, kUnpairedNewName, kPaired, kConsumed };

std::vector<RenamePlan> PlanRenames(const FileChangeInfoList& input) {
    std::vector<RenamePlan> plan(input.size(), RenamePlan::kKeep);
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (input[i].reason == FileChangeReason::kRenameNewName) {
            plan[i] = RenamePlan::kUnpairedNewName;
        }
        if (input[i].reason != FileChangeReason::kRenameOldName) {
            continue;
        }
        if (i + 1 == input.size()) {
            plan[i] = RenamePlan::kUnpairedOldName;
            continue;
        }
        const FileChangeInfo& next = input[i + 1];
        if ((next.reason == FileChangeReason::kRenameNewName &&
             UnsignedDifference(next.timestamp, input[i].timestamp) < 16) ||
            next.frn == input[i].frn) {
            plan[i] = RenamePlan::kPaired;
            plan[i + 1] = RenamePlan::kConsumed;
            ++i;
        } else {
            plan[i] = RenamePlan::kUnpairedOldName;
        }
    }
    return plan;
}

FileChangeInfo MakeRename(const FileChangeInfo& oldName, const FileChangeInfo& newName) {
    FileChangeInfo rename = newName;
    rename.originalFileName = oldName.fileName;
    rename.reason = FileChangeReason::kRename;
    rename.oldfrn = kNoFrn;
    return rename;
}

void UseTemporaryRename(const FileChangeInfo& t, FileChangeInfoList& output) {
    const auto x = std::find_if(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kRename && w.fileName == t.originalFileName;
    });
    if (x == output.end()) {
        return;
    }
    const auto y = std::find_if(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kCreate && w.frn == x->frn;
    });
    if (y == output.end()) {
        return;
    }
    const std::u16string name = x->fileName;
    const std::uint64_t frn = y->frn;
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.frn == frn && w.reason == FileChangeReason::kCreate) {
            w.fileName = name;
            w.reason = FileChangeReason::kModify;
        } else if (w.frn == frn && (w.reason == FileChangeReason::kRename || w.reason == FileChangeReason::kModify)) {
            RemoveAt(output, i);
            continue;
        }
        ++i;
    }
}

void UseBackupRename(const FileChangeInfo& r, FileChangeInfoList& output) {
    const std::size_t dot = r.originalFileName.rfind(u'.');
    if (dot == std::u16string::npos || LowerCase(r.originalFileName.substr(dot)) != u".igbak") {
        return;
    }
    const bool created = std::any_of(output.begin(), output.end(), [&](const FileChangeInfo& w) {
        return w.reason == FileChangeReason::kCreate && w.fileName == r.originalFileName;
    });
    if (!created) {
        return;
    }
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.reason == FileChangeReason::kCreate && w.fileName == r.originalFileName) {
            w.fileName = r.fileName;
            w.reason = FileChangeReason::kModify;
        } else if (w.reason == FileChangeReason::kRename && w.fileName == r.fileName &&
                   w.originalFileName == r.originalFileName) {
            w.reason = FileChangeReason::kModify;
        } else if (w.reason == FileChangeReason::kDelete && w.fileName == r.fileName) {
            RemoveAt(output, i);
            continue;
        }
        ++i;
    }
}

void UseRenameChain(const FileChangeInfo& r, FileChangeInfoList& output) {
    std::u16string savedName;
    for (std::size_t i = 0; i < output.size();) {
        FileChangeInfo& w = output[i];
        if (w.reason != FileChangeReason::kRename) {
            ++i;
        } else if (w.fileName == r.originalFileName && w.frn == r.frn) {
            savedName = w.originalFileName;
            RemoveAt(output, i);
        } else if (w.fileName == r.fileName && w.originalFileName == r.originalFileName && !savedName.empty() &&
                   w.frn == r.frn) {
            w.originalFileName = savedName;
            return;
        } else {
            ++i;
        }
    }
}

void UseTemporaryToBackupRename(const FileChangeInfo& r, FileChangeInfoList& output) {
    const std::size_t newDot = r.fileName.rfind(u'.');
    const std::size_t oldDot = r.originalFileName.rfind(u'.');
    if (newDot == std::u16string::npos || oldDot == std::u16string::npos) {
        return;
    }
    if (LowerCase(r.fileName.substr(newDot)) != u".bak" || LowerCase(r.originalFileName.substr(oldDot)) != u".tmp") {
        return;
    }
    const std::u16string base = r.fileName.substr(0, newDot);
    for (FileChangeInfo& w : output) {
        const std::size_t dot = w.fileName.rfind(u'.');
        if (w.reason == FileChangeReason::kCreate && dot != std::u16string::npos && w.fileName.substr(0, dot) == base) {
            w.reason = FileChangeReason::kModify;
        }
    }
}

// Inside the batch merge only: a rename whose file was then modified.
constexpr FileChangeReason kRenameThenModify = static_cast<FileChangeReason>(8);

struct BatchMerge {
    FileChangeInfoList records;
    std::vector<bool> removed;
    std::map<std::u16string, std::size_t> standing;

    void OnCreate(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found != standing.end() && records[found->second].reason == FileChangeReason::kDelete &&
            records[found->second].delayCount == 0) {
            records[i].reason = FileChangeReason::kModify;
            removed[found->second] = true;
        }
        standing[records[i].fileName] = i;
    }

    void OnDelete(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found == standing.end()) {
            standing[records[i].fileName] = i;
            return;
        }
        const std::size_t j = found->second;
        const FileChangeReason kind = records[j].reason;
        if (kind == FileChangeReason::kCreate) {
            removed[j] = true;
            removed[i] = true;
            standing.erase(found);
        } else if (kind == FileChangeReason::kModify) {
            removed[j] = true;
            found->second = i;
        } else if (kind == FileChangeReason::kRename || kind == kRenameThenModify) {
            records[i].fileName = records[j].originalFileName;
            removed[j] = true;
            standing[records[i].fileName] = i;
        }
    }

    void OnModify(std::size_t i) {
        const auto found = standing.find(records[i].fileName);
        if (found == standing.end()) {
            standing[records[i].fileName] = i;
            return;
        }
        FileChangeInfo& earlier = records[found->second];
        if (earlier.reason == FileChangeReason::kCreate || earlier.reason == FileChangeReason::kModify) {
            removed[i] = true;
        } else if (earlier.reason == FileChangeReason::kRename || earlier.reason == kRenameThenModify) {
            earlier.reason = kRenameThenModify;
            removed[i] = true;
        }
    }
};

}  // namespace

UsnRecordList FilterPlaceholders(const UsnRecordList& input) {
    UsnRecordList output;
    for (std::size_t i = 0; i < input.size();) {
        const UsnRecord& record = input[i];
        if (IsPlaceholderRelease(input, i)) {
            i += 5;
        } else if (record.reason == 0x80100100 || record.reason == 0x80100102) {
            i += 1;
        } else if (record.reason == 0x100000 && IsPlaceholderHydration(input, i)) {
            i += 8;
        } else {
            output.push_back(record);
            output.back().oldfrn = -1;
            i += 1;
        }
    }
    return output;
}

UsnRecordList CorrectHiddenAttributes(const UsnRecordList& input) {
    UsnRecordList output;
    std::map<std::u16string, std::size_t> hidden;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const UsnRecord& record = input[i];
        output.push_back(record);
        output.back().oldfrn = -1;
        if ((record.reason & 0x80000000) != 0) {
            continue;
        }
        const bool temporary = IsTemporaryFile(record.fileAttributes, record.filename);
        if ((record.reason & 0x2000) != 0 && IsHidden(record.fileAttributes) && !temporary) {
            hidden[record.filename] = i;
            continue;
        }
        if ((record.reason & 0x8000) != 0 && !IsHidden(record.fileAttributes) && !temporary) {
            const auto found = hidden.find(record.filename);
            if (found != hidden.end()) {
                output[found->second].fileAttributes &= ~std::uint32_t{0x2};
                hidden.erase(found);
            }
        }
    }
    return output;
}

FileChangeInfoList Convert(const UsnRecordList& input) {
    FileChangeInfoList output;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const UsnRecord& r = input[i];
        if (i >= 1) {
            const UsnRecord& p = input[i - 1];
            if (p.filename == r.filename && (p.reason & r.reason) == p.reason && (r.reason & 0x3307 & ~p.reason) == 0) {
                continue;
            }
        }
        if ((r.reason & 0x80000000) == 0) {
            if (r.reason == 0x100 || r.reason == 0x500) {
                output.push_back(MakeInfo(r, FileChangeReason::kCreate));
            } else if ((r.reason & 0x7) != 0) {
                output.push_back(MakeInfo(r, FileChangeReason::kModify));
                ApplyRenameRule(r, output);
            } else {
                ApplyRenameRule(r, output);
            }
        } else if ((r.reason & 0x200) != 0) {
            output.push_back(MakeInfo(r, FileChangeReason::kDelete));
        } else if ((r.reason & 0x7) != 0) {
            output.push_back(MakeInfo(r, FileChangeReason::kModify));
        }
    }
    return output;
}

FileChangeInfoList FilterTemporaryFiles(const FileChangeInfoList& input, const World& world,
                                        TemporaryFileList& temporaryFiles) {
    temporaryFiles.clear();
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        if (IsRecordedTemporaryFile(r)) {
            temporaryFiles.push_back({r.fileName, r.fileAttributes, 0});
        }
        const bool hidden = IsHidden(r.fileAttributes);
        const bool temporary = IsTemporaryFile(r.fileAttributes, r.fileName);
        if (!hidden || temporary || world.placeholders.count(r.fileName) != 0) {
            if (!(r.isTempFile && (r.reason == FileChangeReason::kCreate || r.reason == FileChangeReason::kDelete ||
                                   r.reason == FileChangeReason::kModify))) {
                output.push_back(r);
            }
        }
        if (hidden && !temporary) {
            output.push_back(r);
        }
    }
    return output;
}

FileChangeInfoList MergeModifications(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        if (r.reason == FileChangeReason::kModify && !output.empty() &&
            output.back().reason == FileChangeReason::kModify && output.back().fileName == r.fileName) {
            output.back().fileAttributes = r.fileAttributes;
            continue;
        }
        output.push_back(r);
        if (r.reason == FileChangeReason::kCreate && CreateIsModification(r, input)) {
            output.back().reason = FileChangeReason::kModify;
        }
    }
    return output;
}

FileChangeInfoList CheckSpecialDeletions(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    std::map<std::u16string, std::size_t> later;
    for (std::size_t i = input.size(); i-- > 0;) {
        const FileChangeInfo& r = input[i];
        const auto found = later.find(r.fileName);
        if (r.reason != FileChangeReason::kDelete || !HasDocumentExtension(r.fileName) || found == later.end() ||
            KeepSpecialDeletion(r, found->second, input)) {
            output.push_back(r);
        }
        later[r.fileName] = i;
    }
    std::reverse(output.begin(), output.end());
    return output;
}

FileChangeInfoList PairRenames(const FileChangeInfoList& input, const World& world) {
    const std::vector<RenamePlan> plan = PlanRenames(input);
    FileChangeInfoList output;
    std::set<std::u16string> deletedDirectories;
    for (std::size_t i = 0; i < input.size(); ++i) {
        switch (plan[i]) {
            case RenamePlan::kKeep:
                output.push_back(input[i]);
                break;
            case RenamePlan::kUnpairedOldName:
                output.push_back(input[i]);
                output.back().reason = FileChangeReason::kDelete;
                break;
            case RenamePlan::kUnpairedNewName:
                HandleMovedIn(input[i], deletedDirectories, world, output);
                break;
            case RenamePlan::kPaired:
                output.push_back(MakeRename(input[i], input[i + 1]));
                break;
            case RenamePlan::kConsumed:
                continue;
        }
        if (IsDirectory(output.back().fileAttributes) && output.back().reason == FileChangeReason::kDelete) {
            deletedDirectories.insert(output.back().fileName);
        }
    }
    return output;
}

FileChangeInfoList CheckSpecialRenames(const FileChangeInfoList& input, FileChangeInfoList& delay) {
    FileChangeInfoList output;
    std::map<std::u16string, std::size_t> creates;
    for (std::size_t i = input.size(); i-- > 0;) {
        const FileChangeInfo& r = input[i];
        output.push_back(r);
        if (r.reason == FileChangeReason::kRename && HasMatlabExtension(r.originalFileName) &&
            IsTemporaryFile(r.fileAttributes, r.fileName)) {
            const auto found = creates.find(r.originalFileName);
            if (found != creates.end()) {
                output[found->second].reason = FileChangeReason::kModify;
                output[found->second].oldfrn = r.frn;
            } else {
                delay.push_back(r);
            }
        } else if (r.reason == FileChangeReason::kCreate && HasMatlabExtension(r.fileName)) {
            creates[r.fileName] = output.size() - 1;
        }
    }
    std::reverse(output.begin(), output.end());
    return output;
}

FileChangeInfoList ResolveTemporaryRenames(const FileChangeInfoList& input) {
    FileChangeInfoList output;
    FileChangeInfoList temporaryRenames;
    FileChangeInfoList allRenames;
    std::map<std::u16string, std::uint64_t> savedNumbers;
    for (const FileChangeInfo& r : input) {
        if (!r.isTempFile) {
            output.push_back(r);
            if (r.reason == FileChangeReason::kRename && !IsDirectory(r.fileAttributes) &&
                IsTemporaryFileName(r.originalFileName)) {
                output.back().reason = FileChangeReason::kModify;
                output.back().originalFileName.clear();
                savedNumbers[r.fileName] = r.frn;
            }
        } else if (r.reason == FileChangeReason::kRename) {
            temporaryRenames.push_back(r);
        }
        if (r.reason == FileChangeReason::kRename) {
            allRenames.push_back(r);
        }
    }
    for (FileChangeInfo& w : output) {
        const auto found = savedNumbers.find(w.fileName);
        if ((w.reason == FileChangeReason::kCreate || w.reason == FileChangeReason::kModify) &&
            found != savedNumbers.end() && found->second != kNoFrn) {
            w.frn = found->second;
        }
    }
    for (const FileChangeInfo& t : temporaryRenames) {
        UseTemporaryRename(t, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseBackupRename(r, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseRenameChain(r, output);
    }
    for (const FileChangeInfo& r : allRenames) {
        UseTemporaryToBackupRename(r, output);
    }
    return output;
}

FileChangeInfoList MergeBatch(const FileChangeInfoList& input) {
    BatchMerge merge{input, std::vector<bool>(input.size(), false), {}};
    for (std::size_t i = 0; i < input.size(); ++i) {
        switch (input[i].reason) {
            case FileChangeReason::kCreate:
                merge.OnCreate(i);
                break;
            case FileChangeReason::kDelete:
                merge.OnDelete(i);
                break;
            case FileChangeReason::kModify:
                merge.OnModify(i);
                break;
            case FileChangeReason::kRename:
                merge.standing[input[i].fileName] = i;
                break;
            default:
                break;
        }
    }
    FileChangeInfoList output;
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (merge.removed[i]) {
            continue;
        }
        output.push_back(merge.records[i]);
        if (output.back().reason == kRenameThenModify) {
            output.back().reason = FileChangeReason::kRename;
            FileChangeInfo modify;
            modify.fileName = merge.records[i].fileName;
            modify.fileAttributes = merge.records[i].fileAttributes;
            modify.reason = FileChangeReason::kModify;
            modify.timestamp = merge.records[i].timestamp;
            modify.frn = merge.records[i].frn;
            output.push_back(modify);
        }
    }
    return output;
}

FileChangeInfoList SplitMoves(const FileChangeInfoList& input) {
    const auto directoryOf = [](const std::u16string& path) {
        const std::size_t backslash = path.rfind(u'\\');
        return backslash == std::u16string::npos ? std::u16string() : path.substr(0, backslash);
    };
    FileChangeInfoList output;
    for (const FileChangeInfo& r : input) {
        output.push_back(r);
        if (r.reason == FileChangeReason::kRename && directoryOf(r.fileName) != directoryOf(r.originalFileName)) {
            output.back().reason = FileChangeReason::kMove;
        }
    }
    return output;
}

Outcome RunAll(const UsnRecordList& batch, const FileChangeInfoList& delay, const World& world) {
    Outcome outcome;
    const auto note = [&outcome](const auto& list) { outcome.steps.emplace_back(list); };
    note(batch);
    UsnRecordList raw = FilterPlaceholders(batch);
    note(raw);
    raw = CorrectHiddenAttributes(raw);
    note(raw);
    FileChangeInfoList list = delay;
    const FileChangeInfoList converted = Convert(raw);
    list.insert(list.end(), converted.begin(), converted.end());
    note(list);
    list = FilterTemporaryFiles(list, world, outcome.temporaryFiles);
    note(list);
    list = MergeModifications(list);
    note(list);
    list = CheckSpecialDeletions(list);
    note(list);
    list = PairRenames(list, world);
    note(list);
    list = CheckSpecialRenames(list, outcome.delay);
    note(list);
    list = ResolveTemporaryRenames(list);
    note(list);
    list = MergeBatch(list);
    note(list);
    list = SplitMoves(list);
    note(list);
    return outcome;
}

}  // namespace tavi::literal
