// Builders of raw journal bytes for tests: version 2 records as the file system writes them, and ways to spoil them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tavi::journal::testing {

struct RawRecord {
    std::uint64_t frn = 100;
    std::uint64_t parentFrn = 5;
    std::int64_t usn = 0;
    platform::FileTime time = 132'000'000'000'000'000;
    std::uint32_t reason = 0x100;
    std::uint32_t attributes = 0x20;
    std::u16string name = u"a.txt";
    std::uint16_t majorVersion = 2;
    std::size_t extraBytes = 0;  // padding beyond what alignment needs
};

class RawRecords {
public:
    // Returns the record's offset.
    std::size_t Add(const RawRecord& record) {
        constexpr std::size_t kAlignment = 8;
        platform::UsnRecordV2 header;
        const std::size_t nameBytes = record.name.size() * sizeof(char16_t);
        const std::size_t bytes =
            (sizeof header + nameBytes + record.extraBytes + kAlignment - 1) / kAlignment * kAlignment;
        header.recordLength = static_cast<std::uint32_t>(bytes);
        header.majorVersion = record.majorVersion;
        header.fileReferenceNumber = record.frn;
        header.parentFileReferenceNumber = record.parentFrn;
        header.usn = record.usn;
        header.timeStamp = record.time;
        header.reason = record.reason;
        header.fileAttributes = record.attributes;
        header.fileNameLength = static_cast<std::uint16_t>(nameBytes);
        header.fileNameOffset = sizeof header;
        const std::size_t offset = bytes_.size();
        bytes_.resize(offset + bytes);
        std::memcpy(bytes_.data() + offset, &header, sizeof header);
        std::memcpy(bytes_.data() + offset + sizeof header, record.name.data(), nameBytes);
        return offset;
    }

    template <typename Field>
    void Overwrite(std::size_t offset, Field value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
    }
    void SetLength(std::size_t record, std::uint32_t length) { Overwrite(record, length); }
    void SetNameLength(std::size_t record, std::uint16_t bytes) {
        Overwrite(record + offsetof(platform::UsnRecordV2, fileNameLength), bytes);
    }
    void SetNameOffset(std::size_t record, std::uint16_t bytes) {
        Overwrite(record + offsetof(platform::UsnRecordV2, fileNameOffset), bytes);
    }
    void AppendByte() { bytes_.push_back(std::byte{0}); }

    std::span<const std::byte> bytes() const { return bytes_; }

private:
    std::vector<std::byte> bytes_;
};

}  // namespace tavi::journal::testing
