// A service that runs through the platform's own callbacks: reports what it is told to, and stops when told to.
#include <windows.h>

#include "platform/windows/windows_platform.h"

namespace {

using namespace tavi::platform;

constexpr char16_t kName[] = u"TaviPlatformProbe";

WindowsPlatform windows;
StatusHandle status = kNoStatusHandle;
HANDLE stopped = nullptr;

void Report(std::uint32_t state) {
    ServiceStatus report;
    report.serviceType = kServiceWin32OwnProcess;
    report.currentState = state;
    report.controlsAccepted = state == kServiceRunning ? kServiceAcceptStop : 0;
    report.win32ExitCode = 0;
    report.checkPoint = 0;
    report.waitHint = 1000;
    windows.Parts().services.SetServiceStatus(status, report);
}

void Control(std::uint32_t control) {
    if (control == kServiceControlStop) {
        Report(kServiceStopPending);
        ::SetEvent(stopped);
    }
}

void Main() {
    status = windows.Parts().services.RegisterServiceCtrlHandlerW(kName, &Control);
    Report(kServiceRunning);
    ::WaitForSingleObject(stopped, 30000);
    Report(kServiceStopped);
}

}  // namespace

int main() {
    stopped = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return windows.Parts().services.StartServiceCtrlDispatcherW(kName, &Main) ? 0 : 1;
}
