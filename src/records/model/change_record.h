// The records that travel through the processing cycle: what the journal said (UsnRecord), what it means to the client
// (FileChangeInfo), what is held back (DelayRecord) and which temporary files were seen (TemporaryFile). Plain values.
// Paths are relative to the listened folder, any UTF-16 code units, no leading backslash. Lists keep their order.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "records/model/shared_text.h"

namespace tavi::records {

// The value of oldfrn that stands for "none".
inline constexpr platform::FileReferenceNumber kNoFrn = ~platform::FileReferenceNumber{0};

// One decoded journal record.
struct UsnRecord {
    platform::Usn usn = 0;
    std::uint32_t reason = 0;          // journal reason flags, as read
    std::uint32_t fileAttributes = 0;  // Windows file attributes
    std::int64_t timestamp = 0;        // milliseconds of local time; only ever compared with others made the same way
    SharedText filename;
    platform::FileReferenceNumber frn = 0;
    std::int64_t oldfrn = -1;

    friend bool operator==(const UsnRecord&, const UsnRecord&) = default;
};

// The kind of a change; its value is what the tables store.
enum class FileChangeReason : std::int32_t {
    kUnknown = -1,
    kNone = 0,
    kCreate = 1,
    kDelete = 2,
    kModify = 3,
    kMove = 4,
    kRename = 5,
    kRenameOldName = 6,
    kRenameNewName = 7,
};

// The kind's name as the dumps print it; empty for 0 and for any value outside -1..7.
std::string_view ReasonName(FileChangeReason reason);

// One processed record.
struct FileChangeInfo {
    SharedText fileName;          // after a rename: the new path
    SharedText originalFileName;  // previous path of RENAME and MOVE; empty otherwise
    std::uint32_t fileAttributes = 0;
    bool isTempFile = false;
    FileChangeReason reason = FileChangeReason::kUnknown;
    std::uint32_t delayCount = 0;
    std::int64_t timestamp = 0;
    platform::FileReferenceNumber frn = 0;
    platform::FileReferenceNumber oldfrn = kNoFrn;

    friend bool operator==(const FileChangeInfo&, const FileChangeInfo&) = default;
};

// A FileChangeInfo that a step held back to a later cycle; oldfrn is not stored for it.
using DelayRecord = FileChangeInfo;

// One row of the temporaryFile table.
struct TemporaryFile {
    SharedText filePath;
    std::uint32_t fileAttributes = 0;
    std::uint32_t isHandle = 0;  // 0 until the client has dealt with the file

    friend bool operator==(const TemporaryFile&, const TemporaryFile&) = default;
};

using UsnRecordList = std::vector<UsnRecord>;
using FileChangeInfoList = std::vector<FileChangeInfo>;
using TemporaryFileList = std::vector<TemporaryFile>;

// For test output.
void PrintTo(const UsnRecord& record, std::ostream* out);
void PrintTo(const FileChangeInfo& record, std::ostream* out);
void PrintTo(const TemporaryFile& record, std::ostream* out);

}  // namespace tavi::records
