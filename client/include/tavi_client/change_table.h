// The table of changes, `fileChangeRecord`, as a client reads it: in the order of its ids, a page at a time. The
// service writes at the same time; a read takes a consistent look and never holds it up (the database is in WAL mode,
// the connection is read-only, lives for one call and leaves all housekeeping to the service).
//
// Texts are UTF-8. One object per thread. Nothing is thrown but std::bad_alloc; how a read ended stands in its result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavi::client {

// The values of the column `reason`.
inline constexpr std::int32_t kChangeCreate = 1;
inline constexpr std::int32_t kChangeDelete = 2;
inline constexpr std::int32_t kChangeModify = 3;
inline constexpr std::int32_t kChangeMove = 4;    // to another directory
inline constexpr std::int32_t kChangeRename = 5;  // within its directory

// One row. Paths are relative to the listened folder, with backslashes.
struct Change {
    std::int64_t id = 0;         // grows with every change that is reported, also when a change is reported again
    std::int64_t timestamp = 0;  // milliseconds of local time since 1970
    std::string path;
    std::string originalPath;      // where a renamed or moved file was before; otherwise empty
    std::uint32_t attributes = 0;  // Windows file attributes; 0x10 says directory
    std::int32_t kind = 0;
    std::uint64_t frn = 0;     // file reference number
    std::uint64_t oldfrn = 0;  // of the other half of a merged pair; all ones when there is none

    friend bool operator==(const Change&, const Change&) = default;
};

// "create", "delete", "modify", "move", "rename"; "unknown" for any other number.
std::string_view ChangeKindName(std::int32_t kind);

enum class ReadState {
    kRead,
    kMissing,  // no database, or none of the service's tables in it yet
    kBusy,     // locked by somebody for longer than the time limit
    kFailed,   // anything else; code is SQLite's result
};

struct ChangePage {
    ReadState state = ReadState::kFailed;
    int code = 0;
    std::vector<Change> changes;
};

inline constexpr int kDefaultBusyMilliseconds = 2000;

class ChangeTable {
public:
    // The path of ListenService.dat, as DatabasePath gives it.
    explicit ChangeTable(std::string databasePath, int busyMilliseconds = kDefaultBusyMilliseconds)
        : path_(std::move(databasePath)), busyMilliseconds_(busyMilliseconds) {}

    // At most `limit` changes with a greater id, the smallest ids first. To read everything, go on with the last id
    // until a page is not full; to follow, ask again later. A client that does not delete rows, or not only from the
    // front, uses ChangeFollower instead: ids may come a second time then.
    ChangePage ReadAfter(std::int64_t id, std::size_t limit) const;

private:
    std::string path_;
    int busyMilliseconds_;
};

}  // namespace tavi::client
