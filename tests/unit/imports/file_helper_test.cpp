#include "imports/file_helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "sim/machine.h"
#include "support/platform_with.h"
#include "unit/platform/unused_files.h"

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

using tavi::sim::Machine;
using testing::IsEmpty;

TEST(GetFrnByPath, IsTheFileReferenceNumberOfAFileOrDirectory) {
    Machine machine;
    tavi::platform::Platform platform = machine.platform();
    const auto directory = machine.volume().MakeDirectory(u"C:\\Sync\\folder");
    const auto file = machine.volume().MakeFile(u"C:\\Sync\\folder\\file.txt");
    EXPECT_EQ(GetFrnByPath(platform, u"C:\\Sync\\folder"), directory);
    EXPECT_EQ(GetFrnByPath(platform, u"C:/Sync/folder/file.txt"), file);
    EXPECT_EQ(GetFrnByPath(platform, u"\\\\?\\C:\\Sync\\folder\\file.txt"), file);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST(GetFrnByPath, IsZeroForWhatIsNotThere) {
    Machine machine;
    tavi::platform::Platform platform = machine.platform();
    EXPECT_EQ(GetFrnByPath(platform, u"C:\\Sync\\missing"), 0u);
    EXPECT_EQ(GetFrnByPath(platform, u""), 0u);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST(GetFrnByPath, IsZeroAndLeaksNothingWhicheverCallFails) {
    for (std::uint64_t nth = 1;; ++nth) {
        Machine machine;
        tavi::platform::Platform platform = machine.platform();
        const auto file = machine.volume().MakeFile(u"C:\\file.txt");
        machine.faults().Fail({.nth = nth});
        const std::uint64_t frn = GetFrnByPath(platform, u"C:\\file.txt");
        EXPECT_THAT(machine.leaks(), IsEmpty());
        if (machine.faults().fired() == 0) {
            EXPECT_EQ(frn, file);
            EXPECT_EQ(nth, 3u) << "opening and asking are the two calls that can fail";
            break;
        }
        EXPECT_EQ(frn, 0u) << machine.faults().lastFired();
    }
}

// Notes what CreateFileW is asked for.
class NotingFiles final : public tavi::platform::UnusedFiles {
public:
    tavi::platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                       std::uint32_t disposition, std::uint32_t flags) override {
        asked = {path, access, shareMode, disposition, flags};
        return tavi::platform::kInvalidHandle;
    }

    std::tuple<std::u16string, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t> asked;
};

TEST(GetFrnByPath, OpensTheObjectItselfForItsAttributesAndSharesEverything) {
    Machine machine;
    NotingFiles files;
    tavi::platform::Platform parts = machine.platform();
    tavi::platform::Platform platform = tavi::test::PlatformWith(parts, files);
    EXPECT_EQ(GetFrnByPath(platform, u"C:/folder."), 0u);
    EXPECT_TRUE(files.asked == std::tuple(std::u16string(u"\\\\?\\C:\\folder."), 0x80u, 7u, 3u, 0x02200000u));
}

}  // namespace
}  // namespace FileHepler
