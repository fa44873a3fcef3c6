// Conversions between UTF-16 and UTF-8. Ill-formed input never fails: each lone surrogate, and each ill-formed UTF-8
// sequence, becomes U+FFFD (maximal subparts, as the Unicode Standard recommends). All narrow text is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace TypeConvert {

std::string UnicodeToUTF8(std::u16string_view text);
std::u16string UTF8ToUnicode(std::string_view text);

// The same two conversions under the names that other callers know them by.
std::string Unicode2UTF8(std::u16string_view text);
std::string WStringToString(std::u16string_view text);
std::u16string StringToWString(std::string_view text);

}  // namespace TypeConvert
