// UTF-16 between char16_t, which the product uses, and wchar_t, which the system's functions take. Element by element:
// a pointer cast between the two would break the aliasing rules.
#pragma once

#include <cwchar>
#include <string>
#include <string_view>

namespace tavi::platform {

static_assert(sizeof(wchar_t) == 2, "the system's wide characters are UTF-16 code units");

inline std::wstring ToWide(std::u16string_view text) {
    return {text.begin(), text.end()};
}

inline std::u16string FromWide(std::wstring_view text) {
    return {text.begin(), text.end()};
}

}  // namespace tavi::platform
