#include "platform/windows/windows_code_page.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

constexpr std::size_t kLongestCharacter = 4;  // bytes for one code unit, in any code page

}  // namespace

std::string WindowsCodePage::WideCharToMultiByteAcp(const std::u16string& text) {
    const std::wstring wide = ToWide(text);
    std::string narrow(wide.size() * kLongestCharacter, '\0');
    const int length = ::WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), narrow.data(),
                                             static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(length));
    return narrow;
}

}  // namespace tavi::platform
