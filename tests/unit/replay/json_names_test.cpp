#include "replay/json_names.h"

#include <gtest/gtest.h>

namespace tavi::replay {
namespace {

Json::Value Units(std::initializer_list<unsigned> units) {
    Json::Value array(Json::arrayValue);
    for (unsigned unit : units) {
        array.append(Json::Value(unit));
    }
    return array;
}

TEST(JsonNames, ALoneSurrogateIsRecognised) {
    const std::u16string with[] = {u"\xD800", u"a\xDC00", u"\xD800\xD800\xDC00", u"\xDC00\xD800", u"\xD800x"};
    const std::u16string without[] = {u"", u"a", u"\xD83D\xDE00", u"\xD83D\xDE00\xD83D\xDE00", u"\xFFFD"};
    for (const std::u16string& name : with) {
        EXPECT_TRUE(HasLoneSurrogate(name));
    }
    for (const std::u16string& name : without) {
        EXPECT_FALSE(HasLoneSurrogate(name));
    }
}

TEST(JsonNames, AValidNameIsAString) {
    EXPECT_EQ(NameToJson(u"d\\\u00E4\xD83D\xDE00"), Json::Value("d\\\xC3\xA4\xF0\x9F\x98\x80"));
    EXPECT_EQ(NameFromJson(Json::Value("d\\\xC3\xA4\xF0\x9F\x98\x80")), u"d\\\u00E4\xD83D\xDE00");
}

TEST(JsonNames, ANameWithALoneSurrogateIsAnArrayOfItsUnits) {
    EXPECT_EQ(NameToJson(u"a\xD800"), Units({0x61, 0xD800}));
    EXPECT_EQ(NameFromJson(Units({0x61, 0xD800})), u"a\xD800");
}

TEST(JsonNames, AnArrayMayHoldAnyName) {
    EXPECT_EQ(NameFromJson(Units({})), u"");
    EXPECT_EQ(NameFromJson(Units({0, 0xFFFF})), std::u16string({u'\0', u'\xFFFF'}));
}

TEST(JsonNames, WhatIsNoNameIsRefused) {
    Json::Value text(Json::arrayValue);
    text.append("a");
    const Json::Value values[] = {
        Json::Value(),    Json::Value(1),      Json::Value(Json::objectValue), text,
        Units({0x10000}), Json::Value("\xFF"), Json::Value("\xED\xA0\x80"),    Json::Value("\xC3")};
    for (const Json::Value& value : values) {
        EXPECT_EQ(NameFromJson(value), std::nullopt) << value.toStyledString();
    }
}

TEST(JsonNames, AnEscapedSurrogateWithoutItsOtherHalfIsFound) {
    EXPECT_TRUE(HasLoneSurrogateEscape(R"("\ud800")"));
    EXPECT_TRUE(HasLoneSurrogateEscape(R"("\ud800\u0041")"));
    EXPECT_TRUE(HasLoneSurrogateEscape(R"("\uDC00")"));
    EXPECT_TRUE(HasLoneSurrogateEscape(R"("\ud800\n")"));
    EXPECT_TRUE(HasLoneSurrogateEscape(R"("\\\ud800")"));
    EXPECT_FALSE(HasLoneSurrogateEscape(R"("\ud83d\ude00")"));
    EXPECT_FALSE(HasLoneSurrogateEscape(R"("\\ud800")")) << "an escaped backslash and letters";
    EXPECT_FALSE(HasLoneSurrogateEscape(R"("d\\a\u00e4")"));
    EXPECT_FALSE(HasLoneSurrogateEscape(R"(\u12)"));
}

}  // namespace
}  // namespace tavi::replay
