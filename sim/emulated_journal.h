// An NTFS change journal in memory, answering its control codes byte for byte as the file system does. Used by the
// simulated machine, by the stand-in library of the end-to-end tests and by their feeder; depends on nothing else here.
//
// Positions (USNs) are byte offsets in the journal's stream. A record is a USN_RECORD_V2, 8-byte aligned, and never
// crosses a 4096-byte page: the rest of a page that is too small is zero-filled, and reads skip it. The reasons of a
// file accumulate from its first change to its close. When the journal exceeds MaximumSize + AllocationDelta, it loses
// its oldest records in steps of AllocationDelta, at once or later. Layouts and codes: Microsoft's description of
// winioctl.h.
//
// Not thread-safe: the owner locks. Results are Windows error codes, 0 for success.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavi::sim {

enum class PositionAfterRecreation { kGoesOn, kRestarts };

// What differs between real systems, or what a test wants to provoke. Not part of the saved state.
struct JournalBehaviour {
    std::uint32_t codeBelowFirst = 1181;  // start position below FirstUsn: 1181 or 87
    std::uint32_t codeBeyondNext = 87;    // start position above NextUsn
    std::uint32_t failReadsWith = 0;      // every read gives this code, 21 for one, while it is not 0
    std::size_t mostBytesPerRead = 0;     // a read gives no more bytes than this, 0: as many as fit
    bool trimsAtCheckpoints = false;      // not with every append, but when Checkpoint is called
    int deletionTakesCalls = 0;           // this many calls after a deletion still answer 1178
    PositionAfterRecreation recreation = PositionAfterRecreation::kGoesOn;
};

// One decoded record, for tests and feeders to look at; not what a control code returns.
struct JournalEntry {
    std::int64_t usn = 0;
    std::uint16_t majorVersion = 0;
    std::uint64_t frn = 0;  // this and the rest only for version 2
    std::uint64_t parentFrn = 0;
    std::uint64_t time = 0;
    std::uint32_t reason = 0;
    std::uint32_t attributes = 0;
    std::u16string name;
};

class EmulatedJournal {
public:
    static constexpr std::size_t kPageBytes = 4096;
    static constexpr std::size_t kHeaderBytes = 128;
    static constexpr std::uint64_t kDefaultMaximumSize = 0x2000000;
    static constexpr std::uint64_t kDefaultAllocationDelta = 0x800000;

    explicit EmulatedJournal(std::uint64_t seed = 1);

    JournalBehaviour& behaviour() { return behaviour_; }

    // The five control codes; another one gives 1 (ERROR_INVALID_FUNCTION).
    std::uint32_t DeviceIoControl(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                                  std::uint32_t& bytesReturned);

    // Something happened to the file: writes a record with all reasons since the last close, unless none is new. CLOSE
    // among the reasons ends the cycle at once. Does nothing while there is no journal.
    void Append(std::uint64_t frn, std::uint64_t parentFrn, std::u16string_view name, std::uint32_t attributes,
                std::uint32_t reason, std::uint64_t time);
    // The last handle of the file was closed: writes the record with CLOSE when there is something to close.
    void Close(std::uint64_t frn, std::uint64_t time);
    // Nothing of what happened to the file is told any more.
    void Forget(std::uint64_t frn) { open_.erase(frn); }
    // One record as it is, without accumulation.
    void AppendRaw(std::uint64_t frn, std::uint64_t parentFrn, std::u16string_view name, std::uint32_t attributes,
                   std::uint32_t reason, std::uint64_t time);

    // Sizes of 0 mean the defaults; sizes are rounded up to whole pages.
    void Create(std::uint64_t maximumSize = 0, std::uint64_t allocationDelta = 0);
    void Delete();
    // Drops what is above the size, as the file system does from time to time: between two checkpoints the journal may
    // be larger.
    void Checkpoint() { Trim(); }
    // Drops everything before the page that holds `usn`, as trimming would.
    void TrimTo(std::int64_t usn);
    // Takes over a recorded stream whose first byte has position `firstUsn` (a whole number of pages). Gaps and records
    // of other versions stay as they are. False when a record's length leads out of its page or of the bytes.
    bool LoadRecorded(std::span<const std::byte> bytes, std::int64_t firstUsn = 0);

    bool active() const { return active_; }
    std::uint64_t journalId() const { return journalId_; }
    std::int64_t firstUsn() const { return firstUsn_; }
    std::int64_t nextUsn() const { return base_ + static_cast<std::int64_t>(stream_.size()); }
    std::uint64_t maximumSize() const { return maximumSize_; }
    std::uint64_t allocationDelta() const { return allocationDelta_; }
    // All records from FirstUsn on, or from a record's position on that is not below it.
    std::vector<JournalEntry> Entries() const { return EntriesFrom(firstUsn_); }
    std::vector<JournalEntry> EntriesFrom(std::int64_t usn) const;

    // The saved state is a header of kHeaderBytes and the stream. The stream only grows at its end while
    // streamBase() stays the same, so a file is kept up to date by writing what is new and then the header.
    std::string Header() const;
    std::string_view Stream() const { return stream_; }
    std::int64_t streamBase() const { return base_; }
    // Header, stream and open files; Restore takes it back (or header and stream alone). False, with the journal
    // unchanged, when the bytes are none.
    std::string Serialize() const;
    bool Restore(std::string_view bytes);

private:
    struct OpenFile {
        std::uint32_t reason = 0;
        std::uint64_t parentFrn = 0;
        std::uint32_t attributes = 0;
        std::u16string name;
    };

    std::uint32_t Query(std::span<std::byte> output, std::uint32_t& bytesReturned) const;
    std::uint32_t Read(std::span<const std::byte> input, std::span<std::byte> output, std::uint32_t& bytesReturned);
    std::uint32_t DeleteByCode(std::span<const std::byte> input);
    std::uint32_t Presence();
    bool IsRecordBoundary(std::int64_t usn) const;
    std::int64_t SkipGap(std::int64_t usn) const;
    void Trim();
    void DropBefore(std::int64_t usn);

    JournalBehaviour behaviour_;
    bool active_ = false;
    int deletingCalls_ = 0;
    std::uint64_t journalId_ = 0;
    std::uint64_t idState_;
    std::int64_t base_ = 0;  // position of stream_'s first byte, on a page boundary
    std::int64_t firstUsn_ = 0;
    std::int64_t lowestValidUsn_ = 0;
    std::uint64_t maximumSize_ = kDefaultMaximumSize;
    std::uint64_t allocationDelta_ = kDefaultAllocationDelta;
    std::string stream_;
    std::map<std::uint64_t, OpenFile> open_;
};

}  // namespace tavi::sim
