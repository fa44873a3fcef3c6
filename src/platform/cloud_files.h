// What the cloud-file filter knows about an open file (cldapi). `function` is cldapi's export of the call's name, which
// Modules looks up: not every Windows has the library. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/types.h"

namespace tavi::platform {

class CloudFiles {
public:
    virtual ~CloudFiles() = default;

    // Returns an HRESULT, negative on failure, also for a file that is no placeholder.
    virtual std::int32_t CfGetPlaceholderInfo(ProcAddress function, Handle handle, std::uint32_t informationClass,
                                              std::span<std::byte> buffer) = 0;
};

}  // namespace tavi::platform
