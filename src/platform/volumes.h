// Volumes and their change journal's control codes (kernel32). A call that fails returns false and leaves its code in
// the calling thread's last error. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Volumes {
public:
    virtual ~Volumes() = default;

    virtual bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                                       std::u16string& fileSystemName) = 0;
    // On a volume's handle, which Files opens. An empty span is passed as a null buffer of length 0.
    virtual bool DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                                 std::span<std::byte> output, std::uint32_t& bytesReturned) = 0;
};

}  // namespace tavi::platform
