#include "service/installation.h"

#include <cstdint>

#include "db/sqlite3_operator.h"
#include "imports/class_log.h"
#include "imports/file_helper.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "platform/owned.h"

namespace tavi::service {
namespace {

using OwnedService = platform::Owned<platform::ServiceHandle, platform::kNoServiceHandle>;
using OwnedSearch = platform::Owned<platform::FindHandle, platform::kInvalidFindHandle>;

constexpr std::uint32_t kStopPollMs = 500;
constexpr int kExists = 0;  // the mode of _waccess

OwnedService Own(platform::Platform& platform, platform::ServiceHandle handle) {
    return {handle, [&platform](platform::ServiceHandle owned) { platform.services.CloseServiceHandle(owned); }};
}

// The caller reads the code directly after the failed call: closing a handle may change it.
void LogFailure(const char* function, const char* message, std::uint32_t code) {
    Drive::SyncPanelLog::WriteNetLog(std::string(function) + message + std::to_string(code));
}

void TraceProgress(const std::u16string& serviceName, const char* progress) {
    Drive::SyncPanelLog::WriteTraceLog(TypeConvert::WStringToString(serviceName) + progress);
}

OwnedService OpenManager(platform::Platform& platform, const char* function, std::uint32_t access) {
    OwnedService manager = Own(platform, platform.services.OpenSCManagerW(access));
    if (!manager) {
        LogFailure(function, "OpenSCManager failed, error code is ", platform.errors.GetLastError());
    }
    return manager;
}

// Closes the manager's handle before it logs that the service cannot be opened.
OwnedService OpenService(platform::Platform& platform, const char* function, OwnedService& manager,
                         const std::u16string& serviceName, std::uint32_t access) {
    OwnedService service = Own(platform, platform.services.OpenServiceW(manager.get(), serviceName, access));
    if (!service) {
        const std::uint32_t code = platform.errors.GetLastError();
        manager.Reset();
        LogFailure(function, "OpenService failed, error code is ", code);
    }
    return service;
}

// Waits until the service is no longer stop-pending, or its state cannot be read. Returns the state that was read last.
std::uint32_t WaitWhileStopPending(platform::Platform& platform, platform::ServiceHandle service) {
    platform::ServiceStatus status;
    while (platform.services.QueryServiceStatus(service, status) &&
           status.currentState == platform::kServiceStopPending) {
        platform.threads.Sleep(kStopPollMs);
    }
    return status.currentState;
}

enum class StopControl { kAccepted, kRefused, kTimedOut };

StopControl SendStop(platform::Platform& platform, platform::ServiceHandle service) {
    platform::ServiceStatus status;
    if (platform.services.ControlService(service, platform::kServiceControlStop, status)) {
        return StopControl::kAccepted;
    }
    return platform.errors.GetLastError() == platform::kErrorServiceRequestTimeout ? StopControl::kTimedOut
                                                                                   : StopControl::kRefused;
}

void WaitUntilStopped(platform::Platform& platform, platform::ServiceHandle service,
                      const std::u16string& serviceName) {
    TraceProgress(serviceName, " is being stopped");
    const bool stopped = WaitWhileStopPending(platform, service) == platform::kServiceStopped;
    TraceProgress(serviceName, stopped ? " is stopped" : " failed to stop");
}

// Empty after it has logged why there is none. A path that does not fit is cut, and only the code tells it from one
// that just fits; a cut path must not be registered, since it may name another program.
std::u16string ExecutablePath(platform::Platform& platform, const char* function) {
    std::u16string path = platform.modules.GetModuleFileNameW(platform::kMaxPath);
    const std::uint32_t code = platform.errors.GetLastError();
    const bool cut = path.size() + 1 >= platform::kMaxPath && code == platform::kErrorInsufficientBuffer;
    if (cut || (path.empty() && code != platform::kErrorSuccess)) {
        LogFailure(function, "GetModuleFileName failed, error code is ", code);
        return {};
    }
    if (path.empty()) {
        Drive::kListenServiceBaseLog.Error(function, "InstallSyncFileListenService The service path is empty");
    }
    return path;
}

bool IsUserFolder(const platform::FindData& entry) {
    return (entry.fileAttributes & platform::kFileAttributeDirectory) != 0 && entry.fileName != u"." &&
           entry.fileName != u"..";
}

void DropDatabase(platform::Platform& platform, const std::u16string& userFolder) {
    const std::u16string path = userFolder + u"\\ListenService.dat";
    if (platform.paths.Waccess(FileHepler::FormatLongFileName(path), kExists) == 0) {
        db::SqLite3Operator::DropTablesAndDb(platform, path);
    }
}

}  // namespace

void InstallSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName,
                                  const std::u16string& displayName) {
    constexpr const char* kFunction = "InstallSyncFileListenService";
    TraceProgress(serviceName, " is being installed");
    const std::u16string path = ExecutablePath(platform, kFunction);
    if (path.empty()) {
        return;
    }
    OwnedService manager =
        OpenManager(platform, kFunction, platform::kScManagerConnect | platform::kScManagerCreateService);
    if (!manager) {
        return;
    }
    const OwnedService service =
        Own(platform, platform.services.CreateServiceW(manager.get(), {.serviceName = serviceName,
                                                                       .displayName = displayName,
                                                                       .desiredAccess = platform::kServiceQueryStatus,
                                                                       .serviceType = platform::kServiceWin32OwnProcess,
                                                                       .startType = platform::kServiceAutoStart,
                                                                       .errorControl = platform::kServiceErrorNormal,
                                                                       .binaryPath = u"\"" + path + u"\""}));
    if (!service) {
        const std::uint32_t code = platform.errors.GetLastError();
        manager.Reset();
        LogFailure(kFunction, "CreateService failed, error code is ", code);
        return;
    }
    TraceProgress(serviceName, " is installed");
}

void UpdateSyncFileListenServiceDescription(platform::Platform& platform, const std::u16string& serviceName,
                                            const std::u16string& description) {
    constexpr const char* kFunction = "UpdateSyncFileListenServiceDescription";
    TraceProgress(serviceName, " description is being updated");
    OwnedService manager = OpenManager(platform, kFunction, platform::kScManagerConnect);
    if (!manager) {
        return;
    }
    const OwnedService service = OpenService(platform, kFunction, manager, serviceName, platform::kServiceChangeConfig);
    if (!service) {
        return;
    }
    if (platform.services.ChangeServiceConfig2W(service.get(), platform::kServiceConfigDescription, description)) {
        TraceProgress(serviceName, " updated successfully");
    } else {
        LogFailure(kFunction, "ChangeServiceConfig2 failed, error code is ", platform.errors.GetLastError());
    }
}

void UninstallSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName) {
    constexpr const char* kFunction = "UninstallSyncFileListenService";
    TraceProgress(serviceName, " is being uninstalled");
    OwnedService manager = OpenManager(platform, kFunction, platform::kScManagerConnect);
    if (!manager) {
        return;
    }
    const OwnedService service =
        OpenService(platform, kFunction, manager, serviceName,
                    platform::kDelete | platform::kServiceStop | platform::kServiceQueryStatus);
    if (!service) {
        return;
    }
    const StopControl stop = SendStop(platform, service.get());
    if (stop == StopControl::kAccepted) {
        WaitUntilStopped(platform, service.get(), serviceName);
    }
    if (platform.services.DeleteService(service.get())) {
        TraceProgress(serviceName, " is uninstalled");
    } else {
        LogFailure(kFunction, "DeleteService failed, error code is ", platform.errors.GetLastError());
    }
    // The manager waits 30 seconds for the service's answer. A save that somebody's lock holds up takes longer: to the
    // log the control is refused, but the service stops, and what is deleted next may be what it is still writing to.
    if (stop == StopControl::kTimedOut) {
        WaitWhileStopPending(platform, service.get());
    }
}

void DeleteListenServiceDatabase(platform::Platform& platform) {
    constexpr const char* kFunction = "DeleteListenServiceDatabase";
    std::u16string roaming;
    if (platform.paths.SHGetFolderPathW(platform::kCsidlRoamingAppData, roaming) != platform::kSOk) {
        LogFailure(kFunction, "Failed to obtain the Roaming, error code is ", platform.errors.GetLastError());
        return;
    }
    const std::u16string dataFolder = roaming + u"\\ZenloTavi";
    platform::FindData entry;
    const OwnedSearch search(
        platform.paths.FindFirstFileW(FileHepler::FormatLongFileName(dataFolder + u"\\*.*"), entry),
        [&platform](platform::FindHandle handle) { platform.paths.FindClose(handle); });
    if (!search) {
        LogFailure(kFunction, "FindFirstFile function failed, error code is ", platform.errors.GetLastError());
        return;
    }
    do {
        if (IsUserFolder(entry)) {
            DropDatabase(platform, dataFolder + u"\\" + entry.fileName);
        }
    } while (platform.paths.FindNextFileW(search.get(), entry));
    Drive::SyncPanelLog::WriteTraceLog("Database file deleted successfully");
}

}  // namespace tavi::service
