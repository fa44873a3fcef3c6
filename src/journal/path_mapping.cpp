#include "journal/path_mapping.h"

#include <utility>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "platform/constants.h"

namespace tavi::journal {
namespace {

constexpr std::u16string_view kRecycleBin = u"$RECYCLE.BIN";

std::u16string_view WithoutTrailingBackslashes(std::u16string_view path) {
    while (path.ends_with(u'\\')) {
        path.remove_suffix(1);
    }
    return path;
}

}  // namespace

PathMapping::PathMapping(db::SqLite3Operator& database, std::u16string listenPath)
    : database_(database), listenPath_(std::move(listenPath)) {}

void PathMapping::Load(std::vector<db::PathMappingEntry> rows) {
    knownDirectories_.reserve(knownDirectories_.size() + rows.size());
    for (db::PathMappingEntry& row : rows) {
        knownDirectories_[row.fileReferenceNumber] = std::move(row);
    }
}

// Collects the names from the directory up to the listened folder, and counts the code units of the path that they
// make. Brent's method: a marker follows the walk in leaps of doubling length, so that a loop is met after a few
// rounds, without a mark on every row.
bool PathMapping::WalkToSyncFolder(platform::FileReferenceNumber number, std::vector<const std::u16string*>& names,
                                   std::size_t& units) const {
    platform::FileReferenceNumber marker = number;
    std::uint64_t stepsSinceMarker = 0;
    std::uint64_t leap = 2;
    units = syncFolderPath_.size();
    while (number != syncFolderReferenceNumber_) {
        const auto found = knownDirectories_.find(number);
        if (found == knownDirectories_.end()) {
            return false;
        }
        const db::PathMappingEntry& entry = found->second;
        names.push_back(&entry.fileName);
        units += 1 + entry.fileName.size();
        number = entry.parentFileReferenceNumber;
        if (number == marker || units > kLongestPathUnits) {
            return false;
        }
        if (++stepsSinceMarker == leap) {
            marker = number;
            stepsSinceMarker = 0;
            leap *= 2;
        }
    }
    return true;
}

std::u16string PathMapping::BuildPathFromMapping(platform::FileReferenceNumber number) const {
    std::vector<const std::u16string*> names;
    std::size_t units = 0;
    if (!syncFolderLearned() || !WalkToSyncFolder(number, names, units)) {
        return {};
    }
    std::u16string path;
    path.reserve(units);
    path = syncFolderPath_;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        path += u'\\';
        path += **name;
    }
    return path;
}

void PathMapping::UpdatePathMapping(const RecordIdentity& record, std::u16string_view parentPath,
                                    std::u16string_view name) {
    if (!syncFolderLearned()) {
        LearnSyncFolder(record.parentFileReferenceNumber, parentPath);
    }
    if (!platform::IsDirectory(record.fileAttributes)) {
        return;
    }
    const platform::FileReferenceNumber number = record.fileReferenceNumber;
    const auto known = knownDirectories_.find(number);
    if (known != knownDirectories_.end() &&
        known->second.parentFileReferenceNumber == record.parentFileReferenceNumber && known->second.fileName == name) {
        return;
    }
    // Pending first: were it known first and then memory ran out, it would never be stored.
    db::PathMappingEntry row{number, record.parentFileReferenceNumber, false, std::u16string(name)};
    pendingEntries_.insert_or_assign(number, row);
    knownDirectories_.insert_or_assign(number, std::move(row));
}

void PathMapping::CheckRecycleBinMove(const RecordIdentity& record, std::u16string_view parentPath,
                                      std::u16string_view name) {
    if (platform::IsDirectory(record.fileAttributes) && knownDirectories_.contains(record.fileReferenceNumber) &&
        parentPath.find(kRecycleBin) != std::u16string_view::npos) {
        UpdatePathMapping(record, parentPath, name);
    }
}

void PathMapping::LearnSyncFolder(platform::FileReferenceNumber parent, std::u16string_view parentPath) {
    if (syncFolderLearned()) {
        return;
    }
    const std::u16string_view listenPath = listenPath_;
    const std::size_t firstBackslash = listenPath.find(u'\\');
    if (firstBackslash == std::u16string_view::npos) {
        return;
    }
    const std::u16string_view folder = WithoutTrailingBackslashes(listenPath.substr(firstBackslash));
    if (folder != WithoutTrailingBackslashes(parentPath)) {
        return;
    }
    syncFolderReferenceNumber_ = parent;
    syncFolderPath_ = folder;
    syncFolderLearned_ = true;
    Drive::SyncPanelLog::WriteTraceLog("fileReferenceNumber,syncFolderPath:" + std::to_string(parent) + "," +
                                       TypeConvert::UnicodeToUTF8(syncFolderPath_));
}

void PathMapping::FlushPathMapping() {
    if (pendingEntries_.empty()) {
        return;
    }
    Drive::EndStandardExceptions(Drive::kFileChangeRecordLog, "FlushPathMapping",
                                 {.standard = "Failed to store the path mapping: exception "}, [this] {
                                     std::vector<db::PathMappingEntry> entries;
                                     entries.reserve(pendingEntries_.size());
                                     for (auto& [number, entry] : pendingEntries_) {
                                         entries.push_back(std::move(entry));
                                     }
                                     pendingEntries_.clear();
                                     database_.InsertPathMappingTable(entries);
                                 });
}

}  // namespace tavi::journal
