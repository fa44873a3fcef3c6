// Lower-casing of single UTF-16 units, without a locale and the same on every system: the simple lower case of the
// Unicode character database where it is one unit, the unit itself otherwise (surrogates, U+0130).
#pragma once

#include <string>
#include <string_view>

namespace tavi::records {

char16_t ToLowerUnit(char16_t unit);
std::u16string ToLower(std::u16string_view text);

}  // namespace tavi::records
