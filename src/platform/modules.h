// Modules, their exports, and the process's own facts (kernel32). Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Modules {
public:
    virtual ~Modules() = default;

    // The executable's path, cut to bufferLength code units as the system does; empty on failure (last error says why).
    virtual std::u16string GetModuleFileNameW(std::uint32_t bufferLength) = 0;
    virtual ModuleHandle LoadLibraryExW(const std::u16string& path, std::uint32_t flags) = 0;
    virtual bool FreeLibrary(ModuleHandle module) = 0;
    virtual ModuleHandle GetModuleHandleW(const std::u16string& name) = 0;
    virtual ProcAddress GetProcAddress(ModuleHandle module, const std::string& name) = 0;
    // Calls the export found as "RegisterAppCrashHandler" with the record's address.
    virtual void CallRegisterAppCrashHandler(ProcAddress address, const CrashReportRegistration& registration) = 0;
    // Calls the export found as "SetProcessMitigationPolicy" for a policy whose structure is one 32-bit word of flags.
    virtual bool CallSetProcessMitigationPolicy(ProcAddress address, std::uint32_t policy, std::uint32_t flags) = 0;
    virtual std::uint16_t GetUserDefaultUILanguage() = 0;
};

}  // namespace tavi::platform
