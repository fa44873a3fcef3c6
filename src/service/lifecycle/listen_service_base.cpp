#include "service/lifecycle/listen_service_base.h"

#include <exception>
#include <utility>

#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"

namespace tavi::service {
namespace {

void LogException(const char* function, const std::exception& exception) {
    Drive::SyncPanelLog::WriteErrorLog("ListenServiceBase", function,
                                       std::string("std::exception : ") + exception.what());
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
    // Nobody could do anything about a report that does not arrive.
    platform_.services.SetServiceStatus(statusHandle_.load(), status());
}

void ListenServiceBase::Start() {
    Drive::SyncPanelLog::WriteTraceLog("The service task is starting");
    try {
        ReportStatus(platform::kServiceStartPending);
        OnStart();
        ReportStatus(platform::kServiceRunning);
        Drive::SyncPanelLog::WriteTraceLog("The service task has been started");
    } catch (const std::exception& exception) {
        LogException("Start", exception);
        SendStopped();
    } catch (...) {
        Drive::SyncPanelLog::WriteErrorLog("ListenServiceBase", "Start", "The service task failed to start");
        SendStopped();
    }
}

void ListenServiceBase::Stop() {
    try {
        Drive::SyncPanelLog::WriteTraceLog(NarrowName() + " is stopping");
        ReportStatus(platform::kServiceStopPending);
        OnStop();
        ReportStatus(platform::kServiceStopped);
        Drive::SyncPanelLog::WriteTraceLog(NarrowName() + " is stopped successfully");
    } catch (const std::exception& exception) {
        LogException("Stop", exception);
    } catch (...) {
        // The service control manager's thread ends here: nothing may pass.
        Drive::SyncPanelLog::WriteErrorLog("ListenServiceBase", "Stop", "The service task failed to stop");
    }
}

void ListenServiceBase::Shutdown() {
    try {
        Drive::SyncPanelLog::WriteTraceLog("The system is shutting down");
        OnShutdown();
        Drive::SyncPanelLog::WriteTraceLog("The system is shutting down and services are stopped normally");
        SendStopped();
    } catch (const std::exception& exception) {
        LogException("Shutdown", exception);
    } catch (...) {
        Drive::SyncPanelLog::WriteErrorLog("ListenServiceBase", "Shutdown", "The service task failed to shut down");
    }
}

}  // namespace tavi::service
