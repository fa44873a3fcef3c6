// Plain types that cross the seam: handles as opaque numbers of their own kind, and the structures that the system
// calls take or fill, with the system's own field names and order. They exist so that the logic above the seam needs no
// <windows.h>. platform/windows proves sizes, offsets and values against the real headers with static_assert.
//
// Strings are UTF-16 code units (char16_t) with no pairing rule; paths are full Windows paths. Lengths are in bytes
// where a name says bytes and in code units otherwise. Layouts: Microsoft's documentation of each structure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tavi::platform {

enum class Handle : std::uintptr_t {};         // HANDLE: file, directory, volume, pipe, process or thread
enum class FindHandle : std::uintptr_t {};     // HANDLE of FindFirstFileW
enum class ServiceHandle : std::uintptr_t {};  // SC_HANDLE
enum class StatusHandle : std::uintptr_t {};   // SERVICE_STATUS_HANDLE
enum class ModuleHandle : std::uintptr_t {};   // HMODULE
enum class ProcAddress : std::uintptr_t {};    // FARPROC
enum class Sid : std::uintptr_t {};            // PSID
enum class Acl : std::uintptr_t {};            // PACL
enum class LocalMemory : std::uintptr_t {};    // HLOCAL

inline constexpr Handle kNullHandle{0};
inline constexpr Handle kInvalidHandle{~std::uintptr_t{0}};
inline constexpr FindHandle kInvalidFindHandle{~std::uintptr_t{0}};
inline constexpr ServiceHandle kNoServiceHandle{0};
inline constexpr StatusHandle kNoStatusHandle{0};
inline constexpr ModuleHandle kNoModule{0};
inline constexpr ProcAddress kNoProcAddress{0};
inline constexpr Sid kNoSid{0};
inline constexpr Acl kNoAcl{0};
inline constexpr LocalMemory kNoLocalMemory{0};

// FILETIME as one number: 100 ns since 1601-01-01 UTC.
using FileTime = std::uint64_t;

// A file's or directory's number on an NTFS volume: its record's index in the master file table in the low 48 bits, and
// a sequence number in the high 16, which counts how often the record was used. Compare the whole number: without the
// sequence a new file could be taken for a deleted one whose record it got.
using FileReferenceNumber = std::uint64_t;

// A position in a volume's change journal: a byte offset in the stream of all records ever written to it. It grows with
// each record and starts again at 0 when the journal is deleted and created anew.
using Usn = std::int64_t;

// SYSTEMTIME.
struct SystemTime {
    std::uint16_t year = 0;
    std::uint16_t month = 0;  // 1 to 12
    std::uint16_t dayOfWeek = 0;
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t milliseconds = 0;

    friend bool operator==(const SystemTime&, const SystemTime&) = default;
};

// The fields of the C runtime's struct tm that _mktime64 is given, in its units (year since 1900, month from 0).
struct CalendarTime {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int daylightSaving = 0;
};

// SERVICE_STATUS.
struct ServiceStatus {
    std::uint32_t serviceType = 0;
    std::uint32_t currentState = 0;
    std::uint32_t controlsAccepted = 0;
    std::uint32_t win32ExitCode = 0;
    std::uint32_t serviceSpecificExitCode = 0;
    std::uint32_t checkPoint = 0;
    std::uint32_t waitHint = 0;

    friend bool operator==(const ServiceStatus&, const ServiceStatus&) = default;
};

// The arguments of CreateServiceW that are given; the others are null.
struct ServiceDefinition {
    std::u16string serviceName;
    std::u16string displayName;
    std::uint32_t desiredAccess = 0;
    std::uint32_t serviceType = 0;
    std::uint32_t startType = 0;
    std::uint32_t errorControl = 0;
    std::u16string binaryPath;
};

// EXPLICIT_ACCESS_W with a TRUSTEE_W that names a SID.
struct ExplicitAccess {
    std::uint32_t accessPermissions = 0;
    std::uint32_t accessMode = 0;
    std::uint32_t inheritance = 0;
    std::uint32_t trusteeForm = 0;
    std::uint32_t trusteeType = 0;
    Sid sid = kNoSid;
};

// SECURITY_ATTRIBUTES; the descriptor lives in the local memory it was built in.
struct SecurityAttributes {
    LocalMemory securityDescriptor = kNoLocalMemory;
    bool inheritHandle = false;
};

// WIN32_FIND_DATAW, the fields that are read.
struct FindData {
    std::uint32_t fileAttributes = 0;
    std::u16string fileName;
    std::uint32_t reparseTag = 0;  // dwReserved0 of a reparse point, otherwise 0
};

// BY_HANDLE_FILE_INFORMATION, the fields that are read. fileIndex is nFileIndexHigh:nFileIndexLow, on NTFS the file's
// reference number.
struct FileInformation {
    std::uint32_t fileAttributes = 0;
    FileReferenceNumber fileIndex = 0;
};

// USN_JOURNAL_DATA_V0: 56 bytes.
struct UsnJournalData {
    std::uint64_t usnJournalId = 0;
    Usn firstUsn = 0;
    Usn nextUsn = 0;
    Usn lowestValidUsn = 0;
    Usn maxUsn = 0;
    std::uint64_t maximumSize = 0;
    std::uint64_t allocationDelta = 0;

    friend bool operator==(const UsnJournalData&, const UsnJournalData&) = default;
};
static_assert(sizeof(UsnJournalData) == 56);

// READ_USN_JOURNAL_DATA_V0: 40 bytes.
struct ReadUsnJournalData {
    Usn startUsn = 0;
    std::uint32_t reasonMask = 0;
    std::uint32_t returnOnlyOnClose = 0;
    std::uint64_t timeout = 0;
    std::uint64_t bytesToWaitFor = 0;
    std::uint64_t usnJournalId = 0;
};
static_assert(sizeof(ReadUsnJournalData) == 40);

// CREATE_USN_JOURNAL_DATA: 16 bytes.
struct CreateUsnJournalData {
    std::uint64_t maximumSize = 0;
    std::uint64_t allocationDelta = 0;
};
static_assert(sizeof(CreateUsnJournalData) == 16);

// DELETE_USN_JOURNAL_DATA: 16 bytes, the last four of them padding.
struct DeleteUsnJournalData {
    std::uint64_t usnJournalId = 0;
    std::uint32_t deleteFlags = 0;
    std::uint32_t padding = 0;
};
static_assert(sizeof(DeleteUsnJournalData) == 16);

// The header of USN_RECORD_V2, 60 bytes, followed by the name. Read journal bytes into it with memcpy: a record in a
// buffer need not be aligned for a structure, and the name is not terminated.
#pragma pack(push, 4)
struct UsnRecordV2 {
    std::uint32_t recordLength = 0;  // bytes, a multiple of 8
    std::uint16_t majorVersion = 0;
    std::uint16_t minorVersion = 0;
    FileReferenceNumber fileReferenceNumber = 0;
    FileReferenceNumber parentFileReferenceNumber = 0;
    Usn usn = 0;
    FileTime timeStamp = 0;
    std::uint32_t reason = 0;
    std::uint32_t sourceInfo = 0;
    std::uint32_t securityId = 0;
    std::uint32_t fileAttributes = 0;
    std::uint16_t fileNameLength = 0;  // bytes
    std::uint16_t fileNameOffset = 0;  // bytes from the record's start
};
#pragma pack(pop)
static_assert(sizeof(UsnRecordV2) == 60);
static_assert(offsetof(UsnRecordV2, fileNameOffset) == 58);

// What NtCreateFile is asked for when it opens by file id.
struct NtOpenById {
    Handle rootDirectory = kNullHandle;
    FileReferenceNumber fileReferenceNumber = 0;  // its 8 bytes are the object's name
    std::uint32_t objectAttributes = 0;
    std::uint32_t desiredAccess = 0;
    std::uint32_t fileAttributes = 0;
    std::uint32_t shareAccess = 0;
    std::uint32_t createDisposition = 0;
    std::uint32_t createOptions = 0;
};

// The record that the crash-report library's registration function takes the address of: numeric fields, all zero, then
// the version text and the product tag.
struct CrashReportRegistration {
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint64_t reserved = 0;
    std::u16string version;
    std::u16string productTag;
};

}  // namespace tavi::platform
