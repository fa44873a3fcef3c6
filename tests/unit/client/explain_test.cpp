// Real cycles on the simulated machine, logged by the service's own file log, and what the client makes of that log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "client.h"
#include "imports/file_log.h"
#include "imports/type_convert.h"
#include "unit/client_library/scripted_pipe.h"
#include "unit/records/cycle/cycle_rig.h"

namespace tavi::client {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::u16string kLogs = u"C:\\ProgramData\\ZenloTavi\\Log";

class Explain : public testing::Test, protected records::testing::CycleRig {
protected:
    Explain() {
        const auto folder = machine.files().HostPath(kLogs);
        std::filesystem::create_directories(folder);
        fileLog = std::make_unique<Drive::FileLog>(TypeConvert::UTF8ToUnicode(folder.string()));
        fileLog->Init();
        cycle = StartCycle();
        Drive::SyncPanelLog::Install(fileLog.get());
    }
    ~Explain() override { Drive::SyncPanelLog::Install(nullptr); }

    void RunCycle() { EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1); }

    struct Result {
        int exitCode = -1;
        std::string out;
        std::string err;
    };
    Result Run(std::vector<std::string> arguments) {
        ScriptedPipe pipe({});
        std::ostringstream out;
        std::ostringstream err;
        platform::Platform parts = machine.platform();
        arguments.insert(arguments.begin(), "explain");
        const int exitCode = RunClient(arguments, {pipe, out, err, &parts});
        return {exitCode, out.str(), err.str()};
    }

    std::unique_ptr<Drive::FileLog> fileLog;
    std::unique_ptr<records::FileChangeRecord> cycle;
};

TEST_F(Explain, AStoredFile) {
    MakeFile(u"C:\\Sync\\report.txt", "text");
    RunCycle();
    const Result run = Run({"report.txt"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("Batch of "), HasSubstr("read from the journal: "), HasSubstr("r****t.txt"),
                               HasSubstr("step 3 converted: "), HasSubstr("    + CREATE  r****t.txt\n"),
                               HasSubstr("=> stored as 1 change:\n        CREATE  r****t.txt\n")));
}

TEST_F(Explain, AFileThatWasFilteredNamesTheStepThatDroppedIt) {
    MakeFile(u"C:\\Sync\\notes.tmp", "text");
    RunCycle();
    const Result run = Run({"notes.tmp"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("step 4 dropped: creating, changing and deleting temporary"),
                               HasSubstr("    - CREATE  n***s.tmp\n"),
                               HasSubstr("=> nothing stored: step 4, \"Filter out the creation, modification, and "
                                         "deletion records of temporary files\", dropped the last of it\n")));
}

TEST_F(Explain, ARenameIsTwoHalvesThatBecameOne) {
    MakeFile(u"C:\\Sync\\first.txt");
    RunCycle();
    volume().Rename(u"C:\\Sync\\first.txt", u"C:\\Sync\\second.txt");
    RunCycle();
    const Result run = Run({"second.txt", "--batches", "1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("step 7 changed: "), HasSubstr("    - RENAME_OLD_NAME  f***t.txt\n"),
                               HasSubstr("    - RENAME_NEW_NAME  s****d.txt\n"),
                               HasSubstr("    + RENAME  s****d.txt  (was f***t.txt)\n"),
                               HasSubstr("=> stored as 1 change:\n        RENAME  s****d.txt  (was f***t.txt)\n")));
    EXPECT_THAT(run.out, Not(HasSubstr("CREATE")));
}

TEST_F(Explain, ASaveThroughATemporaryFileIsToldFromBothNames) {
    MakeFile(u"C:\\Sync\\plan.txt");
    RunCycle();
    MakeFile(u"C:\\Sync\\plan.tmp", "new");
    volume().Remove(u"C:\\Sync\\plan.txt");
    volume().Rename(u"C:\\Sync\\plan.tmp", u"C:\\Sync\\plan.txt");
    RunCycle();
    const Result run = Run({"plan.txt", "--batches", "1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("p**n.tmp"), HasSubstr("step 9 changed: a save through a temporary file"),
                               HasSubstr("=> stored as ")));
    EXPECT_THAT(run.out, HasSubstr("more than one file looks like this one there"));
}

TEST_F(Explain, WhatWasHeldBackIsTakenUpInTheNextBatch) {
    MakeFile(u"C:\\Sync\\model.mlx");
    RunCycle();
    volume().Rename(u"C:\\Sync\\model.mlx", u"C:\\Sync\\model.tmp");
    RunCycle();
    ASSERT_EQ(Rows("SELECT originalFilePath FROM delayRecord;"), std::vector<std::string>{"model.mlx"});
    RunCycle();
    const Result run = Run({"model.mlx", "--batches", "1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("step 3 took up what was held back: "),
                               HasSubstr("    + RENAME  m***l.tmp  (was m***l.mlx)\n"),
                               Not(HasSubstr("read from the journal"))));
}

TEST_F(Explain, WhatTheConversionDropsIsNoChange) {
    MakeFile(u"C:\\Sync\\quiet.txt");
    RunCycle();
    volume().Touch(u"C:\\Sync\\quiet.txt", 0x800);
    RunCycle();
    const Result run = Run({"quiet.txt", "--batches", "1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("SecurityChange"), HasSubstr("step 3 dropped: "),
                               HasSubstr("=> nothing stored: step 3, \"Data Format Conversion\"")));
}

TEST_F(Explain, AFullPathNeedsTheFolderAndTellsTheNumber) {
    MakeFile(u"C:\\Sync\\sub\\a.txt");
    RunCycle();
    const Result run = Run({"c:\\sync\\SUB\\a.txt", "--folder", "C:\\Sync\\"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out,
                HasSubstr("The file has number " + std::to_string(volume().Find(u"C:\\Sync\\sub\\a.txt")) + " now.\n"));
    const Result without = Run({"C:\\Sync\\sub\\a.txt"});
    EXPECT_EQ(without.exitCode, 2);
    EXPECT_THAT(without.err, HasSubstr("--folder"));
    EXPECT_EQ(Run({"C:\\Synchronised\\a.txt", "--folder", "C:\\Sync"}).exitCode, 2);
    EXPECT_EQ(Run({"/sub/a.txt"}).exitCode, 0);
}

TEST_F(Explain, ANumberTellsFilesApartThatLookTheSame) {
    MakeFile(u"C:\\Sync\\abc.txt");
    MakeFile(u"C:\\Sync\\axc.txt");
    RunCycle();
    EXPECT_THAT(Run({"abc.txt"}).out, HasSubstr("Tell them apart with --frn:"));
    const std::string frn = std::to_string(volume().Find(u"C:\\Sync\\axc.txt"));
    const Result run = Run({"abc.txt", "--frn", frn});
    EXPECT_THAT(run.out, HasSubstr("=> stored as 1 change:"));
    EXPECT_THAT(run.out, Not(HasSubstr("Tell them apart")));
}

TEST_F(Explain, ShowsTheLastBatchesOnly) {
    for (int i = 0; i < 4; ++i) {
        MakeFile(u"C:\\Sync\\a.txt");
        volume().Write(u"C:\\Sync\\a.txt", "more");
        RunCycle();
        volume().Remove(u"C:\\Sync\\a.txt");
        RunCycle();
    }
    const auto count = [](const std::string& text) {
        std::size_t batches = 0;
        for (std::size_t at = 0; (at = text.find("Batch of ", at)) != std::string::npos; ++at) {
            ++batches;
        }
        return batches;
    };
    EXPECT_EQ(count(Run({"a.txt"}).out), 5U);
    EXPECT_EQ(count(Run({"a.txt", "--batches", "2"}).out), 2U);
    EXPECT_EQ(count(Run({"a.txt", "--batches", "100"}).out), 8U);
}

TEST_F(Explain, SaysWhenTheLogHoldsNothingAboutAFile) {
    MakeFile(u"C:\\Sync\\a.txt");
    RunCycle();
    const Result run = Run({"other.doc"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, HasSubstr("The sync log, which begins at "));
}

TEST_F(Explain, SaysWhenThereIsNoLog) {
    const Result run = Run({"a.txt", "--logs", "C:\\ProgramData\\Elsewhere"});
    EXPECT_EQ(run.exitCode, 9);
    EXPECT_THAT(run.err, HasSubstr("There is no sync log in C:\\ProgramData\\Elsewhere"));
}

}  // namespace
}  // namespace tavi::client
