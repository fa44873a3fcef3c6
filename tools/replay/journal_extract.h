// The stream of a recorded change journal (a "$J" extract), read piece by piece: however large the file is, only a
// megabyte of it is in memory. It answers FSCTL_QUERY_USN_JOURNAL and FSCTL_READ_USN_JOURNAL as the volume did.
//
// Positions (USNs) are byte offsets of the journal's stream; the extract holds the part from one position on. Records
// are aligned to 8 bytes and never cross a page of 4096 bytes; whatever is zero between them is a gap. Layouts:
// Microsoft's description of winioctl.h. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tavi::replay {

// What an extract holds besides the records that are read.
struct LeftOut {
    std::uint64_t otherVersions = 0;     // records that are not of version 2
    std::uint64_t bytesBeforeFirst = 0;  // from the first that is not zero on
    std::uint64_t bytesAfterLast = 0;    // of a record that the end cuts off

    bool IsNothing() const { return otherVersions == 0 && bytesBeforeFirst == 0 && bytesAfterLast == 0; }
    // In words, for the reader of the replay; empty when nothing is left out.
    std::string Describe() const;
};

class JournalExtract {
public:
    // Reads `input`, which outlives the extract and can seek, once from its beginning to its end, and checks every
    // record's length. `firstByteUsn` is the position of the first byte; without it the position comes from the first
    // record, and must then be such that the extract begins with a page. Nothing when no record is found or a record
    // leads out of its page; `error` says which.
    static std::optional<JournalExtract> Open(std::istream& input, std::optional<platform::Usn> firstByteUsn,
                                              std::string& error);

    platform::Usn firstUsn() const { return firstUsn_; }  // of the first record
    platform::Usn nextUsn() const { return nextUsn_; }    // behind the last
    const LeftOut& leftOut() const { return leftOut_; }

    // The two control codes: a Windows error code, 0 for success. `output` and `bytesReturned` hold what the file
    // system would leave there, and are unchanged on failure. A position below the first one gives 1181, one beyond
    // the next or inside a record 87; a file that can no longer be read gives 23.
    std::uint32_t Query(std::span<std::byte> output, std::uint32_t& bytesReturned) const;
    std::uint32_t Read(const platform::ReadUsnJournalData& request, std::span<std::byte> output,
                       std::uint32_t& bytesReturned);

private:
    explicit JournalExtract(std::istream& input) : input_(&input) {}

    bool FindFirst(std::optional<platform::Usn> firstByteUsn, std::string& error);
    bool CheckRecords(std::string& error);
    bool Load(platform::Usn position);
    std::optional<std::uint32_t> LengthAt(platform::Usn position);
    bool IsRecordBoundary(platform::Usn position);
    template <typename Number>
    Number Field(platform::Usn position, std::size_t offset) const;

    std::istream* input_;
    platform::Usn base_ = 0;  // of the file's first byte
    platform::Usn firstUsn_ = 0;
    platform::Usn nextUsn_ = 0;
    platform::Usn fileEnd_ = 0;
    LeftOut leftOut_;
    std::vector<std::byte> window_;  // part of the file, whole pages where the file has them
    platform::Usn windowUsn_ = 0;    // of its first byte
};

}  // namespace tavi::replay
