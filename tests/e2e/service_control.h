// The service under test, through the service control manager and through its own command line.
#pragma once

#include <windows.h>

#include <string>

namespace tavi::e2e {

inline constexpr wchar_t kServiceName[] = L"TaviLumbraService";

bool InstallService();    // runs the executable with its switch; true when the service is registered afterwards
bool UninstallService();  // likewise; true when it no longer is
bool IsInstalled();
bool IsServiceRunning();  // as the manager says, and in a process that lives
// Waits until it runs, in a process that lives.
bool StartInstalledService();
// Waits until it has stopped; milliseconds that took, or -1 after 30 seconds.
int StopInstalledService();
SERVICE_STATUS_PROCESS ServiceStatus();  // all 0 when it is not installed
DWORD ServiceState();                    // 0 when it is not installed
DWORD ServiceProcessId();                // 0 when it does not run
// What the service's process holds; all 0 when it does not run.
struct Holdings {
    DWORD handles = 0;  // Wine does not count them: 0
    DWORD threads = 0;
    SIZE_T bytes = 0;
};
Holdings ServiceHoldings();
bool KillService();  // ends the process at once
std::wstring ServiceDescription();
// How the service is registered; all empty when it is not.
struct Registration {
    DWORD serviceType = 0;
    DWORD startType = 0;
    DWORD errorControl = 0;
    std::wstring binaryPath;
    std::wstring displayName;
};
Registration ServiceRegistration();

}  // namespace tavi::e2e
