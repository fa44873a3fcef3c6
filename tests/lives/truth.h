// What really happened on the volume: every record that the journal ever got, with the path that the changed file had
// at that moment. Kept beside the journal, so that it outlives its trimming and deletion. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/ntfs_volume.h"

namespace tavi::lives {

struct TrueRecord {
    std::int64_t usn = 0;
    std::uint64_t frn = 0;
    std::u16string directory;  // relative to the volume
    std::u16string name;
    std::int64_t timestamp = 0;  // as rows show it: milliseconds since 1970
    std::uint32_t reason = 0;
    std::uint32_t attributes = 0;
};

class Truth {
public:
    explicit Truth(sim::NtfsVolume& volume) : volume_(volume) {}

    // Takes in what the journal has got since the last call. To be called after every change of the volume.
    void Pull();
    // The journal begins anew; what was pulled stays.
    void JournalReplaced();

    // What was pulled so far is of no interest any more.
    void Forget();

    const std::vector<TrueRecord>& records() const { return records_; }
    // The listened folder as in requests: "C:\Sync".
    static bool IsInside(const TrueRecord& record, std::u16string_view folder);
    static std::u16string RelativePath(const TrueRecord& record, std::u16string_view folder);
    // The records inside the folder, in order, from the position `usn` on, of the present journal; and their positions.
    std::vector<TrueRecord> RecordsInside(std::u16string_view folder, std::int64_t usn) const;
    std::vector<std::int64_t> Inside(std::u16string_view folder, std::int64_t usn) const;

private:
    sim::NtfsVolume& volume_;
    std::int64_t next_ = 0;
    std::size_t journalFrom_ = 0;
    std::vector<TrueRecord> records_;
    std::map<sim::Frn, std::u16string> directories_;  // where each was last seen
};

// Every file below a folder: its path relative to it, and its contents.
struct FileState {
    sim::Frn frn = 0;
    std::string contents;
    bool placeholder = false;
    bool directory = false;
};
using FolderState = std::map<std::u16string, FileState>;
FolderState StateOf(const sim::NtfsVolume& volume, std::u16string_view folder);

}  // namespace tavi::lives
