// The calling thread's last error and the system's text for a code. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace tavi::platform {

class SystemErrors {
public:
    virtual ~SystemErrors() = default;

    // The code left by the calling thread's last failed call. Read it on the line after that call.
    virtual std::uint32_t GetLastError() = 0;
    // FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM); empty when the system has no text for the code.
    virtual std::u16string FormatMessageW(std::uint32_t code) = 0;
};

}  // namespace tavi::platform
