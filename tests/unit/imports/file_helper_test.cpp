#include "imports/file_helper.h"

#include <gtest/gtest.h>

#include <vector>

namespace FileHepler {
namespace {

std::u16string Repeat(std::u16string_view text, int times) {
    std::u16string out;
    for (int i = 0; i < times; ++i) {
        out.append(text);
    }
    return out;
}

TEST(FormatLongFileName, GivesThePrefixOnlyToPathsThatNeedIt) {
    struct Row {
        std::u16string path;
        std::u16string expected;
    };
    const std::u16string longTail = Repeat(u"\\0123456789", 30);
    const std::vector<Row> rows = {
        {u"", u""},
        {u"C:\\folder\\file.txt", u"C:\\folder\\file.txt"},
        {u"C:/folder/file.txt", u"C:\\folder\\file.txt"},
        {u"C:\\", u"C:\\"},
        {u"C:\\folder\\*", u"C:\\folder\\*"},
        {u"C:\\a\\..\\b\\.\\c", u"C:\\a\\..\\b\\.\\c"},
        {u"C:\\folder.\\file", u"\\\\?\\C:\\folder.\\file"},
        {u"C:\\folder \\file", u"\\\\?\\C:\\folder \\file"},
        {u"C:\\folder\\file.", u"\\\\?\\C:\\folder\\file."},
        {u"C:\\folder\\...", u"\\\\?\\C:\\folder\\..."},
        {u"C:\\a\\..\\b.\\.\\c", u"\\\\?\\C:\\b.\\c"},
        {u"C:\\..\\..\\b.", u"\\\\?\\C:\\b."},
        {u"C:\\b.\\\\c\\", u"\\\\?\\C:\\b.\\c\\"},
        {u"C:\\b.\\..", u"\\\\?\\C:\\"},
        {u"c:" + longTail, u"\\\\?\\c:" + longTail},
        {u"c:" + longTail + u"\\*", u"\\\\?\\c:" + longTail + u"\\*"},
        {u"\\\\server\\share\\file", u"\\\\server\\share\\file"},
        {u"//server/share/file", u"\\\\server\\share\\file"},
        {u"\\\\server\\share" + longTail, u"\\\\?\\UNC\\server\\share" + longTail},
        {u"\\\\server\\share\\..\\..\\b.", u"\\\\?\\UNC\\server\\share\\b."},
        {u"\\\\?\\C:\\folder", u"\\\\?\\C:\\folder"},
        {u"\\\\?\\C:" + longTail, u"\\\\?\\C:" + longTail},
        {u"\\\\.\\C:", u"\\\\.\\C:"},
        {u"\\\\.\\pipe\\name.", u"\\\\.\\pipe\\name."},
        {u"relative\\file.", u"relative\\file."},
        {u"C:relative.", u"C:relative."},
        {u"\\rooted.", u"\\rooted."},
        {u"1:\\folder.", u"1:\\folder."},
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(FormatLongFileName(row.path) == row.expected) << testing::PrintToString(row.path);
    }
}

TEST(FormatLongFileName, TheLimitIsThatOfDirectories) {
    const std::u16string path = u"C:\\" + std::u16string(244, u'x');
    ASSERT_EQ(path.size(), 247u);
    EXPECT_TRUE(FormatLongFileName(path) == path);
    EXPECT_TRUE(FormatLongFileName(path + u"y") == u"\\\\?\\" + path + u"y");
}

TEST(FormatLongFileName, FormattingTwiceChangesNothingMore) {
    for (const std::u16string& path :
         {std::u16string(u"C:/a./b"), u"C:\\" + std::u16string(300, u'x'), std::u16string(u"//server/share/a ")}) {
        const std::u16string once = FormatLongFileName(path);
        EXPECT_TRUE(FormatLongFileName(once) == once) << testing::PrintToString(path);
    }
}

}  // namespace
}  // namespace FileHepler
