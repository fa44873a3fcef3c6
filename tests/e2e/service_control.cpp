#include "e2e/service_control.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <memory>
#include <vector>

#include "e2e/programs.h"

namespace tavi::e2e {
namespace {

struct CloseService {
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using Service = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, CloseService>;

Service OpenInstalled(DWORD access) {
    const Service manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return Service(manager ? OpenServiceW(manager.get(), kServiceName, access) : nullptr);
}

bool IsRunning(DWORD processId) {
    HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, processId);
    const bool running = process != nullptr && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return running;
}

template <typename Condition>
bool WaitUntil(Condition condition, DWORD milliseconds) {
    for (const ULONGLONG end = GetTickCount64() + milliseconds; !condition();) {
        if (GetTickCount64() >= end) {
            return false;
        }
        Sleep(20);
    }
    return true;
}

}  // namespace

SERVICE_STATUS_PROCESS ServiceStatus() {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (const Service service = OpenInstalled(SERVICE_QUERY_STATUS)) {
        QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                             &needed);
    }
    return status;
}

bool IsInstalled() {
    return OpenInstalled(SERVICE_QUERY_STATUS) != nullptr;
}

bool InstallService() {
    const Finished run = RunProgram(ProgramPath(L"TaviLumbraService.exe"), {L"/install"});
    return run.started && run.exitCode == 0 && IsInstalled();
}

bool UninstallService() {
    const Finished run = RunProgram(ProgramPath(L"TaviLumbraService.exe"), {L"/uninstall"});
    return run.started && run.exitCode == 0 && WaitUntil([] { return !IsInstalled(); }, 5000);
}

DWORD ServiceState() {
    return ServiceStatus().dwCurrentState;
}

DWORD ServiceProcessId() {
    return ServiceStatus().dwProcessId;
}

bool IsServiceRunning() {
    return ServiceState() == SERVICE_RUNNING && IsRunning(ServiceProcessId());
}

bool StartInstalledService() {
    const Service service = OpenInstalled(SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS);
    if (!service) {
        return false;
    }
    SERVICE_STATUS status{};
    if (ServiceState() == SERVICE_RUNNING && !IsServiceRunning()) {
        // Wine's service manager does not see by itself that a service's process has died, only when it talks to it.
        ControlService(service.get(), SERVICE_CONTROL_STOP, &status);
    }
    StartServiceW(service.get(), 0, nullptr);
    return WaitUntil(IsServiceRunning, 30000);
}

int StopInstalledService() {
    const ULONGLONG begin = GetTickCount64();
    const Service service = OpenInstalled(SERVICE_STOP | SERVICE_QUERY_STATUS);
    SERVICE_STATUS status{};
    if (!service || !ControlService(service.get(), SERVICE_CONTROL_STOP, &status)) {
        return -1;
    }
    const bool stopped = WaitUntil([] { return ServiceState() == SERVICE_STOPPED; }, 30000);
    return stopped ? static_cast<int>(GetTickCount64() - begin) : -1;
}

Holdings ServiceHoldings() {
    Holdings holdings;
    const DWORD processId = ServiceProcessId();
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId);
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    PROCESS_MEMORY_COUNTERS_EX memory{};
    GetProcessHandleCount(process, &holdings.handles);
    if (GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory)) {
        // Wine counts only what was swapped out as private.
        holdings.bytes = memory.PrivateUsage != 0 ? memory.PrivateUsage : memory.WorkingSetSize;
    }
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
        holdings.threads += thread.th32OwnerProcessID == processId ? 1 : 0;
    }
    CloseHandle(snapshot);
    CloseHandle(process);
    return holdings;
}

bool KillService() {
    HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, ServiceProcessId());
    if (process == nullptr) {
        return false;
    }
    TerminateProcess(process, 9);
    const bool ended = WaitForSingleObject(process, 10000) == WAIT_OBJECT_0;
    CloseHandle(process);
    return ended;
}

std::wstring ServiceDescription() {
    const Service service = OpenInstalled(SERVICE_QUERY_CONFIG);
    std::vector<BYTE> buffer(8192);
    DWORD needed = 0;
    if (!service || !QueryServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, buffer.data(),
                                          static_cast<DWORD>(buffer.size()), &needed)) {
        return {};
    }
    const auto* description = reinterpret_cast<const SERVICE_DESCRIPTIONW*>(buffer.data());
    return description->lpDescription == nullptr ? std::wstring() : description->lpDescription;
}

Registration ServiceRegistration() {
    const Service service = OpenInstalled(SERVICE_QUERY_CONFIG);
    std::vector<BYTE> buffer(8192);
    DWORD needed = 0;
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    if (!service || !QueryServiceConfigW(service.get(), config, static_cast<DWORD>(buffer.size()), &needed)) {
        return {};
    }
    return {config->dwServiceType, config->dwStartType, config->dwErrorControl, config->lpBinaryPathName,
            config->lpDisplayName};
}

}  // namespace tavi::e2e
