// ntdll's calls on Windows, through the address that the caller looked up.
#pragma once

#include "platform/native_calls.h"

namespace tavi::platform {

class WindowsNativeCalls final : public NativeCalls {
public:
    std::int32_t NtCreateFile(ProcAddress function, const NtOpenById& request, Handle& opened) override;
    std::int32_t NtQueryInformationFile(ProcAddress function, Handle handle, std::span<std::byte> buffer,
                                        std::uint32_t informationClass) override;
};

}  // namespace tavi::platform
