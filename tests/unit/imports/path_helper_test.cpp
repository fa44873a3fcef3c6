#include "imports/path_helper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace PathHelper {
namespace {

TEST(FuzzyFilePath, KeepsTheFirstAndLastUnitOfEveryStem) {
    struct Row {
        std::u16string path;
        std::u16string expected;
    };
    const std::vector<Row> rows = {
        {u"", u""},
        {u"a", u"a"},
        {u"ab", u"ab"},
        {u"abc", u"a*c"},
        {u"report.docx", u"r****t.docx"},
        {u"docs\\report.docx", u"d**s\\r****t.docx"},
        {u"docs/sub/plan.txt", u"d**s/s*b/p**n.txt"},
        {u"C:\\Users\\somebody\\x.y", u"C:\\U***s\\s******y\\x.y"},
        {u"archive.tar.gz", u"a*********r.gz"},
        {u".gitignore", u".gitignore"},
        {u"name.", u"n**e."},
        {u"folder\\", u"f****r\\"},
        {u"\\\\server\\share", u"\\\\s****r\\s***e"},
        {u"\u540C\u6B65\u6587\u4EF6.txt", u"\u540C**\u4EF6.txt"},
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(FuzzyFilePath(row.path) == row.expected) << testing::PrintToString(row.path);
        if (std::ranges::all_of(row.path, [](char16_t unit) { return unit < 0x80; })) {
            std::string ascii(row.path.begin(), row.path.end());
            FuzzyAsciiPath(ascii);
            EXPECT_EQ(ascii, std::string(row.expected.begin(), row.expected.end()));
        }
    }
}

TEST(FuzzyAsciiPath, AnyAsciiPathComesOutAsTheWidePathDoes) {
    constexpr std::string_view kCharacters = "ab.\\/z-,0[]_\x7F\x01";
    std::mt19937 random(3);
    for (int round = 0; round < 20'000; ++round) {
        std::string path(random() % 40, '\0');
        for (char& character : path) {
            character = kCharacters[random() % kCharacters.size()];
        }
        const std::u16string wide = FuzzyFilePath(std::u16string(path.begin(), path.end()));
        const std::string expected(wide.begin(), wide.end());
        std::string obscured = path;
        FuzzyAsciiPath(obscured);
        ASSERT_EQ(obscured, expected) << path;
    }
}

// Whatever stands around the path: nothing of it is written, and nothing of it counts.
TEST(FuzzyAsciiPath, TouchesAndSeesNothingButThePath) {
    constexpr std::string_view kCharacters = "ab.\\/z";
    constexpr std::size_t kMargin = 16;
    std::mt19937 random(5);
    for (int round = 0; round < 5'000; ++round) {
        std::string path(static_cast<std::size_t>(round) % 41, '\0');
        for (char& character : path) {
            character = kCharacters[random() % kCharacters.size()];
        }
        std::string expected = path;
        FuzzyAsciiPath(expected);
        for (const char around : {'.', '\\', '/', 'x'}) {
            const std::string margin(kMargin, around);
            std::string memory = margin;
            memory.append(path).append(margin);
            FuzzyAsciiPath(std::span(memory).subspan(kMargin, path.size()));
            ASSERT_EQ(memory, margin + expected + margin) << path;
        }
    }
}

TEST(FuzzyFilePath, AStemOfOneOrTwoUnitsStaysAsItIs) {
    for (const char16_t* const path : {u"", u"a", u"ab", u"\\a", u"\\ab", u".", u"a.", u"ab.", u"..", u"\\"}) {
        EXPECT_TRUE(FuzzyFilePath(path) == path) << testing::PrintToString(std::u16string(path));
    }
    EXPECT_TRUE(FuzzyFilePath(u"abc.\\abc") == u"a*c.\\a*c");
}

TEST(FuzzyFilePath, LeavesItsArgumentAsItWas) {
    const std::u16string path = u"folder\\report.docx";
    const std::u16string fuzzy = FuzzyFilePath(path);
    EXPECT_TRUE(path == u"folder\\report.docx");
    EXPECT_TRUE(FuzzyFilePath(path) == fuzzy);
    EXPECT_EQ(fuzzy.size(), path.size());
}

}  // namespace
}  // namespace PathHelper
