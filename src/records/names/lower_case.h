// Lower-casing of single UTF-16 units, without a locale and the same on every system: the simple lower case of the
// Unicode character database where it is one unit, the unit itself otherwise (surrogates, U+0130).
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace tavi::records {

// For units above U+007F; use ToLowerUnit.
char16_t ToLowerUnitBeyondAscii(char16_t unit);

inline char16_t ToLowerUnit(char16_t unit) {
    if (unit < 0x80) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
    }
    return ToLowerUnitBeyondAscii(unit);
}

std::u16string ToLower(std::u16string_view text);

// Whether `text`, lowered, is `lowered`, which has no upper case.
inline bool EqualsLowered(std::u16string_view text, std::u16string_view lowered) {
    return std::ranges::equal(text, lowered, {}, ToLowerUnit);
}

}  // namespace tavi::records
