// Opening a file by its reference number, and asking an open one for its name (ntdll). `function` is ntdll's export of
// the call's name, which Modules looks up. Calls return an NTSTATUS, negative on failure, and set no last error. Any
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/types.h"

namespace tavi::platform {

class NativeCalls {
public:
    virtual ~NativeCalls() = default;

    // `opened` is valid when the status is not negative; Files closes it.
    virtual std::int32_t NtCreateFile(ProcAddress function, const NtOpenById& request, Handle& opened) = 0;
    virtual std::int32_t NtQueryInformationFile(ProcAddress function, Handle handle, std::span<std::byte> buffer,
                                                std::uint32_t informationClass) = 0;
};

}  // namespace tavi::platform
