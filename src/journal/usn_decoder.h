// Walks the records in what one read of the change journal returned (after the leading next USN). Nothing is copied:
// a record is a view into the buffer, whose fields are read with memcpy, since neither their alignment nor a terminator
// after the name can be relied on. The bytes are not trusted: a record whose length is below its header's, not a
// multiple of 8 or past the end, or whose name lies outside it, ends the walk. Records of another major version are
// skipped by their length. Layouts: Microsoft's documentation of USN_RECORD_COMMON_HEADER and USN_RECORD_V2.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "platform/types.h"

namespace tavi::journal {

// A version 2 record whose bounds have been checked. Valid as long as the buffer is.
class UsnRecordView {
public:
    UsnRecordView() = default;
    explicit UsnRecordView(const std::byte* record) : record_(record) {}

    std::uint32_t recordLength() const { return Load<std::uint32_t>(offsetof(platform::UsnRecordV2, recordLength)); }
    std::uint64_t fileReferenceNumber() const {
        return Load<std::uint64_t>(offsetof(platform::UsnRecordV2, fileReferenceNumber));
    }
    std::uint64_t parentFileReferenceNumber() const {
        return Load<std::uint64_t>(offsetof(platform::UsnRecordV2, parentFileReferenceNumber));
    }
    std::int64_t usn() const { return Load<std::int64_t>(offsetof(platform::UsnRecordV2, usn)); }
    platform::FileTime timeStamp() const {
        return Load<platform::FileTime>(offsetof(platform::UsnRecordV2, timeStamp));
    }
    std::uint32_t reason() const { return Load<std::uint32_t>(offsetof(platform::UsnRecordV2, reason)); }
    std::uint32_t sourceInfo() const { return Load<std::uint32_t>(offsetof(platform::UsnRecordV2, sourceInfo)); }
    std::uint32_t securityId() const { return Load<std::uint32_t>(offsetof(platform::UsnRecordV2, securityId)); }
    std::uint32_t fileAttributes() const {
        return Load<std::uint32_t>(offsetof(platform::UsnRecordV2, fileAttributes));
    }
    // Code units; an odd byte at the end of a name is not part of it.
    std::size_t nameUnits() const {
        return Load<std::uint16_t>(offsetof(platform::UsnRecordV2, fileNameLength)) / sizeof(char16_t);
    }
    // `destination` has room for nameUnits() code units.
    void CopyName(char16_t* destination) const {
        std::memcpy(destination, NameBytes(), nameUnits() * sizeof(char16_t));
    }
    // The name where it lies, when it lies as the file system puts it, on an even address; else copied to `room`, which
    // has room for nameUnits() code units.
    std::u16string_view Name(char16_t* room) const {
        if (reinterpret_cast<std::uintptr_t>(NameBytes()) % alignof(char16_t) == 0) {
            return {reinterpret_cast<const char16_t*>(NameBytes()), nameUnits()};
        }
        CopyName(room);
        return {room, nameUnits()};
    }

private:
    const std::byte* NameBytes() const {
        return record_ + Load<std::uint16_t>(offsetof(platform::UsnRecordV2, fileNameOffset));
    }
    template <typename Field>
    Field Load(std::size_t offset) const {
        Field value;
        std::memcpy(&value, record_ + offset, sizeof value);
        return value;
    }

    const std::byte* record_ = nullptr;
};

class UsnDecoder {
public:
    explicit UsnDecoder(std::span<const std::byte> records)
        : next_(records.data()), end_(records.data() + records.size()) {}

    // The next version 2 record; false at the end of the records or at a malformed one.
    bool Next(UsnRecordView& record) {
        while (end_ - next_ >= kCommonHeaderBytes) {
            std::uint32_t length = 0;
            std::uint16_t majorVersion = 0;
            std::memcpy(&length, next_, sizeof length);
            std::memcpy(&majorVersion, next_ + kMajorVersionOffset, sizeof majorVersion);
            if (length < kCommonHeaderBytes || length % kAlignment != 0 || length > end_ - next_) {
                return Stop();
            }
            const std::byte* at = next_;
            next_ += length;
            if (majorVersion == kMajorVersion2) {
                record = UsnRecordView(at);
                return HoldsItsName(at, length) || Stop();
            }
        }
        return next_ == end_ ? false : Stop();
    }

    // What lies behind the record that Next gave last.
    std::size_t remainingBytes() const { return static_cast<std::size_t>(end_ - next_); }
    // True once a malformed record has ended the walk.
    bool malformed() const { return malformed_; }

private:
    static constexpr std::ptrdiff_t kCommonHeaderBytes = 8;  // length, major and minor version
    static constexpr std::size_t kMajorVersionOffset = 4;
    static constexpr std::uint32_t kAlignment = 8;
    static constexpr std::uint16_t kMajorVersion2 = 2;

    static bool HoldsItsName(const std::byte* record, std::uint32_t recordLength) {
        if (recordLength < sizeof(platform::UsnRecordV2)) {
            return false;
        }
        std::uint16_t length = 0;
        std::uint16_t offset = 0;
        std::memcpy(&length, record + offsetof(platform::UsnRecordV2, fileNameLength), sizeof length);
        std::memcpy(&offset, record + offsetof(platform::UsnRecordV2, fileNameOffset), sizeof offset);
        return std::uint32_t{offset} + length <= recordLength;
    }

    bool Stop() {
        malformed_ = true;
        next_ = end_;
        return false;
    }

    const std::byte* next_;
    const std::byte* end_;
    bool malformed_ = false;
};

}  // namespace tavi::journal
