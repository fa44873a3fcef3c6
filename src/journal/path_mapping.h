// Every directory seen in the listened folder, by file reference number: its parent and its name. From it the path of a
// directory that is gone is rebuilt. Paths here are volume-relative: a leading backslash, no drive.
//
// Made, loaded, flushed and owned by the task's cycle (records/cycle/file_change_record.h); the decoder tells it of
// records between two flushes. Listen thread only. What it learns is known at once and pending until the next flush,
// which stores it in the pathMapping table, so that it outlives the process. A path that cannot be rebuilt is empty.
// Nothing is logged but the learning of the folder and what the database logs. Throws nothing but allocation failures.
//
// Rows come from a table and from a journal that may have been read with gaps, so parents can form a loop: a walk that
// meets itself ends in an empty path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/sqlite3_operator.h"
#include "platform/types.h"

namespace tavi::journal {

// The longest path that the file system has; a chain that would give a longer one is none of its directories.
inline constexpr std::size_t kLongestPathUnits = 32'767;

// What the mapping needs to know of a journal record.
struct RecordIdentity {
    platform::FileReferenceNumber fileReferenceNumber = 0;
    platform::FileReferenceNumber parentFileReferenceNumber = 0;
    std::uint32_t fileAttributes = 0;
};

class PathMapping {
public:
    // `database` outlives the mapping. `listenPath` with its drive; trailing backslashes do not count.
    PathMapping(db::SqLite3Operator& database, std::u16string listenPath);

    // Adds stored rows; nothing becomes pending. A row replaces one with the same number.
    void Load(std::vector<db::PathMappingEntry> rows);

    // Empty when the number is unknown, the listened folder's own number is not yet known, or the chain is a loop or
    // longer than any path. Changes nothing.
    std::u16string BuildPathFromMapping(platform::FileReferenceNumber number) const;

    // For a record inside the listened folder. Learns the folder from a record whose parent it is; a directory's new
    // parent or name becomes known and pending.
    void UpdatePathMapping(const RecordIdentity& record, std::u16string_view parentPath, std::u16string_view name);
    // For every record: a known directory that moved to the recycle bin has left the folder, its row must follow.
    void CheckRecycleBinMove(const RecordIdentity& record, std::u16string_view parentPath, std::u16string_view name);
    // Remembers the number once, from the first parent whose path is the listened folder's, and traces it.
    void LearnSyncFolder(platform::FileReferenceNumber parent, std::u16string_view parentPath);
    // Stores what is pending, in one transaction; nothing is pending afterwards. A failed store is not repeated: the
    // directories stay known, and their rows are corrected by later changes. Throws nothing; only when there is no
    // memory for the list does everything stay pending, with a line in the log.
    void FlushPathMapping();

    bool syncFolderLearned() const { return syncFolderLearned_; }

private:
    using Directories = std::unordered_map<platform::FileReferenceNumber, db::PathMappingEntry>;

    bool WalkToSyncFolder(platform::FileReferenceNumber number, std::vector<const std::u16string*>& names,
                          std::size_t& units) const;

    db::SqLite3Operator& database_;
    std::u16string listenPath_;
    Directories knownDirectories_;
    platform::FileReferenceNumber syncFolderReferenceNumber_ = 0;
    std::u16string syncFolderPath_;  // empty until learned, and for a drive's root, which has no name
    bool syncFolderLearned_ = false;
    Directories pendingEntries_;
};

}  // namespace tavi::journal
