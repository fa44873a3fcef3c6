#include "windows/windows_installed_service.h"

#include <windows.h>

#include <winsvc.h>

#include <vector>

#include "platform/windows/wide_text.h"

namespace tavi::client {

std::u16string WindowsInstalledService::BinaryPath() {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service =
        manager == nullptr ? nullptr : OpenServiceW(manager, L"TaviLumbraService", SERVICE_QUERY_CONFIG);
    std::u16string path;
    DWORD bytes = 0;
    if (service != nullptr && !QueryServiceConfigW(service, nullptr, 0, &bytes) && bytes != 0) {
        std::vector<QUERY_SERVICE_CONFIGW> config(bytes / sizeof(QUERY_SERVICE_CONFIGW) + 1);
        if (QueryServiceConfigW(service, config.data(), bytes, &bytes)) {
            path = platform::FromWide(config.front().lpBinaryPathName);
        }
    }
    if (service != nullptr) {
        CloseServiceHandle(service);
    }
    if (manager != nullptr) {
        CloseServiceHandle(manager);
    }
    return path;
}

std::string WindowsInstalledService::FileVersion(const std::u16string& executable) {
    const std::wstring name = platform::ToWide(executable);
    const DWORD bytes = GetFileVersionInfoSizeW(name.c_str(), nullptr);
    std::vector<char> resource(bytes);
    void* found = nullptr;
    UINT foundBytes = 0;
    if (bytes == 0 || !GetFileVersionInfoW(name.c_str(), 0, bytes, resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", &found, &foundBytes) || foundBytes < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto* version = static_cast<const VS_FIXEDFILEINFO*>(found);
    return std::to_string(HIWORD(version->dwFileVersionMS)) + "." + std::to_string(LOWORD(version->dwFileVersionMS)) +
           "." + std::to_string(HIWORD(version->dwFileVersionLS)) + "." +
           std::to_string(LOWORD(version->dwFileVersionLS));
}

}  // namespace tavi::client
