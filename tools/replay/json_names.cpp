#include "replay/json_names.h"

#include <cctype>
#include <cstddef>

#include "imports/type_convert.h"

namespace tavi::replay {
namespace {

bool IsHigh(unsigned unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLow(unsigned unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The unit of an escape "\uXXXX" at the position; nothing when there is none.
std::optional<unsigned> EscapedUnit(std::string_view json, std::size_t position) {
    if (json.size() < position + 6 || json[position] != '\\' || json[position + 1] != 'u') {
        return std::nullopt;
    }
    unsigned unit = 0;
    for (const char digit : json.substr(position + 2, 4)) {
        if (std::isxdigit(static_cast<unsigned char>(digit)) == 0) {
            return std::nullopt;
        }
        const bool decimal = digit >= '0' && digit <= '9';
        unit = unit * 16 + static_cast<unsigned>(decimal ? digit - '0' : (digit | 0x20) - 'a' + 10);
    }
    return unit;
}

}  // namespace

bool HasLoneSurrogate(std::u16string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (IsHigh(name[i]) && i + 1 < name.size() && IsLow(name[i + 1])) {
            ++i;
        } else if (IsHigh(name[i]) || IsLow(name[i])) {
            return true;
        }
    }
    return false;
}

std::optional<std::u16string> NameFromUtf8(const std::string& text) {
    std::u16string name = TypeConvert::UTF8ToUnicode(text);
    // The conversion puts U+FFFD for what is ill-formed, so only well-formed text comes back as it was.
    if (TypeConvert::UnicodeToUTF8(name) != text) {
        return std::nullopt;
    }
    return name;
}

std::optional<std::u16string> NameFromJson(const Json::Value& value) {
    if (value.isString()) {
        return NameFromUtf8(value.asString());
    }
    if (!value.isArray()) {
        return std::nullopt;
    }
    std::u16string name;
    for (const Json::Value& unit : value) {
        if (!unit.isUInt() || unit.asUInt() > 0xFFFF) {
            return std::nullopt;
        }
        name += static_cast<char16_t>(unit.asUInt());
    }
    return name;
}

Json::Value NameToJson(std::u16string_view name) {
    if (!HasLoneSurrogate(name)) {
        return Json::Value(TypeConvert::UnicodeToUTF8(name));
    }
    Json::Value units(Json::arrayValue);
    for (const char16_t unit : name) {
        units.append(Json::Value(static_cast<Json::UInt>(unit)));
    }
    return units;
}

bool HasLoneSurrogateEscape(std::string_view json) {
    for (std::size_t i = json.find('\\'); i != std::string_view::npos; i = json.find('\\', i)) {
        const std::optional<unsigned> unit = EscapedUnit(json, i);
        if (!unit) {
            i += 2;  // another escape, of one character
            continue;
        }
        i += 6;
        if (IsHigh(*unit)) {
            const std::optional<unsigned> next = EscapedUnit(json, i);
            if (!next || !IsLow(*next)) {
                return true;
            }
            i += 6;
        } else if (IsLow(*unit)) {
            return true;
        }
    }
    return false;
}

}  // namespace tavi::replay
