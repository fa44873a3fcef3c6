#include "service/service_lifecycle.h"

#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "listen/listen_cycle.h"
#include "listen/listen_process.h"
#include "listen/listen_service_impl.h"
#include "service/lifecycle/listen_service_base.h"
#include "service/lifecycle/service_dispatch.h"

namespace tavi::service {
namespace {

// Directly after the call that failed.
void LogRegistrationFailure(platform::Platform& platform) {
    const std::uint32_t code = platform.errors.GetLastError();
    Drive::SyncPanelLog::WriteNetLog(
        "StartupSyncFileListenService"
        "registration with Service Control Manager failed, error code is " +
        std::to_string(code));
}

}  // namespace

void StartupSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName,
                                  const std::u16string& publisher) {
    const std::string narrowName = TypeConvert::WStringToString(serviceName);
    Drive::SyncPanelLog::WriteTraceLog(narrowName + " is being registered with Service Control Manager");

    listen::ListenProcess process(platform);
    CheckPointCounter checkPoints;
    listen::ListenServiceImpl service(
        platform, checkPoints, process,
        listen::MakeListenCycleFactory(platform, process.database, process.suppressStoppedReport), serviceName,
        publisher);
    CurrentService current(platform, service);

    if (platform.services.StartServiceCtrlDispatcherW(serviceName, &ServiceMain)) {
        Drive::SyncPanelLog::WriteTraceLog(narrowName + " is successfully registered with the Service Control Manager");
    } else {
        LogRegistrationFailure(platform);
    }
    // The dispatcher may also have lost the service control manager: the service main function then still waits.
    service.RequestEnd();
    current.Leave();
}

}  // namespace tavi::service
