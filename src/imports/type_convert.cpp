#include "imports/type_convert.h"

#include <cstddef>

namespace TypeConvert {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendUtf8(std::string& out, char32_t scalar) {
    const auto append = [&out](char32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (scalar < 0x80) {
        append(scalar);
        return;
    }
    if (scalar < 0x800) {
        append(0xC0 | (scalar >> 6));
    } else if (scalar < 0x10000) {
        append(0xE0 | (scalar >> 12));
        append(0x80 | ((scalar >> 6) & 0x3F));
    } else {
        append(0xF0 | (scalar >> 18));
        append(0x80 | ((scalar >> 12) & 0x3F));
        append(0x80 | ((scalar >> 6) & 0x3F));
    }
    append(0x80 | (scalar & 0x3F));
}

void AppendUtf16(std::u16string& out, char32_t scalar) {
    if (scalar < 0x10000) {
        out.push_back(static_cast<char16_t>(scalar));
        return;
    }
    out.push_back(static_cast<char16_t>(0xD7C0 + (scalar >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 | (scalar & 0x3FF)));
}

// What a lead byte announces. The narrowed range of the second byte is what keeps out overlong forms, surrogates and
// values above U+10FFFF (the Unicode Standard's table of well-formed byte sequences).
struct Lead {
    int continuations = 0;
    unsigned char secondLow = 0x80;
    unsigned char secondHigh = 0xBF;
    char32_t bits = kReplacement;
};

Lead ClassifyLead(unsigned char byte) {
    const char32_t value = byte;
    if (byte < 0x80) {
        return {0, 0, 0, value};
    }
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, 0x80, 0xBF, value & 0x1F};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        const unsigned char low = byte == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = byte == 0xED ? 0x9F : 0xBF;
        return {2, low, high, value & 0x0F};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        const unsigned char low = byte == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = byte == 0xF4 ? 0x8F : 0xBF;
        return {3, low, high, value & 0x07};
    }
    return {};
}

// Reads one scalar value, or the longest beginning of one, at `position` and moves it behind what was read.
char32_t DecodeUtf8(std::string_view text, std::size_t& position) {
    const Lead lead = ClassifyLead(static_cast<unsigned char>(text[position++]));
    char32_t scalar = lead.bits;
    unsigned char low = lead.secondLow;
    unsigned char high = lead.secondHigh;
    for (int i = 0; i < lead.continuations; ++i) {
        if (position == text.size()) {
            return kReplacement;
        }
        const auto byte = static_cast<unsigned char>(text[position]);
        if (byte < low || byte > high) {
            return kReplacement;  // the byte stays: it may begin a character of its own
        }
        ++position;
        scalar = (scalar << 6) | (byte & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return scalar;
}

}  // namespace

std::string UnicodeToUTF8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            const char32_t high = unit;
            const char32_t low = text[++i];
            AppendUtf8(out, 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00));
        } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            AppendUtf8(out, kReplacement);
        } else {
            AppendUtf8(out, unit);
        }
    }
    return out;
}

std::u16string UTF8ToUnicode(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf16(out, DecodeUtf8(text, position));
    }
    return out;
}

std::string Unicode2UTF8(std::u16string_view text) {
    return UnicodeToUTF8(text);
}
std::string WStringToString(std::u16string_view text) {
    return UnicodeToUTF8(text);
}
std::u16string StringToWString(std::string_view text) {
    return UTF8ToUnicode(text);
}

}  // namespace TypeConvert
