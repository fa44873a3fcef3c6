#include "platform/windows/windows_modules.h"

#include <windows.h>

#include <cwchar>
#include <vector>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

// The record as the crash-report library reads it. It may keep the pointers, so the record lives as long as the
// process.
struct NativeRegistration {
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint64_t reserved = 0;
    const wchar_t* version = nullptr;
    const wchar_t* productTag = nullptr;
};

struct KeptRegistration {
    std::wstring version;
    std::wstring productTag;
    NativeRegistration record;
};

}  // namespace

std::u16string WindowsModules::GetModuleFileNameW(std::uint32_t bufferLength) {
    std::vector<wchar_t> buffer(bufferLength);
    ::SetLastError(ERROR_SUCCESS);  // a cut path is told by its code, and a success need not set one
    const DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), bufferLength);
    return FromWide({buffer.data(), ::wcsnlen(buffer.data(), length)});
}

ModuleHandle WindowsModules::LoadLibraryExW(const std::u16string& path, std::uint32_t flags) {
    return FromNative<ModuleHandle>(::LoadLibraryExW(ToWide(path).c_str(), nullptr, flags));
}

bool WindowsModules::FreeLibrary(ModuleHandle module) {
    return ::FreeLibrary(ToNative<HMODULE>(module)) != FALSE;
}

ModuleHandle WindowsModules::GetModuleHandleW(const std::u16string& name) {
    return FromNative<ModuleHandle>(::GetModuleHandleW(ToWide(name).c_str()));
}

ProcAddress WindowsModules::GetProcAddress(ModuleHandle module, const std::string& name) {
    return FromNative<ProcAddress>(::GetProcAddress(ToNative<HMODULE>(module), name.c_str()));
}

void WindowsModules::CallRegisterAppCrashHandler(ProcAddress address, const CrashReportRegistration& registration) {
    static KeptRegistration kept;
    kept.version = ToWide(registration.version);
    kept.productTag = ToWide(registration.productTag);
    kept.record = {registration.size, registration.flags, registration.reserved, kept.version.c_str(),
                   kept.productTag.c_str()};
    using RegisterAppCrashHandler = int(WINAPI*)(NativeRegistration*);
    ToNative<RegisterAppCrashHandler>(address)(&kept.record);
}

bool WindowsModules::CallSetProcessMitigationPolicy(ProcAddress address, std::uint32_t policy, std::uint32_t flags) {
    using SetPolicy = BOOL(WINAPI*)(int, void*, SIZE_T);
    DWORD native = flags;
    return ToNative<SetPolicy>(address)(static_cast<int>(policy), &native, sizeof native) != FALSE;
}

std::uint16_t WindowsModules::GetUserDefaultUILanguage() {
    return ::GetUserDefaultUILanguage();
}

}  // namespace tavi::platform
