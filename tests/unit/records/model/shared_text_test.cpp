#include "records/model/shared_text.h"

#include <gtest/gtest.h>

#include <unordered_set>
#include <utility>

namespace tavi::records {
namespace {

TEST(SharedText, IsEmptyUntilItIsGivenAText) {
    const SharedText empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.size(), 0U);
    EXPECT_EQ(empty.c_str()[0], u'\0');
    EXPECT_EQ(empty, SharedText(u""));
    EXPECT_TRUE(empty.IsSharedWith(SharedText(u"")));
}

TEST(SharedText, HoldsAnyUnitsAndEndsWithANul) {
    const std::u16string units(u"a\0\xD800", 3);
    const SharedText text(units);
    EXPECT_EQ(text.size(), 3U);
    EXPECT_EQ(text, units);
    EXPECT_EQ(text.c_str()[3], u'\0');
}

TEST(SharedText, OfTwoTextsIsTheOneBehindTheOther) {
    EXPECT_EQ(SharedText(u"folder\\", u"a.txt"), u"folder\\a.txt");
    EXPECT_EQ(SharedText(u"", u"a.txt"), u"a.txt");
    EXPECT_EQ(SharedText(u"folder", u""), u"folder");
    EXPECT_TRUE(SharedText(u"", u"").empty());
}

TEST(SharedText, ACopyIsTheSameTextAndOutlivesTheFirst) {
    SharedText copy;
    {
        const SharedText text(u"report.docx");
        copy = text;
        EXPECT_TRUE(copy.IsSharedWith(text));
        EXPECT_EQ(copy.c_str(), text.c_str());
    }
    EXPECT_EQ(copy, u"report.docx");
    const SharedText& itself = copy;
    copy = itself;
    EXPECT_EQ(copy, u"report.docx");
}

TEST(SharedText, AMovedFromTextIsEmpty) {
    SharedText from(u"a");
    const SharedText to(std::move(from));
    EXPECT_TRUE(from.empty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(to, u"a");
}

TEST(SharedText, EqualTextsMadeApartAreEqualButNotShared) {
    const SharedText one(u"a.txt");
    const SharedText other(u"a.txt");
    EXPECT_EQ(one, other);
    EXPECT_FALSE(one.IsSharedWith(other));
    EXPECT_EQ(std::hash<SharedText>()(one), std::hash<SharedText>()(other));
    EXPECT_NE(one, SharedText(u"b.txt"));
    EXPECT_NE(one, SharedText(u"a.tx"));
    EXPECT_LT(one, SharedText(u"b.txt"));
    EXPECT_EQ((std::unordered_set<SharedText>{one, other}).size(), 1U);
}

}  // namespace
}  // namespace tavi::records
