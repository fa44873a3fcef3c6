// Volumes and device controls on Windows.
#pragma once

#include "platform/volumes.h"

namespace tavi::platform {

class WindowsVolumes final : public Volumes {
public:
    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override;
    bool DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override;
};

}  // namespace tavi::platform
