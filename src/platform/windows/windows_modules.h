// Modules on Windows.
#pragma once

#include "platform/modules.h"

namespace tavi::platform {

class WindowsModules final : public Modules {
public:
    std::u16string GetModuleFileNameW(std::uint32_t bufferLength) override;
    ModuleHandle LoadLibraryExW(const std::u16string& path, std::uint32_t flags) override;
    bool FreeLibrary(ModuleHandle module) override;
    ModuleHandle GetModuleHandleW(const std::u16string& name) override;
    ProcAddress GetProcAddress(ModuleHandle module, const std::string& name) override;
    void CallRegisterAppCrashHandler(ProcAddress address, const CrashReportRegistration& registration) override;
    bool CallSetProcessMitigationPolicy(ProcAddress address, std::uint32_t policy, std::uint32_t flags) override;
    std::uint16_t GetUserDefaultUILanguage() override;
};

}  // namespace tavi::platform
