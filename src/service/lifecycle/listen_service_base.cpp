#include "service/lifecycle/listen_service_base.h"

#include <string_view>
#include <utility>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"

namespace tavi::service {
namespace {

// Runs on the service control manager's thread: no exception may leave.
template <typename Operation>
bool EndExceptions(const char* function, std::string_view other, Operation operation) {
    return Drive::EndExceptions(Drive::kListenServiceBaseLog, function,
                                {.standard = Drive::kStdException, .other = other}, operation);
}

}  // namespace

ListenServiceBase::ListenServiceBase(platform::Platform& platform, CheckPointCounter& checkPoints,
                                     std::u16string serviceName)
    : platform_(platform), checkPoints_(checkPoints), serviceName_(std::move(serviceName)) {}

std::string ListenServiceBase::NarrowName() const {
    return TypeConvert::WStringToString(serviceName_);
}

platform::ServiceStatus ListenServiceBase::status() const {
    return {.serviceType = platform::kServiceWin32OwnProcess,
            .currentState = currentState_.load(),
            .controlsAccepted = platform::kServiceAcceptStop | platform::kServiceAcceptShutdown,
            .win32ExitCode = 0,
            .serviceSpecificExitCode = 0,
            .checkPoint = checkPoint_.load(),
            .waitHint = 0};
}

void ListenServiceBase::ReportStatus(std::uint32_t state) {
    const bool settled = state == platform::kServiceRunning || state == platform::kServiceStopped;
    currentState_.store(state);
    checkPoint_.store(settled ? 0 : checkPoints_.Next());
    // Nothing can be done about a report that does not arrive.
    platform_.services.SetServiceStatus(statusHandle_.load(), status());
}

void ListenServiceBase::Start() {
    Drive::SyncPanelLog::WriteTraceLog("The service task is starting");
    const bool started = EndExceptions("Start", "The service task failed to start", [this] {
        ReportStatus(platform::kServiceStartPending);
        OnStart();
        ReportStatus(platform::kServiceRunning);
        Drive::SyncPanelLog::WriteTraceLog("The service task has been started");
    });
    if (!started) {
        SendStopped();
    }
}

void ListenServiceBase::Stop() {
    EndExceptions("Stop", "The service task failed to stop", [this] {
        Drive::SyncPanelLog::WriteTraceLog(NarrowName() + " is stopping");
        ReportStatus(platform::kServiceStopPending);
        OnStop();
        ReportStatus(platform::kServiceStopped);
        Drive::SyncPanelLog::WriteTraceLog(NarrowName() + " is stopped successfully");
    });
}

void ListenServiceBase::Shutdown() {
    EndExceptions("Shutdown", "The service task failed to shut down", [this] {
        Drive::SyncPanelLog::WriteTraceLog("The system is shutting down");
        OnShutdown();
        Drive::SyncPanelLog::WriteTraceLog("The system is shutting down and services are stopped normally");
        SendStopped();
    });
}

}  // namespace tavi::service
