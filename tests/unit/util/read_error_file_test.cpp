#include "util/read_error_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "platform/constants.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::util {
namespace {

class ReadErrorFile : public ::testing::Test {
protected:
    ReadErrorFile() { platform_.paths.SHCreateDirectoryExW(Drive::SyncPanelLog::GetLogPath()); }

    void Write(std::u16string_view message) { WriteReadErrorLine(platform_, message); }
    std::u16string Path() { return Drive::SyncPanelLog::GetLogPath() + u"\\read_usn_journal_err"; }
    std::optional<std::string> Text() { return machine_.files().ReadText(Path()); }
    std::string TimeText() {
        const platform::SystemTime time = platform_.clock.GetLocalTime();
        char text[64];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d:%03d ", time.year, time.month, time.day,
                      time.hour, time.minute, time.second, time.milliseconds);
        return text;
    }

    sim::Machine machine_;
    sim::CapturedLog log_;
    platform::Platform platform_ = machine_.platform();
};

TEST_F(ReadErrorFile, GetsTheLocalTimeAndTheMessage) {
    const std::string line = TimeText() + "read failed, error code is 1181\r\n";
    Write(u"read failed, error code is 1181\r\n");
    EXPECT_EQ(Text(), line);
    EXPECT_TRUE(machine_.leaks().empty());
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ReadErrorFile, LinesAreAppended) {
    Write(u"one\n");
    Write(u"two\n");
    EXPECT_EQ(Text(), TimeText() + "one\n" + TimeText() + "two\n");
}

TEST_F(ReadErrorFile, StartsAgainFromEmptyOncePastTenMebibytes) {
    machine_.files().WriteText(Path(), std::string(10'485'761, 'x'));
    Write(u"new\n");
    EXPECT_EQ(Text(), TimeText() + "new\n");
}

TEST_F(ReadErrorFile, OfExactlyTenMebibytesGrowsOn) {
    machine_.files().WriteText(Path(), std::string(10'485'760, 'x'));
    Write(u"new\n");
    EXPECT_EQ(Text()->size(), 10'485'760 + TimeText().size() + 4);
}

TEST_F(ReadErrorFile, ThatCannotBeEmptiedGetsNoLine) {
    machine_.files().WriteText(Path(), std::string(10'485'761, 'x'));
    machine_.faults().Fail({.call = "Files.CreateFileW", .nth = 2});
    Write(u"new\n");
    EXPECT_EQ(Text()->size(), 10'485'761U);
    EXPECT_TRUE(machine_.leaks().empty());
}

TEST_F(ReadErrorFile, EveryFailingCallIsSilentAndLeaksNothing) {
    bool fired = true;
    for (std::uint64_t n = 1; fired; ++n) {
        for (const bool forEver : {false, true}) {
            const std::uint64_t before = machine_.faults().fired();
            machine_.faults().Fail({.call = "Files. Paths. CodePage.", .nth = n, .forEver = forEver});
            Write(u"line\n");
            machine_.faults().Clear();
            fired = machine_.faults().fired() != before;
            EXPECT_TRUE(log_.Lines().empty());
            EXPECT_TRUE(machine_.leaks().empty());
        }
    }
}

// Keeps how files are opened.
class SpiedFiles : public test::ForwardingFiles {
public:
    struct Opening {
        std::uint32_t access = 0;
        std::uint32_t shareMode = 0;
        std::uint32_t disposition = 0;
        std::uint32_t attributes = 0;
        friend bool operator==(const Opening&, const Opening&) = default;
    };
    using ForwardingFiles::ForwardingFiles;

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t attributes) override {
        openings.push_back({access, shareMode, disposition, attributes});
        return ForwardingFiles::CreateFileW(path, access, shareMode, disposition, attributes);
    }
    std::vector<Opening> openings;
};

TEST_F(ReadErrorFile, IsOpenedForWritingAndSharedForReading) {
    SpiedFiles files(platform_.files);
    platform::Platform platform = test::PlatformWith(platform_, files);
    WriteReadErrorLine(platform, u"one\n");
    machine_.files().WriteText(Path(), std::string(10'485'761, 'x'));
    WriteReadErrorLine(platform, u"two\n");
    constexpr std::uint32_t kOpenAlways = 4;
    constexpr std::uint32_t kTruncateExisting = 5;
    EXPECT_THAT(files.openings, ::testing::ElementsAre(SpiedFiles::Opening{0x40000000, 1, kOpenAlways, 0x80},
                                                       SpiedFiles::Opening{0x40000000, 1, kOpenAlways, 0x80},
                                                       SpiedFiles::Opening{0x40000000, 1, kTruncateExisting, 0x80}));
}

// One byte for an e with an acute accent.
class FrenchCodePage final : public platform::CodePage {
public:
    std::string WideCharToMultiByteAcp(const std::u16string& text) override {
        std::string narrow;
        for (const char16_t unit : text) {
            narrow += unit == u'\u00E9' ? '\xE9' : static_cast<char>(unit);
        }
        return narrow;
    }
};

TEST_F(ReadErrorFile, LinesAreInTheSystemsCodePage) {
    FrenchCodePage codePage;
    platform::Platform platform = test::PlatformWith(platform_, codePage);
    WriteReadErrorLine(platform, u"caf\u00E9\n");
    EXPECT_EQ(Text(), TimeText() + "caf\xE9\n");
}

TEST_F(ReadErrorFile, IsNotMadeWhereNoLogFolderIs) {
    const sim::CapturedLog without(u"");
    Write(u"line\n");
    EXPECT_EQ(machine_.faults().calls("Files.CreateFileW"), 0U);
}

TEST_F(ReadErrorFile, WhoseSizeIsUnknownGetsNoLine) {
    Write(u"one\n");
    const auto before = Text();
    machine_.faults().Fail({.call = "Files.GetFileSizeEx"});
    Write(u"two\n");
    EXPECT_EQ(Text(), before);
    EXPECT_TRUE(machine_.leaks().empty());
}

}  // namespace
}  // namespace tavi::util
