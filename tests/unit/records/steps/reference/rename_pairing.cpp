// The rename pairing; every directory that arrived is listed anew: see src/records/steps/rename_pairing.cpp.
#include <set>
#include <string>
#include <vector>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

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

}  // namespace

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

}  // namespace tavi::reference
