// The disk below SQLite: knows what of every database file was synchronised, so that a loss of power can take the rest,
// can be full, and counts what it is asked for. It stands between SQLite and the system's files, for the whole process,
// from the first Install on; until something is switched on it only passes calls on.
//
// Model: a file's contents survive as they were when the file was last synchronised; a file that never was is empty
// afterwards; a deletion is durable at once, as the file system's own journal makes it. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace tavi::sim {

// What the disk was asked for.
struct DiskActivity {
    std::uint64_t creations = 0;
    std::uint64_t deletions = 0;
    std::uint64_t syncs = 0;
    std::uint64_t writes = 0;
    // What all that would leave in a change journal: a record for each kind of change that is the file's first of that
    // kind since somebody opened it, and one more when the last one closes a file that was changed. A file's creation
    // and deletion are such changes. Writing through mapped memory, as to the index of the log, leaves none.
    std::uint64_t journalRecords = 0;
};

class SqliteDisk {
public:
    // Makes it SQLite's disk. Before the first connection is opened; more than once does nothing.
    static void Install();

    // Only while it is on are synchronised contents kept. Switching it on or off forgets all.
    static void TrackSynchronised(bool track);
    // Every file that was written since then, with what would be left of it.
    static std::map<std::filesystem::path, std::string> Synchronised();
    // The files were rewritten behind its back: this is what of them is synchronised.
    static void Reset(const std::map<std::filesystem::path, std::string>& files);

    // All files together, the index of the log included; Begin sets the counts to 0.
    static void BeginCounting();
    static DiskActivity Counted();

    // While it is on, every write fails with result 13.
    static void SetFull(bool full);
};

}  // namespace tavi::sim
