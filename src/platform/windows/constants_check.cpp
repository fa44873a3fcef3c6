// Proves at compile time that what the portable headers say about the system is what its own headers say: every
// constant of platform/constants.h and the layout of every structure of platform/types.h that is copied as bytes.
// Nothing to run.
#include <windows.h>

#include <accctrl.h>
#include <shlobj.h>
#include <wincrypt.h>
#include <winioctl.h>
#include <winternl.h>
#include <wintrust.h>

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "platform/constants.h"
#include "platform/threads.h"
#include "platform/types.h"

#if __has_include(<cfapi.h>)
#include <cfapi.h>
#endif

namespace tavi::platform {
namespace {

// Values of the system's enumerations and of its signed macros are compared by their bits.
#define TAVI_SAME(ours, systems) \
    static_assert(static_cast<std::uint32_t>(ours) == static_cast<std::uint32_t>(systems), #ours " is " #systems)

TAVI_SAME(kErrorSuccess, ERROR_SUCCESS);
TAVI_SAME(kErrorInvalidFunction, ERROR_INVALID_FUNCTION);
TAVI_SAME(kErrorFileNotFound, ERROR_FILE_NOT_FOUND);
TAVI_SAME(kErrorPathNotFound, ERROR_PATH_NOT_FOUND);
TAVI_SAME(kErrorAccessDenied, ERROR_ACCESS_DENIED);
TAVI_SAME(kErrorInvalidHandle, ERROR_INVALID_HANDLE);
TAVI_SAME(kErrorNotEnoughMemory, ERROR_NOT_ENOUGH_MEMORY);
TAVI_SAME(kErrorNoMoreFiles, ERROR_NO_MORE_FILES);
TAVI_SAME(kErrorNotReady, ERROR_NOT_READY);
TAVI_SAME(kErrorSharingViolation, ERROR_SHARING_VIOLATION);
TAVI_SAME(kErrorNotSupported, ERROR_NOT_SUPPORTED);
TAVI_SAME(kErrorFileExists, ERROR_FILE_EXISTS);
TAVI_SAME(kErrorInvalidParameter, ERROR_INVALID_PARAMETER);
TAVI_SAME(kErrorBrokenPipe, ERROR_BROKEN_PIPE);
TAVI_SAME(kErrorDiskFull, ERROR_DISK_FULL);
TAVI_SAME(kErrorInsufficientBuffer, ERROR_INSUFFICIENT_BUFFER);
TAVI_SAME(kErrorModNotFound, ERROR_MOD_NOT_FOUND);
TAVI_SAME(kErrorProcNotFound, ERROR_PROC_NOT_FOUND);
TAVI_SAME(kErrorDirNotEmpty, ERROR_DIR_NOT_EMPTY);
TAVI_SAME(kErrorAlreadyExists, ERROR_ALREADY_EXISTS);
TAVI_SAME(kErrorPipeBusy, ERROR_PIPE_BUSY);
TAVI_SAME(kErrorNoData, ERROR_NO_DATA);
TAVI_SAME(kErrorPipeNotConnected, ERROR_PIPE_NOT_CONNECTED);
TAVI_SAME(kErrorMoreData, ERROR_MORE_DATA);
TAVI_SAME(kErrorPipeConnected, ERROR_PIPE_CONNECTED);
TAVI_SAME(kErrorOperationAborted, ERROR_OPERATION_ABORTED);
TAVI_SAME(kErrorNotFound, ERROR_NOT_FOUND);
TAVI_SAME(kErrorServiceRequestTimeout, ERROR_SERVICE_REQUEST_TIMEOUT);
TAVI_SAME(kErrorServiceDoesNotExist, ERROR_SERVICE_DOES_NOT_EXIST);
TAVI_SAME(kErrorServiceNotActive, ERROR_SERVICE_NOT_ACTIVE);
TAVI_SAME(kErrorFailedServiceControllerConnect, ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
TAVI_SAME(kErrorServiceMarkedForDelete, ERROR_SERVICE_MARKED_FOR_DELETE);
TAVI_SAME(kErrorServiceExists, ERROR_SERVICE_EXISTS);
TAVI_SAME(kErrorJournalDeleteInProgress, ERROR_JOURNAL_DELETE_IN_PROGRESS);
TAVI_SAME(kErrorJournalNotActive, ERROR_JOURNAL_NOT_ACTIVE);
TAVI_SAME(kErrorJournalEntryDeleted, ERROR_JOURNAL_ENTRY_DELETED);
TAVI_SAME(kGenericRead, GENERIC_READ);
TAVI_SAME(kGenericWrite, GENERIC_WRITE);
TAVI_SAME(kGenericAll, GENERIC_ALL);
TAVI_SAME(kFileReadAttributes, FILE_READ_ATTRIBUTES);
TAVI_SAME(kFileShareRead, FILE_SHARE_READ);
TAVI_SAME(kFileShareWrite, FILE_SHARE_WRITE);
TAVI_SAME(kFileShareDelete, FILE_SHARE_DELETE);
TAVI_SAME(kOpenExisting, OPEN_EXISTING);
TAVI_SAME(kOpenAlways, OPEN_ALWAYS);
TAVI_SAME(kTruncateExisting, TRUNCATE_EXISTING);
TAVI_SAME(kFileFlagOverlapped, FILE_FLAG_OVERLAPPED);
TAVI_SAME(kFileFlagBackupSemantics, FILE_FLAG_BACKUP_SEMANTICS);
TAVI_SAME(kFileFlagOpenReparsePoint, FILE_FLAG_OPEN_REPARSE_POINT);
TAVI_SAME(kFileAttributeReadOnly, FILE_ATTRIBUTE_READONLY);
TAVI_SAME(kFileAttributeHidden, FILE_ATTRIBUTE_HIDDEN);
TAVI_SAME(kFileAttributeDirectory, FILE_ATTRIBUTE_DIRECTORY);
TAVI_SAME(kFileAttributeArchive, FILE_ATTRIBUTE_ARCHIVE);
TAVI_SAME(kFileAttributeNormal, FILE_ATTRIBUTE_NORMAL);
TAVI_SAME(kFileAttributeReparsePoint, FILE_ATTRIBUTE_REPARSE_POINT);
TAVI_SAME(kReparseTagNameSurrogate, IsReparseTagNameSurrogate(0xFFFFFFFF));
TAVI_SAME(kInvalidFileAttributes, INVALID_FILE_ATTRIBUTES);
TAVI_SAME(kFileBegin, FILE_BEGIN);
TAVI_SAME(kFileEnd, FILE_END);
TAVI_SAME(kFsctlReadUsnJournal, FSCTL_READ_USN_JOURNAL);
TAVI_SAME(kFsctlCreateUsnJournal, FSCTL_CREATE_USN_JOURNAL);
TAVI_SAME(kFsctlQueryUsnJournal, FSCTL_QUERY_USN_JOURNAL);
TAVI_SAME(kFsctlDeleteUsnJournal, FSCTL_DELETE_USN_JOURNAL);
TAVI_SAME(kUsnDeleteFlagDelete, USN_DELETE_FLAG_DELETE);
TAVI_SAME(kReasonDataOverwrite, USN_REASON_DATA_OVERWRITE);
TAVI_SAME(kReasonDataExtend, USN_REASON_DATA_EXTEND);
TAVI_SAME(kReasonDataTruncation, USN_REASON_DATA_TRUNCATION);
TAVI_SAME(kReasonFileCreate, USN_REASON_FILE_CREATE);
TAVI_SAME(kReasonFileDelete, USN_REASON_FILE_DELETE);
TAVI_SAME(kReasonEaChange, USN_REASON_EA_CHANGE);
TAVI_SAME(kReasonSecurityChange, USN_REASON_SECURITY_CHANGE);
TAVI_SAME(kReasonRenameOldName, USN_REASON_RENAME_OLD_NAME);
TAVI_SAME(kReasonRenameNewName, USN_REASON_RENAME_NEW_NAME);
TAVI_SAME(kReasonBasicInfoChange, USN_REASON_BASIC_INFO_CHANGE);
TAVI_SAME(kReasonHardLinkChange, USN_REASON_HARD_LINK_CHANGE);
TAVI_SAME(kReasonReparsePointChange, USN_REASON_REPARSE_POINT_CHANGE);
TAVI_SAME(kReasonClose, USN_REASON_CLOSE);
TAVI_SAME(kObjCaseInsensitive, OBJ_CASE_INSENSITIVE);
TAVI_SAME(kNtFileOpen, FILE_OPEN);
TAVI_SAME(kFileOpenByFileId, FILE_OPEN_BY_FILE_ID);
TAVI_SAME(kFileNameInformation, 9);  // wdm.h names it; the winternl.h of the Windows SDK has the first class only
TAVI_SAME(kPipeAccessDuplex, PIPE_ACCESS_DUPLEX);
TAVI_SAME(kPipeTypeMessage, PIPE_TYPE_MESSAGE);
TAVI_SAME(kPipeReadModeMessage, PIPE_READMODE_MESSAGE);
TAVI_SAME(kPipeRejectRemoteClients, PIPE_REJECT_REMOTE_CLIENTS);
TAVI_SAME(kPipeServerEnd, PIPE_SERVER_END);
TAVI_SAME(kSecurityLocalRid, SECURITY_LOCAL_RID);
TAVI_SAME(kSecurityBuiltinDomainRid, SECURITY_BUILTIN_DOMAIN_RID);
TAVI_SAME(kDomainAliasRidAdmins, DOMAIN_ALIAS_RID_ADMINS);
TAVI_SAME(kSetAccess, SET_ACCESS);
TAVI_SAME(kNoInheritance, NO_INHERITANCE);
TAVI_SAME(kTrusteeIsSid, TRUSTEE_IS_SID);
TAVI_SAME(kTrusteeIsGroup, TRUSTEE_IS_GROUP);
TAVI_SAME(kTrusteeIsWellKnownGroup, TRUSTEE_IS_WELL_KNOWN_GROUP);
TAVI_SAME(kLptr, LPTR);
TAVI_SAME(kSecurityDescriptorMinLength, SECURITY_DESCRIPTOR_MIN_LENGTH);
TAVI_SAME(kSecurityDescriptorRevision, SECURITY_DESCRIPTOR_REVISION);
TAVI_SAME(kServiceWin32OwnProcess, SERVICE_WIN32_OWN_PROCESS);
TAVI_SAME(kServiceAutoStart, SERVICE_AUTO_START);
TAVI_SAME(kServiceErrorNormal, SERVICE_ERROR_NORMAL);
TAVI_SAME(kServiceStopped, SERVICE_STOPPED);
TAVI_SAME(kServiceStartPending, SERVICE_START_PENDING);
TAVI_SAME(kServiceStopPending, SERVICE_STOP_PENDING);
TAVI_SAME(kServiceRunning, SERVICE_RUNNING);
TAVI_SAME(kServiceAcceptStop, SERVICE_ACCEPT_STOP);
TAVI_SAME(kServiceAcceptShutdown, SERVICE_ACCEPT_SHUTDOWN);
TAVI_SAME(kServiceControlStop, SERVICE_CONTROL_STOP);
TAVI_SAME(kServiceControlInterrogate, SERVICE_CONTROL_INTERROGATE);
TAVI_SAME(kServiceControlShutdown, SERVICE_CONTROL_SHUTDOWN);
TAVI_SAME(kServiceConfigDescription, SERVICE_CONFIG_DESCRIPTION);
TAVI_SAME(kScManagerConnect, SC_MANAGER_CONNECT);
TAVI_SAME(kScManagerCreateService, SC_MANAGER_CREATE_SERVICE);
TAVI_SAME(kServiceQueryStatus, SERVICE_QUERY_STATUS);
TAVI_SAME(kServiceChangeConfig, SERVICE_CHANGE_CONFIG);
TAVI_SAME(kServiceStop, SERVICE_STOP);
TAVI_SAME(kDelete, DELETE);
TAVI_SAME(kLoadLibrarySearchDllLoadDir, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR);
TAVI_SAME(kLoadLibrarySearchDefaultDirs, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
TAVI_SAME(kLoadLibrarySearchSystem32, LOAD_LIBRARY_SEARCH_SYSTEM32);
TAVI_SAME(kMaxPath, MAX_PATH);
TAVI_SAME(kCsidlRoamingAppData, CSIDL_APPDATA);
TAVI_SAME(kCsidlCommonAppData, CSIDL_COMMON_APPDATA);
TAVI_SAME(kProcessQueryLimitedInformation, PROCESS_QUERY_LIMITED_INFORMATION);
TAVI_SAME(kProcessRedirectionTrustPolicy, ProcessRedirectionTrustPolicy);
TAVI_SAME(kEnforceRedirectionTrust, 1);  // PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY's first bit, a bit-field
TAVI_SAME(kFileNameOpened, FILE_NAME_OPENED | VOLUME_NAME_DOS);
TAVI_SAME(kWtdRevokeNone, WTD_REVOKE_NONE);
TAVI_SAME(kWtdRevocationCheckNone, WTD_REVOCATION_CHECK_NONE);
TAVI_SAME(kWtdCacheOnlyUrlRetrieval, WTD_CACHE_ONLY_URL_RETRIEVAL);
static_assert(std::string_view(kOidCommonName) == szOID_COMMON_NAME);
TAVI_SAME(kSOk, S_OK);
TAVI_SAME(kInfinite, INFINITE);
TAVI_SAME(kStatusSuccess, 0);  // STATUS_SUCCESS stands in a header that cannot be included beside <windows.h>
#if __has_include(<cfapi.h>)
TAVI_SAME(kCfPlaceholderInfoStandard, CF_PLACEHOLDER_INFO_STANDARD);
#else
TAVI_SAME(kCfPlaceholderInfoStandard, 1);  // cfapi.h: CF_PLACEHOLDER_INFO_BASIC is 0, CF_PLACEHOLDER_INFO_STANDARD 1
#endif

static_assert(kInvalidHandle == Handle{~std::uintptr_t{0}} && sizeof(Handle) == sizeof(HANDLE));

#define TAVI_SAME_FIELD(Ours, field, Systems, systemField)                                                 \
    static_assert(offsetof(Ours, field) == offsetof(Systems, systemField), #Ours "::" #field " is moved"); \
    static_assert(sizeof(std::declval<Ours>().field) == sizeof(std::declval<Systems>().systemField),       \
                  #Ours "::" #field " has another size")

// The names without a version are the oldest layouts in the MinGW headers and the newest in Microsoft's.
#ifdef __MINGW32__
using NativeJournalData = USN_JOURNAL_DATA;
using NativeReadData = READ_USN_JOURNAL_DATA;
using NativeRecord = USN_RECORD;
#else
using NativeJournalData = USN_JOURNAL_DATA_V0;
using NativeReadData = READ_USN_JOURNAL_DATA_V0;
using NativeRecord = USN_RECORD_V2;
#endif

static_assert(sizeof(UsnJournalData) == sizeof(NativeJournalData));
TAVI_SAME_FIELD(UsnJournalData, usnJournalId, NativeJournalData, UsnJournalID);
TAVI_SAME_FIELD(UsnJournalData, firstUsn, NativeJournalData, FirstUsn);
TAVI_SAME_FIELD(UsnJournalData, nextUsn, NativeJournalData, NextUsn);
TAVI_SAME_FIELD(UsnJournalData, lowestValidUsn, NativeJournalData, LowestValidUsn);
TAVI_SAME_FIELD(UsnJournalData, maxUsn, NativeJournalData, MaxUsn);
TAVI_SAME_FIELD(UsnJournalData, maximumSize, NativeJournalData, MaximumSize);
TAVI_SAME_FIELD(UsnJournalData, allocationDelta, NativeJournalData, AllocationDelta);

static_assert(sizeof(ReadUsnJournalData) == sizeof(NativeReadData));
TAVI_SAME_FIELD(ReadUsnJournalData, startUsn, NativeReadData, StartUsn);
TAVI_SAME_FIELD(ReadUsnJournalData, reasonMask, NativeReadData, ReasonMask);
TAVI_SAME_FIELD(ReadUsnJournalData, returnOnlyOnClose, NativeReadData, ReturnOnlyOnClose);
TAVI_SAME_FIELD(ReadUsnJournalData, timeout, NativeReadData, Timeout);
TAVI_SAME_FIELD(ReadUsnJournalData, bytesToWaitFor, NativeReadData, BytesToWaitFor);
TAVI_SAME_FIELD(ReadUsnJournalData, usnJournalId, NativeReadData, UsnJournalID);

static_assert(sizeof(CreateUsnJournalData) == sizeof(CREATE_USN_JOURNAL_DATA));
TAVI_SAME_FIELD(CreateUsnJournalData, maximumSize, CREATE_USN_JOURNAL_DATA, MaximumSize);
TAVI_SAME_FIELD(CreateUsnJournalData, allocationDelta, CREATE_USN_JOURNAL_DATA, AllocationDelta);

static_assert(sizeof(DeleteUsnJournalData) == sizeof(DELETE_USN_JOURNAL_DATA));
TAVI_SAME_FIELD(DeleteUsnJournalData, usnJournalId, DELETE_USN_JOURNAL_DATA, UsnJournalID);
TAVI_SAME_FIELD(DeleteUsnJournalData, deleteFlags, DELETE_USN_JOURNAL_DATA, DeleteFlags);

static_assert(sizeof(UsnRecordV2) == offsetof(NativeRecord, FileName));
TAVI_SAME_FIELD(UsnRecordV2, recordLength, NativeRecord, RecordLength);
TAVI_SAME_FIELD(UsnRecordV2, majorVersion, NativeRecord, MajorVersion);
TAVI_SAME_FIELD(UsnRecordV2, minorVersion, NativeRecord, MinorVersion);
TAVI_SAME_FIELD(UsnRecordV2, fileReferenceNumber, NativeRecord, FileReferenceNumber);
TAVI_SAME_FIELD(UsnRecordV2, parentFileReferenceNumber, NativeRecord, ParentFileReferenceNumber);
TAVI_SAME_FIELD(UsnRecordV2, usn, NativeRecord, Usn);
TAVI_SAME_FIELD(UsnRecordV2, timeStamp, NativeRecord, TimeStamp);
TAVI_SAME_FIELD(UsnRecordV2, reason, NativeRecord, Reason);
TAVI_SAME_FIELD(UsnRecordV2, sourceInfo, NativeRecord, SourceInfo);
TAVI_SAME_FIELD(UsnRecordV2, securityId, NativeRecord, SecurityId);
TAVI_SAME_FIELD(UsnRecordV2, fileAttributes, NativeRecord, FileAttributes);
TAVI_SAME_FIELD(UsnRecordV2, fileNameLength, NativeRecord, FileNameLength);
TAVI_SAME_FIELD(UsnRecordV2, fileNameOffset, NativeRecord, FileNameOffset);

static_assert(sizeof(SystemTime) == sizeof(SYSTEMTIME));
TAVI_SAME_FIELD(SystemTime, year, SYSTEMTIME, wYear);
TAVI_SAME_FIELD(SystemTime, month, SYSTEMTIME, wMonth);
TAVI_SAME_FIELD(SystemTime, dayOfWeek, SYSTEMTIME, wDayOfWeek);
TAVI_SAME_FIELD(SystemTime, day, SYSTEMTIME, wDay);
TAVI_SAME_FIELD(SystemTime, hour, SYSTEMTIME, wHour);
TAVI_SAME_FIELD(SystemTime, minute, SYSTEMTIME, wMinute);
TAVI_SAME_FIELD(SystemTime, second, SYSTEMTIME, wSecond);
TAVI_SAME_FIELD(SystemTime, milliseconds, SYSTEMTIME, wMilliseconds);

static_assert(sizeof(ServiceStatus) == sizeof(SERVICE_STATUS));
TAVI_SAME_FIELD(ServiceStatus, serviceType, SERVICE_STATUS, dwServiceType);
TAVI_SAME_FIELD(ServiceStatus, currentState, SERVICE_STATUS, dwCurrentState);
TAVI_SAME_FIELD(ServiceStatus, controlsAccepted, SERVICE_STATUS, dwControlsAccepted);
TAVI_SAME_FIELD(ServiceStatus, win32ExitCode, SERVICE_STATUS, dwWin32ExitCode);
TAVI_SAME_FIELD(ServiceStatus, serviceSpecificExitCode, SERVICE_STATUS, dwServiceSpecificExitCode);
TAVI_SAME_FIELD(ServiceStatus, checkPoint, SERVICE_STATUS, dwCheckPoint);
TAVI_SAME_FIELD(ServiceStatus, waitHint, SERVICE_STATUS, dwWaitHint);

}  // namespace
}  // namespace tavi::platform
