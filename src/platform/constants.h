// Windows constants that the logic needs, under names close to the system's own. Values from Microsoft's documentation;
// platform/windows/constants_check.cpp proves each against <windows.h>.
#pragma once

#include <cstdint>

namespace tavi::platform {

// System error codes (winerror.h).
inline constexpr std::uint32_t kErrorSuccess = 0;
inline constexpr std::uint32_t kErrorInvalidFunction = 1;
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorNoMoreFiles = 18;
inline constexpr std::uint32_t kErrorNotReady = 21;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorNotSupported = 50;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorInsufficientBuffer = 122;
inline constexpr std::uint32_t kErrorModNotFound = 126;
inline constexpr std::uint32_t kErrorProcNotFound = 127;
inline constexpr std::uint32_t kErrorDirNotEmpty = 145;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorPipeBusy = 231;
inline constexpr std::uint32_t kErrorNoData = 232;
inline constexpr std::uint32_t kErrorPipeNotConnected = 233;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorPipeConnected = 535;
inline constexpr std::uint32_t kErrorOperationAborted = 995;
inline constexpr std::uint32_t kErrorNotFound = 1168;
inline constexpr std::uint32_t kErrorServiceRequestTimeout = 1053;
inline constexpr std::uint32_t kErrorServiceDoesNotExist = 1060;
inline constexpr std::uint32_t kErrorServiceNotActive = 1062;
inline constexpr std::uint32_t kErrorFailedServiceControllerConnect = 1063;
inline constexpr std::uint32_t kErrorServiceMarkedForDelete = 1072;
inline constexpr std::uint32_t kErrorServiceExists = 1073;
inline constexpr std::uint32_t kErrorJournalDeleteInProgress = 1178;
inline constexpr std::uint32_t kErrorJournalNotActive = 1179;
inline constexpr std::uint32_t kErrorJournalEntryDeleted = 1181;

// Access masks, share modes, dispositions and attributes (winnt.h, fileapi.h).
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kGenericAll = 0x10000000;
inline constexpr std::uint32_t kFileReadAttributes = 0x80;
inline constexpr std::uint32_t kFileShareRead = 1;
inline constexpr std::uint32_t kFileShareWrite = 2;
inline constexpr std::uint32_t kFileShareDelete = 4;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;
inline constexpr std::uint32_t kTruncateExisting = 5;
inline constexpr std::uint32_t kFileFlagOverlapped = 0x40000000;
inline constexpr std::uint32_t kFileFlagBackupSemantics = 0x02000000;
inline constexpr std::uint32_t kFileFlagOpenReparsePoint = 0x00200000;
inline constexpr std::uint32_t kFileAttributeReadOnly = 0x1;
inline constexpr std::uint32_t kFileAttributeHidden = 0x2;
inline constexpr std::uint32_t kFileAttributeDirectory = 0x10;
inline constexpr std::uint32_t kFileAttributeArchive = 0x20;
inline constexpr std::uint32_t kFileAttributeNormal = 0x80;
inline constexpr std::uint32_t kFileAttributeReparsePoint = 0x400;
inline constexpr std::uint32_t kInvalidFileAttributes = 0xFFFFFFFF;
// Of attributes that were read. kInvalidFileAttributes has every bit set, so check for it first.
constexpr bool IsDirectory(std::uint32_t attributes) {
    return (attributes & kFileAttributeDirectory) != 0;
}
inline constexpr std::uint32_t kReparseTagNameSurrogate =
    0x20000000;  // the bit that links and junctions have in common
inline constexpr std::uint32_t kFileBegin = 0;
inline constexpr std::uint32_t kFileEnd = 2;

// Change journal (winioctl.h): control codes, flags and reasons.
inline constexpr std::uint32_t kFsctlReadUsnJournal = 0x900BB;
inline constexpr std::uint32_t kFsctlCreateUsnJournal = 0x900E7;
inline constexpr std::uint32_t kFsctlQueryUsnJournal = 0x900F4;
inline constexpr std::uint32_t kFsctlDeleteUsnJournal = 0x900F8;
inline constexpr std::uint32_t kUsnDeleteFlagDelete = 1;

inline constexpr std::uint32_t kReasonDataOverwrite = 0x1;
inline constexpr std::uint32_t kReasonDataExtend = 0x2;
inline constexpr std::uint32_t kReasonDataTruncation = 0x4;
inline constexpr std::uint32_t kReasonFileCreate = 0x100;
inline constexpr std::uint32_t kReasonFileDelete = 0x200;
inline constexpr std::uint32_t kReasonEaChange = 0x400;
inline constexpr std::uint32_t kReasonSecurityChange = 0x800;
inline constexpr std::uint32_t kReasonRenameOldName = 0x1000;
inline constexpr std::uint32_t kReasonRenameNewName = 0x2000;
inline constexpr std::uint32_t kReasonBasicInfoChange = 0x8000;
inline constexpr std::uint32_t kReasonHardLinkChange = 0x10000;
inline constexpr std::uint32_t kReasonReparsePointChange = 0x100000;
inline constexpr std::uint32_t kReasonClose = 0x80000000;

// Opening by file id and asking for a name (ntifs.h).
inline constexpr std::uint32_t kObjCaseInsensitive = 0x40;
inline constexpr std::uint32_t kNtFileOpen = 1;
inline constexpr std::uint32_t kFileOpenByFileId = 0x2000;
inline constexpr std::uint32_t kFileNameInformation = 9;
inline constexpr std::int32_t kStatusSuccess = 0;

// Named pipes (winbase.h).
// Mitigations that a process asks for. Headers that are older than the policy lack its name.
inline constexpr std::uint32_t kProcessRedirectionTrustPolicy = 16;
inline constexpr std::uint32_t kEnforceRedirectionTrust = 1;

inline constexpr std::uint32_t kPipeAccessDuplex = 3;
inline constexpr std::uint32_t kPipeTypeMessage = 4;
inline constexpr std::uint32_t kPipeReadModeMessage = 2;
inline constexpr std::uint32_t kPipeRejectRemoteClients = 8;
inline constexpr std::uint32_t kPipeServerEnd = 1;  // the client's end is 0

// Security (winnt.h, accctrl.h).
inline constexpr std::uint32_t kSecurityLocalRid = 0;
inline constexpr std::uint32_t kSecurityBuiltinDomainRid = 32;
inline constexpr std::uint32_t kDomainAliasRidAdmins = 544;
inline constexpr std::uint32_t kSetAccess = 2;
inline constexpr std::uint32_t kNoInheritance = 0;
inline constexpr std::uint32_t kTrusteeIsSid = 0;
inline constexpr std::uint32_t kTrusteeIsGroup = 2;
inline constexpr std::uint32_t kTrusteeIsWellKnownGroup = 5;
inline constexpr std::uint32_t kLptr = 0x40;
inline constexpr std::uint32_t kSecurityDescriptorMinLength = 40;
inline constexpr std::uint32_t kSecurityDescriptorRevision = 1;

// Services (winsvc.h).
inline constexpr std::uint32_t kServiceWin32OwnProcess = 0x10;
inline constexpr std::uint32_t kServiceAutoStart = 2;
inline constexpr std::uint32_t kServiceErrorNormal = 1;
inline constexpr std::uint32_t kServiceStopped = 1;
inline constexpr std::uint32_t kServiceStartPending = 2;
inline constexpr std::uint32_t kServiceStopPending = 3;
inline constexpr std::uint32_t kServiceRunning = 4;
inline constexpr std::uint32_t kServiceAcceptStop = 1;
inline constexpr std::uint32_t kServiceAcceptShutdown = 4;
inline constexpr std::uint32_t kServiceControlStop = 1;
inline constexpr std::uint32_t kServiceControlInterrogate = 4;
inline constexpr std::uint32_t kServiceControlShutdown = 5;
inline constexpr std::uint32_t kServiceConfigDescription = 1;
inline constexpr std::uint32_t kScManagerConnect = 1;
inline constexpr std::uint32_t kScManagerCreateService = 2;
inline constexpr std::uint32_t kServiceQueryStatus = 4;
inline constexpr std::uint32_t kServiceChangeConfig = 2;
inline constexpr std::uint32_t kServiceStop = 0x20;
inline constexpr std::uint32_t kDelete = 0x10000;

// Modules, folders, processes.
inline constexpr std::uint32_t kLoadLibrarySearchDllLoadDir = 0x100;
inline constexpr std::uint32_t kLoadLibrarySearchDefaultDirs = 0x1000;
inline constexpr std::uint32_t kLoadLibrarySearchSystem32 = 0x800;
inline constexpr std::uint32_t kMaxPath = 260;
inline constexpr std::int32_t kCsidlRoamingAppData = 0x1A;
inline constexpr std::int32_t kCsidlCommonAppData = 0x23;
inline constexpr std::uint32_t kProcessQueryLimitedInformation = 0x1000;
inline constexpr std::uint32_t kFileNameOpened = 0x8;  // of GetFinalPathNameByHandleW, with the drive's letter
inline constexpr std::uint32_t kWtdRevokeNone = 0;
inline constexpr std::uint32_t kWtdRevocationCheckNone = 0x10;
inline constexpr std::uint32_t kWtdCacheOnlyUrlRetrieval = 0x1000;
inline constexpr char kOidCommonName[] = "2.5.4.3";
inline constexpr std::int32_t kSOk = 0;

// Cloud files (cfapi.h).
inline constexpr std::uint32_t kCfPlaceholderInfoStandard = 1;

}  // namespace tavi::platform
