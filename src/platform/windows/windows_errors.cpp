#include "platform/windows/windows_errors.h"

#include <windows.h>

#include <array>

#include "platform/windows/wide_text.h"

namespace tavi::platform {

std::uint32_t WindowsErrors::GetLastError() {
    return ::GetLastError();
}

std::u16string WindowsErrors::FormatMessageW(std::uint32_t code) {
    std::array<wchar_t, 4096> text{};
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                                          text.data(), static_cast<DWORD>(text.size()), nullptr);
    return FromWide({text.data(), length});
}

}  // namespace tavi::platform
