#include "replay/journal_extract.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/constants.h"

namespace tavi::replay {
namespace {

using platform::Usn;

constexpr Usn kPageBytes = 4096;
constexpr Usn kUnitBytes = 8;  // records begin at multiples of it
constexpr Usn kWindowBytes = 1024 * 1024;
constexpr std::uint32_t kShortestRecord = 56;  // with its position; a name of two units makes it 64
constexpr std::uint32_t kShortestForeign = 8;  // length and version: all that records of other versions are asked for
constexpr std::size_t kVersionOffset = 4;
constexpr std::uint16_t kLastVersion = 4;
constexpr std::size_t kReasonOffset = offsetof(platform::UsnRecordV2, reason);
constexpr std::size_t kUsnOffset = offsetof(platform::UsnRecordV2, usn);
constexpr std::size_t kLaterUsnOffset = 40;  // from version 3 on, whose reference numbers have 128 bits
constexpr std::uint64_t kJournalId = 1;
constexpr Usn kMaxUsn = 0x7FFFFFFFFFFF0000;
constexpr std::uint32_t kErrorCrc = 23;  // ERROR_CRC: the data cannot be read

Usn PageStart(Usn position) {
    return position - position % kPageBytes;
}

bool FitsItsPage(Usn position, std::uint32_t length, std::uint32_t shortest) {
    return length >= shortest && length % kUnitBytes == 0 && position % kPageBytes + Usn{length} <= kPageBytes;
}

std::string Plural(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

std::string LeftOut::Describe() const {
    std::string text;
    const auto add = [&text](std::uint64_t count, const std::string& what, const std::string& which) {
        if (count != 0) {
            text += (text.empty() ? "not read: " : ", ") + Plural(count, what) + which;
        }
    };
    add(otherVersions, "record", " of other versions than 2");
    add(bytesBeforeFirst, "byte", " before the first record");
    add(bytesAfterLast, "byte", " of a record that the end cuts off");
    return text;
}

std::optional<JournalExtract> JournalExtract::Open(std::istream& input, std::optional<Usn> firstByteUsn,
                                                   std::string& error) {
    JournalExtract extract(input);
    input.clear();
    input.seekg(0, std::ios::end);
    const auto bytes = static_cast<Usn>(input.tellg());
    if (!input || bytes < 0) {
        error = "cannot be read";
        return std::nullopt;
    }
    extract.fileEnd_ = bytes;
    if (!extract.FindFirst(firstByteUsn, error) || !extract.CheckRecords(error)) {
        return std::nullopt;
    }
    return extract;
}

// Moves the positions so that the first record has its own.
bool JournalExtract::FindFirst(std::optional<Usn> firstByteUsn, std::string& error) {
    const auto fail = [&error](const char* text) {
        error = text;
        return false;
    };
    base_ = firstByteUsn.value_or(0);
    fileEnd_ += base_;
    std::optional<Usn> firstBytes;  // that are not zero and no record
    const Usn firstUnit = (base_ + kUnitBytes - 1) / kUnitBytes * kUnitBytes;
    for (Usn position = firstUnit; position + Usn{kShortestRecord} <= fileEnd_; position += kUnitBytes) {
        if (!Load(position)) {
            return fail("cannot be read");
        }
        if (Field<std::uint64_t>(position, 0) == 0) {
            continue;
        }
        const auto version = Field<std::uint16_t>(position, kVersionOffset);
        const Usn usn = Field<Usn>(position, version == 2 ? kUsnOffset : kLaterUsnOffset);
        if (!firstByteUsn) {
            if (usn < 0 || (usn - position) % kPageBytes != 0) {
                return fail(
                    "its first record's position does not fit its place: not the beginning of a page of a journal");
            }
            base_ = usn - position;
            fileEnd_ += base_;
            windowUsn_ += base_;
        } else if (usn != position || version < 2 || version > kLastVersion ||
                   !FitsItsPage(position, Field<std::uint32_t>(position, 0), kShortestRecord)) {
            firstBytes = firstBytes.value_or(position);
            continue;
        }
        leftOut_.bytesBeforeFirst = static_cast<std::uint64_t>(position - firstBytes.value_or(position));
        firstUsn_ = usn;
        return true;
    }
    return fail(firstByteUsn ? "holds no journal record at its own position" : "holds no journal record");
}

bool JournalExtract::CheckRecords(std::string& error) {
    Usn position = firstUsn_;
    nextUsn_ = firstUsn_;
    while (position + kUnitBytes <= fileEnd_) {
        const std::optional<std::uint32_t> length = LengthAt(position);
        if (!length) {
            error = "cannot be read";
            return false;
        }
        if (*length == 0) {
            position += kUnitBytes;
            continue;
        }
        if (!FitsItsPage(position, *length, kShortestForeign)) {
            error = "a record's length leads out of its page";
            return false;
        }
        if (position + Usn{*length} > fileEnd_) {
            leftOut_.bytesAfterLast = static_cast<std::uint64_t>(fileEnd_ - position);
            return true;
        }
        leftOut_.otherVersions += Field<std::uint16_t>(position, kVersionOffset) == 2 ? 0U : 1U;
        position += Usn{*length};
        nextUsn_ = position;
    }
    return true;
}

// Brings the page of `position`, as far as the file has it, into the window.
bool JournalExtract::Load(Usn position) {
    if (position >= windowUsn_ && position < windowUsn_ + static_cast<Usn>(window_.size())) {
        return true;
    }
    const Usn start = std::max(base_, PageStart(position));
    const Usn end = std::min(fileEnd_, PageStart(position) + kWindowBytes);
    window_.resize(static_cast<std::size_t>(end - start));
    windowUsn_ = start;
    input_->clear();
    input_->seekg(start - base_);
    input_->read(reinterpret_cast<char*>(window_.data()), static_cast<std::streamsize>(window_.size()));
    if (!*input_) {
        window_.clear();
    }
    return !window_.empty();
}

template <typename Number>
Number JournalExtract::Field(Usn position, std::size_t offset) const {
    Number number{};
    std::memcpy(&number, window_.data() + static_cast<std::size_t>(position - windowUsn_) + offset, sizeof number);
    return number;
}

// 0 in a gap.
std::optional<std::uint32_t> JournalExtract::LengthAt(Usn position) {
    if (!Load(position)) {
        return std::nullopt;
    }
    return Field<std::uint32_t>(position, 0);
}

// A record's start, or the start of the gap behind one: the position behind a page's last record is what a reader was
// told to go on with.
bool JournalExtract::IsRecordBoundary(Usn position) {
    bool isAfterGap = false;
    Usn at = std::max(firstUsn_, PageStart(position));
    while (at < position) {
        const std::optional<std::uint32_t> length = LengthAt(at);
        if (!length) {
            return false;
        }
        isAfterGap = *length == 0;
        at += isAfterGap ? kUnitBytes : Usn{*length};
    }
    return at == position && (!isAfterGap || LengthAt(position).value_or(0) != 0);
}

std::uint32_t JournalExtract::Query(std::span<std::byte> output, std::uint32_t& bytesReturned) const {
    platform::UsnJournalData data;
    if (output.size() < sizeof data) {
        return platform::kErrorInsufficientBuffer;
    }
    data.usnJournalId = kJournalId;
    data.firstUsn = data.lowestValidUsn = firstUsn_;
    data.nextUsn = nextUsn_;
    data.maxUsn = kMaxUsn;
    data.maximumSize = static_cast<std::uint64_t>(nextUsn_ - firstUsn_);
    std::memcpy(output.data(), &data, sizeof data);
    bytesReturned = sizeof data;
    return platform::kErrorSuccess;
}

std::uint32_t JournalExtract::Read(const platform::ReadUsnJournalData& request, std::span<std::byte> output,
                                   std::uint32_t& bytesReturned) {
    // 0 asks for the oldest record, wherever it is.
    Usn position = request.startUsn == 0 ? firstUsn_ : request.startUsn;
    if (output.size() < sizeof position) {
        return platform::kErrorInsufficientBuffer;
    }
    if (position < firstUsn_) {
        return platform::kErrorJournalEntryDeleted;
    }
    if (request.usnJournalId != kJournalId || position > nextUsn_ || !IsRecordBoundary(position)) {
        return platform::kErrorInvalidParameter;
    }
    std::size_t used = sizeof position;
    while (position < nextUsn_) {
        const std::optional<std::uint32_t> length = LengthAt(position);
        if (!length) {
            return kErrorCrc;
        }
        if (*length == 0) {
            position += kUnitBytes;
            continue;
        }
        // Records of other versions are the reader's to skip: their reasons stand elsewhere.
        const bool isVersion2 = Field<std::uint16_t>(position, kVersionOffset) == 2 && *length >= kShortestRecord;
        const std::uint32_t reason = isVersion2 ? Field<std::uint32_t>(position, kReasonOffset) : request.reasonMask;
        if ((reason & request.reasonMask) != 0) {
            if (used + *length > output.size()) {
                break;
            }
            std::memcpy(output.data() + used, window_.data() + static_cast<std::size_t>(position - windowUsn_),
                        *length);
            used += *length;
        }
        position += Usn{*length};
    }
    std::memcpy(output.data(), &position, sizeof position);
    bytesReturned = static_cast<std::uint32_t>(used);
    return platform::kErrorSuccess;
}

}  // namespace tavi::replay
