#include "imports/file_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/machine.h"

namespace Drive {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class FileLogTest : public testing::Test {
protected:
    void SetUp() override {
        folder = fs::path(testing::TempDir()) / "tavi_file_log" /
                 testing::UnitTest::GetInstance()->current_test_info()->name();
        fs::remove_all(folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    std::string Read(const std::string& name) const {
        std::ifstream stream(folder / name, std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        std::string read = text.str();
        std::erase(read, '\r');
        return read;
    }

    std::vector<std::string> Lines(const std::string& name) const {
        std::istringstream stream(Read(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::vector<fs::path> FilesOf(const std::string& stem) const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().filename().string().starts_with(stem)) {
                files.push_back(entry.path());
            }
        }
        return files;
    }

    fs::path folder;
};

TEST_F(FileLogTest, EachKindOfEntryGoesToItsOwnFile) {
    FileLog log(folder.u16string());
    log.Init();
    log.WriteErrorLog("Class", "Function", "went wrong, error code is 5");
    log.WriteTraceLog("traced");
    log.WriteNetLog("netted");
    log.WriteSyncLog("WriteUSNLog", "label", "usn\treason\n1\t2\n");
    EXPECT_THAT(Lines("error.log"), ElementsAre(EndsWith("] [Class] [Function] went wrong, error code is 5")));
    EXPECT_THAT(Lines("trace.log"), ElementsAre(EndsWith("] traced")));
    EXPECT_THAT(Lines("net.log"), ElementsAre(EndsWith("] netted")));
    EXPECT_THAT(Lines("sync.log"), ElementsAre(EndsWith("] [WriteUSNLog] label"), "usn\treason", "1\t2", ""));
}

TEST_F(FileLogTest, ALineBeginsWithTimeAndThread) {
    FileLog log(folder.u16string());
    log.Init();
    log.WriteTraceLog("x");
    const std::vector<std::string> lines = Lines("trace.log");
    ASSERT_EQ(lines.size(), 1u);
    std::string shape = lines[0].substr(0, lines[0].find('['));
    std::ranges::replace_if(
        shape, [](char c) { return c >= '0' && c <= '9'; }, '9');
    EXPECT_EQ(shape, "9999-99-99 99:99:99.999 ");
}

TEST_F(FileLogTest, AnEntryIsInTheFileWhenTheCallReturns) {
    FileLog log(folder.u16string());
    log.Init();
    for (int i = 1; i <= 20; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
        ASSERT_EQ(Lines("trace.log").size(), static_cast<std::size_t>(i));
    }
}

TEST_F(FileLogTest, InitTwiceKeepsWhatIsThereAndWritesOnce) {
    FileLog log(folder.u16string());
    log.Init();
    log.WriteTraceLog("before");
    log.Init();
    log.WriteTraceLog("after");
    EXPECT_THAT(Lines("trace.log"), ElementsAre(EndsWith("before"), EndsWith("after")));
}

TEST_F(FileLogTest, TheNextProcessAppends) {
    for (const char* message : {"first", "second"}) {
        FileLog log(folder.u16string());
        log.Init();
        log.WriteNetLog(message);
    }
    EXPECT_THAT(Lines("net.log"), ElementsAre(EndsWith("first"), EndsWith("second")));
}

TEST_F(FileLogTest, AMessageWithLineBreaksStaysOneLine) {
    FileLog log(folder.u16string());
    log.Init();
    log.WriteErrorLog("Class", "Function", "first\r\nsecond");
    EXPECT_THAT(Lines("error.log"), ElementsAre(EndsWith("first  second")));
}

TEST_F(FileLogTest, BracesInAMessageAreText) {
    FileLog log(folder.u16string());
    log.Init();
    log.WriteTraceLog("{ListenServiceImpl.OnStart}Creating {} {0} {");
    EXPECT_THAT(Lines("trace.log"), ElementsAre(EndsWith("{ListenServiceImpl.OnStart}Creating {} {0} {")));
}

TEST_F(FileLogTest, FilesAreBoundedInSizeAndNumberAndTheNewestStay) {
    FileLogBounds bounds;
    bounds.lines = {1000, 2};
    FileLog log(folder.u16string(), bounds);
    log.Init();
    for (int i = 0; i < 300; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
    }
    const std::vector<fs::path> files = FilesOf("trace");
    EXPECT_EQ(files.size(), 3u);
    for (const fs::path& file : files) {
        EXPECT_LE(fs::file_size(file), 1000u);
    }
    EXPECT_THAT(Lines("trace.log").back(), EndsWith("entry 299"));
    EXPECT_THAT(FilesOf("trace.3"), IsEmpty());
}

// Every line of the log, the oldest file first, without its time and thread.
std::vector<std::string> Messages(const std::vector<std::string>& lines) {
    std::vector<std::string> messages;
    for (const std::string& line : lines) {
        messages.push_back(line.substr(line.find("] ") + 2));
    }
    return messages;
}

TEST_F(FileLogTest, AHeldOlderFileCostsTheOldestEntriesAndNeverTheNewest) {
    FileLogBounds bounds;
    bounds.lines = {1000, 1};
    fs::create_directories(folder / "trace.1.log" / "held");  // cannot be replaced, as if somebody held it
    FileLog log(folder.u16string(), bounds);
    log.Init();
    for (int i = 0; i < 500; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
        ASSERT_LE(fs::file_size(folder / "trace.log"), 2000u);
        const std::vector<std::string> messages = Messages(Lines("trace.log"));
        // Without a gap up to the newest, and as many as the file may hold, once there were that many.
        int expected = i;
        for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
            ASSERT_EQ(*message, "entry " + std::to_string(expected--));
        }
        ASSERT_TRUE(expected == -1 || fs::file_size(folder / "trace.log") >= 900u) << "after entry " << i;
    }
    EXPECT_TRUE(fs::exists(folder / "trace.1.log" / "held"));
}

TEST_F(FileLogTest, AFileThatIsLetGoOfIsRotatedAgain) {
    FileLogBounds bounds;
    bounds.lines = {1000, 1};
    fs::create_directories(folder / "trace.1.log" / "held");
    FileLog log(folder.u16string(), bounds);
    log.Init();
    for (int i = 0; i < 100; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
    }
    fs::remove_all(folder / "trace.1.log");
    for (int i = 100; i < 300; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
    }
    EXPECT_EQ(FilesOf("trace").size(), 2u);
    EXPECT_LE(fs::file_size(folder / "trace.log"), 1000u);
    std::vector<std::string> messages = Messages(Lines("trace.1.log"));
    for (const std::string& message : Messages(Lines("trace.log"))) {
        messages.push_back(message);
    }
    int expected = 299;
    for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
        ASSERT_EQ(*message, "entry " + std::to_string(expected--));
    }
}

TEST_F(FileLogTest, TheOldestFileThatIsHeldStopsNothing) {
    FileLogBounds bounds;
    bounds.lines = {1000, 2};
    fs::create_directories(folder / "trace.2.log" / "held");
    FileLog log(folder.u16string(), bounds);
    log.Init();
    for (int i = 0; i < 300; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
        ASSERT_THAT(Lines("trace.log").back(), EndsWith("] entry " + std::to_string(i)));
    }
    EXPECT_LE(fs::file_size(folder / "trace.log"), 2000u);
    EXPECT_THAT(Lines("trace.1.log").front(), EndsWith("] entry 0"));
}

// On Windows a reader keeps the file from being renamed; elsewhere it is in nobody's way.
TEST_F(FileLogTest, AReaderOfAnyOfTheFilesCostsNoEntry) {
    FileLogBounds bounds;
    bounds.lines = {1000, 2};
    FileLog log(folder.u16string(), bounds);
    log.Init();
    log.WriteTraceLog("entry 0");
    std::ifstream reader(folder / "trace.log", std::ios::binary);
    ASSERT_TRUE(reader.is_open());
    for (int i = 1; i < 200; ++i) {
        log.WriteTraceLog("entry " + std::to_string(i));
        ASSERT_THAT(Lines("trace.log").back(), EndsWith("] entry " + std::to_string(i)));
        ASSERT_LE(fs::file_size(folder / "trace.log"), 2000u);
    }
}

TEST_F(FileLogTest, TwoLogsInOneFolderLoseNoNewestEntry) {
    FileLogBounds bounds;
    bounds.lines = {1000, 2};
    FileLog first(folder.u16string(), bounds);
    FileLog second(folder.u16string(), bounds);
    first.Init();
    second.Init();
    for (int i = 0; i < 200; ++i) {
        (i % 2 == 0 ? first : second).WriteTraceLog("entry " + std::to_string(i));
        std::vector<std::string> lines;
        for (const char* name : {"trace.1.log", "trace.log"}) {
            for (const std::string& line : Lines(name)) {
                lines.push_back(line);
            }
        }
        const std::string newest = "] entry " + std::to_string(i);
        ASSERT_TRUE(std::ranges::any_of(lines, [&](const std::string& line) { return line.ends_with(newest); })) << i;
    }
}

TEST_F(FileLogTest, AnEntryLargerThanTheFileIsKeptWhole) {
    FileLogBounds bounds;
    bounds.lines = {1000, 1};
    fs::create_directories(folder / "trace.1.log" / "held");
    FileLog log(folder.u16string(), bounds);
    log.Init();
    for (int i = 0; i < 5; ++i) {
        const std::string entry = std::to_string(i) + std::string(3000, 'x');
        log.WriteTraceLog(entry);
        EXPECT_THAT(Lines("trace.log").back(), EndsWith("] " + entry));
    }
    EXPECT_LE(fs::file_size(folder / "trace.log"), 2u * 3100u);
}

TEST_F(FileLogTest, ALargeDumpIsCutAtLineEndsAndLosesNothing) {
    FileLogBounds bounds;
    bounds.dumps = {1u << 20, 8};
    FileLog log(folder.u16string(), bounds);
    log.Init();
    std::string dump;
    for (int i = 0; i < 300000; ++i) {
        dump += "row " + std::to_string(i) + "\n";
    }
    log.WriteSyncLog("WriteChangeJournal", "label", dump);
    std::size_t rows = 0;
    for (const fs::path& file : FilesOf("sync")) {
        EXPECT_LE(fs::file_size(file), (2u << 20) + 200);
        for (const std::string& line : Lines(file.filename().string())) {
            rows += line.starts_with("row ") ? 1u : 0u;
            EXPECT_TRUE(line.empty() || line.starts_with("row ") || line.ends_with("] [WriteChangeJournal] label"))
                << line;
        }
    }
    EXPECT_EQ(rows, 300000u);
}

TEST_F(FileLogTest, ALongDumpWithoutLineEndsIsNotCutInsideACharacter) {
    FileLog log(folder.u16string());
    log.Init();
    std::string dump = "x";
    while (dump.size() < (2u << 20)) {
        dump += "\xE5\x90\x8C";
    }
    log.WriteSyncLog("Category", "label", dump);
    std::string together;
    for (const std::string& line : Lines("sync.log")) {
        if (!line.ends_with("label")) {
            EXPECT_TRUE(line.empty() || (static_cast<unsigned char>(line[0]) & 0xC0) != 0x80);
            together += line;
        }
    }
    EXPECT_EQ(together, dump);
}

TEST_F(FileLogTest, LinesOfManyThreadsStayWhole) {
    FileLog log(folder.u16string());
    log.Init();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&log, thread] {
            for (int i = 0; i < 200; ++i) {
                log.Init();
                log.WriteNetLog("thread " + std::to_string(thread) + " entry " + std::to_string(i) + " end");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<std::string> lines = Lines("net.log");
    EXPECT_EQ(lines.size(), 800u);
    EXPECT_TRUE(std::ranges::all_of(lines, [](const std::string& line) { return line.ends_with(" end"); }));
}

TEST_F(FileLogTest, AFolderThatCannotBeMadeIsNoLogAndNoError) {
    fs::create_directories(folder);
    std::ofstream(folder / "file") << "a file";
    FileLog log((folder / "file" / "log").u16string());
    log.Init();
    log.WriteErrorLog("Class", "Function", "message");
    log.WriteSyncLog("Category", "label", "text");
    EXPECT_EQ(Read("file"), "a file");
}

TEST_F(FileLogTest, AFileThatCouldNotBeOpenedIsOpenedByTheNextInit) {
    fs::create_directories(folder / "net.log");  // a folder in the file's place
    FileLog log(folder.u16string());
    log.Init();
    log.WriteNetLog("lost");
    log.WriteTraceLog("kept");
    fs::remove(folder / "net.log");
    log.Init();
    log.WriteNetLog("written");
    EXPECT_THAT(Lines("net.log"), ElementsAre(EndsWith("written")));
    EXPECT_THAT(Lines("trace.log"), ElementsAre(EndsWith("kept")));
}

TEST_F(FileLogTest, BeforeInitAndWithoutAFolderNothingIsWritten) {
    FileLog early(folder.u16string());
    early.WriteTraceLog("early");
    EXPECT_FALSE(fs::exists(folder));
    FileLog nowhere(u"");
    nowhere.Init();
    nowhere.WriteTraceLog("nowhere");
    EXPECT_TRUE(nowhere.GetLogPath().empty());
    EXPECT_FALSE(fs::exists("trace.log"));
}

TEST_F(FileLogTest, TheLogPathIsTheFolder) {
    FileLog log(folder.u16string());
    EXPECT_TRUE(log.GetLogPath() == folder.u16string());
    log.Init();
    EXPECT_TRUE(log.GetLogPath() == folder.u16string());
}

TEST_F(FileLogTest, AFolderWithLettersOfAnyLanguageIsFine) {
    const fs::path chinese = folder / fs::path(u"\u540C\u6B65");
    FileLog log(chinese.u16string());
    log.Init();
    log.WriteTraceLog("x");
    EXPECT_TRUE(fs::exists(chinese / "trace.log"));
}

TEST(ServiceLogFolder, IsBelowTheCommonApplicationData) {
    tavi::sim::Machine machine;
    tavi::platform::Platform platform = machine.platform();
    EXPECT_TRUE(ServiceLogFolder(platform) == u"C:\\ProgramData\\ZenloTavi\\Log");
    platform.paths.SHCreateDirectoryExW(u"C:\\ProgramData\\ZenloTavi\\Log");
    EXPECT_TRUE(ServiceLogFolder(platform) == u"C:\\ProgramData\\ZenloTavi\\Log");
}

TEST(ServiceLogFolder, IsEmptyWhenTheSystemDoesNotNameThatFolder) {
    tavi::sim::Machine machine;
    tavi::platform::Platform platform = machine.platform();
    machine.faults().Fail({.call = "Paths.SHGetFolderPathW"});
    EXPECT_TRUE(ServiceLogFolder(platform).empty());
}

TEST(ServiceLogFolder, IsEmptyWhenALinkStandsInItsPlace) {
    for (const std::u16string link : {u"C:\\ProgramData\\ZenloTavi", u"C:\\ProgramData\\ZenloTavi\\Log"}) {
        tavi::sim::Machine machine;
        tavi::platform::Platform platform = machine.platform();
        machine.files().AddVolumeFolder(u"C:\\ProgramData\\ZenloTavi");
        machine.volume().MakeDirectory(u"C:\\ProgramData\\ZenloTavi\\Log");
        ASSERT_TRUE(machine.volume().SetPlaceholder(link, true));  // carries the attribute of links
        EXPECT_TRUE(ServiceLogFolder(platform).empty());
    }
}

}  // namespace
}  // namespace Drive
