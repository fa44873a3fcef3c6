// SystemErrors on Windows.
#pragma once

#include "platform/system_errors.h"

namespace tavi::platform {

class WindowsErrors final : public SystemErrors {
public:
    std::uint32_t GetLastError() override;
    std::u16string FormatMessageW(std::uint32_t code) override;
};

}  // namespace tavi::platform
