#include "replay/journal_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "replay/file_path.h"
#include "sim/emulated_journal.h"

namespace tavi::replay {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kStart = 133'000'000'000'000'000;  // 100 ns since 1601

struct Result {
    int exitCode;
    std::string output;
    std::string errors;
};

// A journal and a list of directories in files of a folder that goes with the test.
class JournalCommand : public testing::Test {
protected:
    JournalCommand() : folder_(std::filesystem::temp_directory_path() / MakeName()) {
        std::filesystem::create_directories(folder_);
        journal_.Create();
        options_.journalFile = File("journal.bin");
        options_.directoriesFile = File("directories.tsv");
        options_.listenPath = "C:\\Sync";
        Write(options_.directoriesFile, "5\t5\t.\n40\t5\tSync\n41\t40\tdocs\n42\t5\tOther\n");
    }
    ~JournalCommand() override {
        std::error_code code;
        std::filesystem::remove_all(folder_, code);
    }

    static std::string MakeName() {
        const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
        return std::string("tavi_replay_") + info->name();
    }
    std::string File(const std::string& name) const {
        const std::u8string text = (folder_ / name).u8string();
        return std::string(text.begin(), text.end());
    }
    static void Write(const std::string& file, const std::string& bytes) {
        std::ofstream(ToPath(file), std::ios::binary) << bytes;
    }
    void Create(std::uint64_t frn, std::uint64_t parent, std::u16string_view name, std::uint64_t second) {
        const std::uint64_t time = kStart + second * kTicksPerSecond;
        journal_.Append(frn, parent, name, 0x20, 0x100, time);
        journal_.Close(frn, time);
    }
    Result Run() { return RunOn(std::string(journal_.Stream())); }
    Result RunOn(const std::string& extract) {
        Write(options_.journalFile, extract);
        std::ostringstream output;
        std::ostringstream errors;
        Progress progress(errors, false);
        const int exitCode = RunJournal(options_, output, errors, progress);
        return {exitCode, output.str(), errors.str()};
    }
    static std::size_t Count(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++count;
        }
        return count;
    }

    std::filesystem::path folder_;
    sim::EmulatedJournal journal_;
    JournalOptions options_;
};

TEST_F(JournalCommand, RecordsInsideTheFolderAreResolvedAndShown) {
    Create(50, 41, u"a.txt", 0);
    Create(51, 42, u"elsewhere.txt", 0);
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(Count(result.output, "Original USN record\n"), 1u);
    EXPECT_NE(result.output.find("Split a move record from the rename record\n"), std::string::npos);
    EXPECT_NE(result.output.find("docs\\a.txt\t\t50\t18446744073709551615\t32\t0\tCREATE\t0\t"), std::string::npos)
        << result.output;
    EXPECT_EQ(result.output.find("elsewhere"), std::string::npos);
}

TEST_F(JournalCommand, TheSplitIntervalMakesBatches) {
    Create(50, 41, u"a.txt", 0);
    Create(51, 41, u"b.txt", 20);
    options_.form = Form::kJson;
    EXPECT_EQ(Count(Run().output, "\n"), 2u);
    options_.splitInterval = 30;
    EXPECT_EQ(Count(Run().output, "\n"), 1u);
}

TEST_F(JournalCommand, ReadingBeginsAtTheGivenPosition) {
    Create(50, 41, u"a.txt", 0);
    options_.startUsn = journal_.nextUsn();
    Create(51, 41, u"b.txt", 0);
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    EXPECT_EQ(result.output.find("a.txt"), std::string::npos);
    EXPECT_NE(result.output.find("b.txt"), std::string::npos);
}

TEST_F(JournalCommand, APositionThatIsNoRecordsIsAFailureNotAGap) {
    Create(50, 41, u"a.txt", 0);
    options_.startUsn = 8;
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitBadInput);
    EXPECT_NE(result.errors.find("Failed to read the USN journal, error code is 87"), std::string::npos)
        << result.errors;
}

TEST_F(JournalCommand, RecordsBehindZerosInTheFirstPageAreShown) {
    Create(50, 41, u"a.txt", 0);
    Create(51, 41, u"b.txt", 0);
    std::string extract(journal_.Stream());
    std::fill_n(extract.begin(), extract.size() / 2, '\0');
    const Result result = RunOn(extract);
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output.find("a.txt"), std::string::npos);
    EXPECT_NE(result.output.find("docs\\b.txt"), std::string::npos) << result.output;
}

TEST_F(JournalCommand, AnExtractThatBeginsInsideARecordIsReadWhenItsPositionIsGiven) {
    Create(50, 41, u"a.txt", 0);
    Create(51, 41, u"b.txt", 0);
    const std::string extract = std::string(journal_.Stream()).substr(8);
    EXPECT_EQ(RunOn(extract).exitCode, kExitBadInput);
    options_.firstByteUsn = 8;
    const Result result = RunOn(extract);
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    EXPECT_EQ(result.errors, options_.journalFile + ": not read: 64 bytes before the first record\n");
    EXPECT_NE(result.output.find("docs\\b.txt"), std::string::npos) << result.output;
}

TEST_F(JournalCommand, RecordsThatAreNotReadAreSaid) {
    Create(50, 41, u"a.txt", 0);
    Create(51, 41, u"b.txt", 0);
    std::string extract(journal_.Stream());
    extract[72 + 4] = 4;  // the second record
    extract.resize(extract.size() - 8);
    const Result result = RunOn(extract);
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_EQ(result.errors, options_.journalFile +
                                 ": not read: 1 record of other versions than 2, 64 bytes of a "
                                 "record that the end cuts off\n");
}

TEST_F(JournalCommand, TheRootMayHaveAnyNumber) {
    Write(options_.directoriesFile, "1407374883553285\t1407374883553285\t.\n40\t1407374883553285\tSync\n");
    Create(50, 40, u"a.txt", 0);
    EXPECT_NE(Run().output.find("a.txt"), std::string::npos);
}

TEST_F(JournalCommand, WithADatabaseTheRecordsAreSavedThere) {
    Create(50, 41, u"a.txt", 0);
    options_.databaseFile = File("saved.dat");
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    EXPECT_EQ(result.output, "1 batches, 1 change records saved\n");
    std::ifstream file(ToPath(options_.databaseFile), std::ios::binary);
    std::string header(15, '\0');
    file.read(header.data(), 15);
    EXPECT_EQ(header, "SQLite format 3");
}

TEST_F(JournalCommand, ADatabaseThatExistsIsLeftAlone) {
    Create(50, 41, u"a.txt", 0);
    options_.databaseFile = File("saved.dat");
    Write(options_.databaseFile, "precious");
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitBadInput);
    EXPECT_EQ(result.errors, options_.databaseFile + ": exists already\n");
    EXPECT_EQ(std::filesystem::file_size(ToPath(options_.databaseFile)), 8u);
}

TEST_F(JournalCommand, DirectoriesWithoutAWayToTheRootAreCounted) {
    Write(options_.directoriesFile, "5\t5\t.\n40\t5\tSync\n60\t61\ta\n61\t60\tb\n62\t99\tc\n");
    Create(50, 40, u"a.txt", 0);
    const Result result = Run();
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_EQ(result.errors, options_.directoriesFile + ": 3 directories do not lead to the root and are left out\n");
}

TEST_F(JournalCommand, AWrongListenPathIsAFailure) {
    Create(50, 41, u"a.txt", 0);
    for (const std::string path : {"", "Sync", "1:\\Sync", "C", "C:Sync", "\\\\server\\share"}) {
        options_.listenPath = path;
        EXPECT_EQ(Run().errors, "--listen-path: expected a drive letter, a colon and a path\n") << path;
    }
    options_.listenPath = "C:\\Nowhere";
    EXPECT_EQ(Run().errors, "--listen-path: " + options_.directoriesFile + " has no such directory\n");
}

TEST_F(JournalCommand, FilesThatCannotBeReadAreNamed) {
    Create(50, 41, u"a.txt", 0);
    Write(options_.directoriesFile, "nonsense\n");
    EXPECT_EQ(Run().errors,
              options_.directoriesFile + ":1: expected number, parent's number and name, separated by tabs\n");
    options_.directoriesFile = File("none.tsv");
    EXPECT_EQ(Run().errors, options_.directoriesFile + ": cannot be opened\n");
}

}  // namespace
}  // namespace tavi::replay
