// Registration with the crash-report library, which an installation of the product has beside the executable or in the
// folder above. Called once, by the entry point, before anything else is done; a failure is a number in the log.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/owned.h"
#include "platform/platform.h"

namespace tavi::service {

inline constexpr std::u16string_view kDumpVersion = u"3.0.0.300";
inline constexpr std::u16string_view kDumpProductTag = u"TAVINOOK";
inline constexpr std::uint32_t kNoDumpReporter = 0xFFFFFFFF;

// What crash reporting keeps until the process exits, then releases: the library, so that registering again does not
// load it again, and a second handle that nothing sets today. One per process.
struct DumpHandleHolder {
    explicit DumpHandleHolder(platform::Platform& platform)
        : object([&platform](platform::Handle handle) { platform.files.CloseHandle(handle); }),
          library([&platform](platform::ModuleHandle module) { platform.modules.FreeLibrary(module); }) {}

    // The library is released first.
    platform::Owned<platform::Handle, platform::kNullHandle> object;
    platform::Owned<platform::ModuleHandle, platform::kNoModule> library;
};

// 0 on success, kNoDumpReporter when the reporter is not installed, otherwise the failing step's system error code.
std::uint32_t RegisterDumpHandler(platform::Platform& platform, DumpHandleHolder& holder, std::u16string_view version,
                                  std::u16string_view productTag);

}  // namespace tavi::service
