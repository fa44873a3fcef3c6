// Every directory seen in the listened folder, by file reference number: its parent and its name. From it the path of a
// directory that is gone is rebuilt. Its rows are kept in the pathMapping table, so that they outlive the process.
// Owned by the task's VolumeJournal; listen thread only. Paths here are volume-relative: a leading backslash, no drive.
//
// Rows come from a table and from a journal that may have been read with gaps, so parents can form a loop: a walk that
// meets itself ends in an empty path.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/sqlite3_operator.h"
#include "journal/number_index.h"

namespace tavi::journal {

// The longest path that the file system has; a chain that would give a longer one is none of its directories.
inline constexpr std::size_t kLongestPathUnits = 32'767;

// What the mapping needs to know of a journal record.
struct RecordIdentity {
    std::uint64_t fileReferenceNumber = 0;
    std::uint64_t parentFileReferenceNumber = 0;
    std::uint32_t fileAttributes = 0;
};

class PathMapping {
public:
    // `database` outlives the mapping. `listenPath` with its drive.
    PathMapping(db::SqLite3Operator& database, std::u16string listenPath);

    // Stored rows; nothing becomes pending.
    void Load(std::vector<db::PathMappingEntry> rows);

    // Empty when the number is unknown, the listened folder's own number is not yet known, or the chain is a loop or
    // longer than any path.
    std::u16string BuildPathFromMapping(std::uint64_t fileReferenceNumber) const;

    // For a record inside the listened folder.
    void UpdatePathMapping(const RecordIdentity& record, std::u16string_view parentPath, std::u16string_view name);
    // For every record: a directory that moved to the recycle bin has left the folder, its row must follow.
    void CheckRecycleBinMove(const RecordIdentity& record, std::u16string_view parentPath, std::u16string_view name);
    void LearnSyncFolder(std::uint64_t parentFileReferenceNumber, std::u16string_view parentPath);
    // Stores what has changed since the last flush; a failed store is not repeated.
    void FlushPathMapping();

    // The directory's place, which never changes, or NumberIndex::kNone when it is not known.
    std::uint32_t PlaceOf(std::uint64_t fileReferenceNumber) const { return known_.Find(fileReferenceNumber); }
    // Whether the directory at a place is known by this parent and name: then UpdatePathMapping has nothing to do once
    // the folder has been learned.
    bool Says(std::uint32_t place, std::uint64_t parentFileReferenceNumber, std::u16string_view name) const {
        const db::PathMappingEntry& entry = directories_[place];
        return entry.parentFileReferenceNumber == parentFileReferenceNumber && std::ranges::equal(entry.fileName, name);
    }

    bool syncFolderLearned() const { return syncFolderLearned_; }
    // Counts what can alter a rebuilt path, so that its users know when to rebuild theirs.
    std::uint64_t version() const { return version_; }
    static bool IsInRecycleBin(std::u16string_view parentPath);

private:
    // The directory's entry, made when it is not known.
    db::PathMappingEntry& EntryOf(std::uint64_t number);
    bool WalkToSyncFolder(std::uint64_t number, std::vector<const std::u16string*>& names, std::size_t& units) const;

    db::SqLite3Operator& database_;
    std::u16string listenPath_;
    std::vector<db::PathMappingEntry> directories_;
    NumberIndex known_;  // the places in directories_
    std::uint64_t syncFolderReferenceNumber_ = 0;
    std::u16string syncFolderPath_;  // empty until learned, and for a drive's root, which has no name
    bool syncFolderLearned_ = false;
    std::unordered_map<std::uint64_t, db::PathMappingEntry> pendingEntries_;
    std::uint64_t version_ = 0;
};

}  // namespace tavi::journal
