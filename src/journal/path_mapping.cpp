#include "journal/path_mapping.h"

#include <utility>

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
    directories_.reserve(directories_.size() + rows.size());
    for (db::PathMappingEntry& row : rows) {
        EntryOf(row.fileReferenceNumber) = std::move(row);
    }
    ++version_;
}

db::PathMappingEntry& PathMapping::EntryOf(std::uint64_t number) {
    if (const std::uint32_t place = PlaceOf(number); place != NumberIndex::kNone) {
        return directories_[place];
    }
    db::PathMappingEntry& entry = directories_.emplace_back();
    try {
        known_.Add(number);
    } catch (...) {
        directories_.pop_back();  // the two count alike
        throw;
    }
    return entry;
}

// Collects the names from the directory up to the listened folder, and counts the code units of the path that they
// make. Brent's method: a marker follows the walk in leaps of doubling length, so that a loop is met after a few
// rounds, without a mark on every row.
bool PathMapping::WalkToSyncFolder(std::uint64_t number, std::vector<const std::u16string*>& names,
                                   std::size_t& units) const {
    std::uint64_t marker = number;
    std::uint64_t stepsSinceMarker = 0;
    std::uint64_t leap = 2;
    units = syncFolderPath_.size();
    while (number != syncFolderReferenceNumber_) {
        const std::uint32_t place = known_.Find(number);
        if (place == NumberIndex::kNone) {
            return false;
        }
        const db::PathMappingEntry& entry = directories_[place];
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

std::u16string PathMapping::BuildPathFromMapping(std::uint64_t fileReferenceNumber) const {
    std::vector<const std::u16string*> names;
    std::size_t units = 0;
    if (!syncFolderLearned() || !WalkToSyncFolder(fileReferenceNumber, names, units)) {
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
    if ((record.fileAttributes & platform::kFileAttributeDirectory) == 0) {
        return;
    }
    const std::uint64_t number = record.fileReferenceNumber;
    const std::uint32_t place = PlaceOf(number);
    if (place != NumberIndex::kNone && Says(place, record.parentFileReferenceNumber, name)) {
        return;
    }
    db::PathMappingEntry& entry = EntryOf(number);
    entry.fileReferenceNumber = number;
    entry.parentFileReferenceNumber = record.parentFileReferenceNumber;
    entry.fileName = name;
    ++version_;
    // A row that is stored again is stored as present, whatever was loaded.
    db::PathMappingEntry& pending = pendingEntries_[number];
    pending = entry;
    pending.deleted = false;
}

void PathMapping::CheckRecycleBinMove(const RecordIdentity& record, std::u16string_view parentPath,
                                      std::u16string_view name) {
    if ((record.fileAttributes & platform::kFileAttributeDirectory) != 0 &&
        known_.Find(record.fileReferenceNumber) != NumberIndex::kNone && IsInRecycleBin(parentPath)) {
        UpdatePathMapping(record, parentPath, name);
    }
}

bool PathMapping::IsInRecycleBin(std::u16string_view parentPath) {
    return parentPath.find(kRecycleBin) != std::u16string_view::npos;
}

void PathMapping::LearnSyncFolder(std::uint64_t parentFileReferenceNumber, std::u16string_view parentPath) {
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
    syncFolderReferenceNumber_ = parentFileReferenceNumber;
    syncFolderPath_ = folder;
    syncFolderLearned_ = true;
    ++version_;
    Drive::SyncPanelLog::WriteTraceLog(
        "fileReferenceNumber,syncFolderPath:" + std::to_string(parentFileReferenceNumber) + "," +
        TypeConvert::UnicodeToUTF8(syncFolderPath_));
}

void PathMapping::FlushPathMapping() {
    if (pendingEntries_.empty()) {
        return;
    }
    std::vector<db::PathMappingEntry> entries;
    entries.reserve(pendingEntries_.size());
    for (auto& [number, entry] : pendingEntries_) {
        entries.push_back(std::move(entry));
    }
    pendingEntries_.clear();
    database_.InsertPathMappingTable(entries);
}

}  // namespace tavi::journal
