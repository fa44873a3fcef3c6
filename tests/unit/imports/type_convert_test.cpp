#include "imports/type_convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace TypeConvert {
namespace {

using std::string_literals::operator""s;

const std::string kFffd = "\xEF\xBF\xBD";

std::u16string Utf16Of(char32_t scalar) {
    if (scalar < 0x10000) {
        return std::u16string(1, static_cast<char16_t>(scalar));
    }
    const char32_t rest = scalar - 0x10000;
    return {static_cast<char16_t>(0xD800 + (rest >> 10)), static_cast<char16_t>(0xDC00 + (rest & 0x3FF))};
}

TEST(TypeConvert, EveryScalarValueSurvivesTheRoundTrip) {
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (scalar >= 0xD800 && scalar <= 0xDFFF) {
            continue;
        }
        const std::u16string text = Utf16Of(scalar);
        const std::string utf8 = UnicodeToUTF8(text);
        const std::size_t bytes = scalar < 0x80 ? 1u : scalar < 0x800 ? 2u : scalar < 0x10000 ? 3u : 4u;
        ASSERT_EQ(utf8.size(), bytes) << std::hex << static_cast<std::uint32_t>(scalar);
        ASSERT_EQ(UTF8ToUnicode(utf8), text) << std::hex << static_cast<std::uint32_t>(scalar);
    }
}

TEST(TypeConvert, KnownTextsHaveTheirKnownBytes) {
    struct Row {
        std::u16string utf16;
        std::string utf8;
    };
    const std::vector<Row> rows = {
        {u"", ""},
        {u"plain", "plain"},
        {std::u16string(u"a\0b", 3), "a\0b"s},
        {u"\u00E9", "\xC3\xA9"},
        {u"\u540C\u6B65", "\xE5\x90\x8C\xE6\xAD\xA5"},
        {u"\U0001F600", "\xF0\x9F\x98\x80"},
        {u"\uFFFF", "\xEF\xBF\xBF"},
        {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(UnicodeToUTF8(row.utf16), row.utf8);
        EXPECT_TRUE(UTF8ToUnicode(row.utf8) == row.utf16) << row.utf8;
    }
}

TEST(TypeConvert, EveryLoneSurrogateBecomesOneReplacementCharacter) {
    for (unsigned unit = 0xD800; unit <= 0xDFFF; ++unit) {
        const std::u16string lone(1, static_cast<char16_t>(unit));
        ASSERT_EQ(UnicodeToUTF8(lone), kFffd);
        ASSERT_EQ(UnicodeToUTF8(u"a" + lone + u"b"), "a" + kFffd + "b");
    }
}

TEST(TypeConvert, SurrogatesInTheWrongOrderAreTwoLoneOnes) {
    EXPECT_EQ(UnicodeToUTF8(u"\xDC00\xD800"), kFffd + kFffd);
    EXPECT_EQ(UnicodeToUTF8(u"\xD800\xD83D\xDE00"), kFffd + "\xF0\x9F\x98\x80");
    EXPECT_EQ(UnicodeToUTF8(u"\xD83D\xDE00\xDE00"), "\xF0\x9F\x98\x80" + kFffd);
}

TEST(TypeConvert, IllFormedUtf8IsReplacedByMaximalSubparts) {
    struct Row {
        std::string utf8;
        std::u16string utf16;
    };
    const std::vector<Row> rows = {
        {"\x80", u"\uFFFD"},
        {"\xC0\xAF", u"\uFFFD\uFFFD"},  // overlong
        {"\xC1\xBF", u"\uFFFD\uFFFD"},
        {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
        {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xFF", u"\uFFFD"},
        {"\xE1\x80", u"\uFFFD"},  // truncated: one for the whole beginning
        {"\xF0\x91\x92", u"\uFFFD"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
        {"\xC3\x28", u"\uFFFD("},  // the byte after a broken beginning is kept
        {"\xE2\x82\xC3\xA9", u"\uFFFD\u00E9"},
        {"\xF1\x7F\x80\x80", u"\uFFFD\x7F\uFFFD\uFFFD"},  // just below what may follow
        {"\xF1\xC0\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF1\x80\x7F\x80", u"\uFFFD\x7F\uFFFD"},
        {"\xF1\x80\x80\x7F", u"\uFFFD\x7F"},
        {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x7F\x80\x80", u"\uFFFD\x7F\uFFFD\uFFFD"},
        {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
        {"\xE1\x7F\x80", u"\uFFFD\x7F\uFFFD"},
        {"\xED\x7F\x80", u"\uFFFD\x7F\uFFFD"},
        {"\xC2\x7F", u"\uFFFD\x7F"},
        {"\xDF\xC0", u"\uFFFD\uFFFD"},
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(UTF8ToUnicode(row.utf8) == row.utf16) << testing::PrintToString(row.utf8);
    }
}

// A slow and obvious model: a sequence is well-formed exactly when encoding what its bits say gives it back.
TEST(TypeConvert, AnyTwoAndThreeBytesGiveWellFormedTextThatConvertsBackToItself) {
    const auto check = [](const std::string& bytes) {
        const std::u16string text = UTF8ToUnicode(bytes);
        const std::string back = UnicodeToUTF8(text);
        ASSERT_TRUE(UTF8ToUnicode(back) == text) << testing::PrintToString(bytes);
        ASSERT_TRUE(back == bytes || text.find(u'\uFFFD') != std::u16string::npos) << testing::PrintToString(bytes);
    };
    for (unsigned first = 0x70; first < 0x100; ++first) {
        for (unsigned second = 0x70; second < 0x100; ++second) {
            check({static_cast<char>(first), static_cast<char>(second)});
            for (const unsigned third : {0x41u, 0x7Fu, 0x80u, 0x9Fu, 0xA0u, 0xBFu, 0xC2u, 0xF4u}) {
                check({static_cast<char>(first), static_cast<char>(second), static_cast<char>(third)});
            }
        }
    }
}

TEST(TypeConvert, AnyCodeUnitsGiveUtf8ThatConvertsBackButForItsLoneSurrogates) {
    constexpr unsigned kSeed = 20240229;
    SCOPED_TRACE(kSeed);
    std::mt19937 random(kSeed);
    for (int round = 0; round < 2000; ++round) {
        std::u16string text;
        std::u16string expected;
        for (int i = 0; i < 12; ++i) {
            const unsigned kind = random() % 4;
            text.push_back(static_cast<char16_t>(kind == 0   ? random() % 0x80
                                                 : kind == 1 ? 0xD800 + random() % 0x400
                                                 : kind == 2 ? 0xDC00 + random() % 0x400
                                                             : random() % 0x10000));
        }
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool high = (text[i] & 0xFC00) == 0xD800;
            const bool low = (text[i] & 0xFC00) == 0xDC00;
            if (high && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00) {
                expected.append(text, i, 2);
                ++i;
            } else {
                expected.push_back(high || low ? u'\uFFFD' : text[i]);
            }
        }
        ASSERT_TRUE(UTF8ToUnicode(UnicodeToUTF8(text)) == expected) << "round " << round;
    }
}

TEST(TypeConvert, TheOtherNamesDoTheSame) {
    const std::u16string text = u"\u540C\xD800";
    EXPECT_EQ(Unicode2UTF8(text), UnicodeToUTF8(text));
    EXPECT_EQ(WStringToString(text), UnicodeToUTF8(text));
    EXPECT_TRUE(StringToWString("\xE5\x90\x8C\xFF") == UTF8ToUnicode("\xE5\x90\x8C\xFF"));
    EXPECT_TRUE(StringToWString("\xE5\x90\x8C\xFF") == u"\u540C\uFFFD");
}

}  // namespace
}  // namespace TypeConvert
