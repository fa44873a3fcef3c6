// cldapi's call on Windows, through the address that the caller looked up.
#pragma once

#include "platform/cloud_files.h"

namespace tavi::platform {

class WindowsCloudFiles final : public CloudFiles {
public:
    std::int32_t CfGetPlaceholderInfo(ProcAddress function, Handle handle, std::uint32_t informationClass,
                                      std::span<std::byte> buffer) override;
};

}  // namespace tavi::platform
