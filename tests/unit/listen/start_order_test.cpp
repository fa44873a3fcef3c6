// What the start of a listening task asks of the system and of the database, in which order, and what it does not ask.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "listen/start_handler.h"
#include "support/platform_with.h"
#include "unit/db/scripted_sqlite.h"
#include "unit/journal/journal_rig.h"
#include "unit/listen/hooked_platform.h"
#include "unit/listen/start_bench.h"

namespace tavi::listen {
namespace {

using test::ServiceError;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kQuery = 0x900F4;
constexpr std::uint32_t kCreate = 0x900E7;
constexpr const char* kDeleteChanges = "Exec DELETE FROM fileChangeRecord;";
constexpr const char* kDeleteTemporaryFiles = "Exec DELETE FROM temporaryFile;";
constexpr const char* kDeleteDelayed = "Exec DELETE FROM delayRecord;";

class StartOrder : public test::StartBench {
protected:
    void TearDown() override {
        worker_.FinishCurrentListenTask();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    std::uint32_t Handle(const ipc::ListenTaskParams& request) {
        return handler_.HandleSyncFileMsgForBeginningListenTask(request);
    }
    // A task that is running.
    void StartTask() {
        ASSERT_LE(Handle(Request()), 4U);
        ASSERT_TRUE(machine_.WaitUntil([&] { return process_.currentTask.Get() != nullptr; }));
    }

    void DeleteJournal() {
        machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    }

    void ClearCalls() {
        files_.openings.clear();
        files_.controls.clear();
        sqlite_.ClearCalls();
        log_.Clear();
    }
    std::vector<std::uint32_t> ControlCodes() const {
        std::vector<std::uint32_t> codes;
        for (const journal::testing::SpyFiles::ControlCall& call : files_.controls) {
            codes.push_back(call.code);
        }
        return codes;
    }
    std::size_t VolumeOpenings() const {
        std::size_t count = 0;
        for (const journal::testing::SpyFiles::Opening& opening : files_.openings) {
            count += opening.path == u"\\\\.\\C:" ? 1U : 0U;
        }
        return count;
    }
    // The deletions, and what opens and closes connections around them.
    std::vector<std::string> Deletions() const {
        std::vector<std::string> calls = sqlite_.Calls({"OpenV2", "Exec DELETE", "CloseV2"});
        for (std::string& call : calls) {
            call = call.starts_with("OpenV2") ? "OpenV2" : call;
        }
        return calls;
    }

    journal::testing::SpyFiles files_{machine_};
    db::ScriptedSqlite sqlite_{machinesOwn_.sqlite};
    test::HookedThreads threads_{machine_};
    platform::Platform platform_ = test::PlatformWith(machinesOwn_, files_, threads_, sqlite_);
    ListenProcess process_{platform_};
    ListenWorker worker_{platform_, process_, test::FakeCycles(script_)};
    StartHandler handler_{platform_, process_, worker_};
};

// ---- The journal

struct JournalSteps {
    const char* name;
    std::uint32_t (StartHandler::*process)(const ipc::ListenTaskParams&);
    bool journalExists;
    std::vector<std::uint32_t> codes;
};

void PrintTo(const JournalSteps& steps, std::ostream* out) {
    *out << steps.name;
}

class StartProcesses : public StartOrder, public testing::WithParamInterface<JournalSteps> {};

TEST_P(StartProcesses, AskTheJournalInTheirOrderAndOpenTheVolumeAfreshEachTime) {
    const JournalSteps& steps = GetParam();
    LogInBefore(NextUsn());
    if (steps.process == &StartHandler::HandleUserFirstLoginProcess) {
        View().Execute("DELETE FROM user;");
    }
    ASSERT_TRUE(process_.database.InitSqLiteDb(PathOf()));
    if (!steps.journalExists) {
        DeleteJournal();
    }
    ClearCalls();
    files_.beforeControl = [&](std::uint32_t) {
        std::size_t open = 0;
        for (const std::string& leak : machine_.leaks()) {
            open += leak.starts_with("volume handle") ? 1U : 0U;
        }
        EXPECT_EQ(open, 1U) << "the one before is closed again";
    };
    EXPECT_LE((handler_.*steps.process)(Request()), 4U);
    EXPECT_EQ(ControlCodes(), steps.codes);
    EXPECT_EQ(VolumeOpenings(), steps.codes.size());
}

INSTANTIATE_TEST_SUITE_P(
    Each, StartProcesses,
    testing::Values(
        JournalSteps{"FirstLogin", &StartHandler::HandleUserFirstLoginProcess, true, {kQuery, kQuery}},
        JournalSteps{
            "FirstLoginWithoutAJournal", &StartHandler::HandleUserFirstLoginProcess, false, {kQuery, kCreate, kQuery}},
        JournalSteps{"PathChange", &StartHandler::HandleChangeListenPathProcess, true, {kQuery, kQuery}},
        JournalSteps{"PathChangeWithoutAJournal",
                     &StartHandler::HandleChangeListenPathProcess,
                     false,
                     {kQuery, kCreate, kQuery}},
        JournalSteps{"Closure", &StartHandler::HandleChangeJournalClosureProcess, true, {kCreate, kQuery}},
        JournalSteps{
            "ClosureWithoutAJournal", &StartHandler::HandleChangeJournalClosureProcess, false, {kCreate, kQuery}},
        JournalSteps{"Expiration", &StartHandler::HandleUsnExpirationProcess, true, {kQuery}}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(StartOrder, ContinuingProbesTheJournalAndQueriesItAgain) {
    LogInBefore(NextUsn());
    EXPECT_EQ(Handle(Request()), 0U);
    EXPECT_THAT(ControlCodes(), ElementsAre(kQuery, kQuery));
    EXPECT_EQ(VolumeOpenings(), 2U);
}

TEST_F(StartOrder, ExpiredPositionIsFoundByTwoQueriesAndReplacedByAThird) {
    LogInBefore(NextUsn() + 1);
    EXPECT_EQ(Handle(Request()), 2U);
    EXPECT_THAT(ControlCodes(), ElementsAre(kQuery, kQuery, kQuery));
    EXPECT_EQ(VolumeOpenings(), 3U);
}

TEST_F(StartOrder, ClosedJournalIsFoundByTheProbeThenCreatedThenQueried) {
    LogInBefore(NextUsn());
    DeleteJournal();
    EXPECT_EQ(Handle(Request()), 1U);
    EXPECT_THAT(ControlCodes(), ElementsAre(kQuery, kCreate, kQuery));
    EXPECT_EQ(VolumeOpenings(), 3U);
}

// ---- The tables

TEST_F(StartOrder, ReplacedTasksTablesAreClearedInOrderEachOnAConnectionOfItsOwn) {
    LogInBefore(NextUsn(), u"second");
    StartTask();
    ClearCalls();
    ASSERT_EQ(Handle(Request(u"second")), 3U);
    const std::vector<std::string> calls = Deletions();
    const auto first = std::find(calls.begin(), calls.end(), kDeleteChanges);
    ASSERT_NE(first, calls.begin());
    ASSERT_NE(first, calls.end());
    const std::vector<std::string> fromFirst(first - 1, calls.end());
    ASSERT_GE(fromFirst.size(), 9U);
    EXPECT_THAT(std::vector<std::string>(fromFirst.begin(), fromFirst.begin() + 9),
                ElementsAre("OpenV2", kDeleteChanges, "CloseV2", "OpenV2", kDeleteTemporaryFiles, "CloseV2", "OpenV2",
                            kDeleteDelayed, "CloseV2"));
}

TEST_F(StartOrder, ClearingOfAReplacedTasksTablesIsNotExamined) {
    const char* const deletions[] = {kDeleteChanges, kDeleteTemporaryFiles, kDeleteDelayed};
    const char* const left[] = {"1 0 0 1", "0 0 1 1", "0 1 0 1"};
    for (std::size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(deletions[i]);
        const std::u16string known = u"known" + std::u16string(i, u'x');
        LogInBefore(NextUsn(), known);
        StartTask();
        ClearCalls();
        sqlite_.Answer(deletions[i], 1);
        EXPECT_EQ(Handle(Request(known)), 3U);
        sqlite_.MakeEverything();
        EXPECT_THAT(sqlite_.Calls({"Exec DELETE"}), ElementsAre(kDeleteChanges, kDeleteTemporaryFiles, kDeleteDelayed));
        EXPECT_EQ(View(known).RowCounts(), left[i]);
        EXPECT_TRUE(process_.listenThread.Joinable());
        EXPECT_THAT(StartErrors(), IsEmpty());
    }
}

TEST_F(StartOrder, FirstLoginsClearingIsOneTextThatIsNotExamined) {
    const std::string all =
        "Exec DELETE FROM fileChangeRecord;DELETE FROM delayRecord;DELETE FROM temporaryFile;DELETE FROM pathMapping;";
    LogInBefore(NextUsn());
    View().Execute("DELETE FROM user;");
    sqlite_.Answer(all, 1);
    EXPECT_EQ(Handle(Request()), 4U);
    sqlite_.MakeEverything();
    EXPECT_THAT(sqlite_.Calls({"Exec DELETE"}), ElementsAre(all));
    EXPECT_EQ(View().RowCounts(), "1 1 1 1");
    EXPECT_EQ(View().Ask("SELECT userId FROM user"), "user");
    EXPECT_THAT(StartErrors(), IsEmpty());
}

TEST_F(StartOrder, FailedStepOfAnUpdateStopsTheStepsAfterIt) {
    LogInBefore(NextUsn());
    sqlite_.Answer(kDeleteChanges, 1);
    EXPECT_EQ(Handle(Request(u"user", u"C:\\Other")), 5U);
    EXPECT_THAT(sqlite_.Calls({"Exec DELETE"}), ElementsAre(kDeleteChanges));
    EXPECT_FALSE(process_.listenThread.Joinable());

    View().Execute("UPDATE user SET listenPath = 'C:\\Sync';");
    ClearCalls();
    sqlite_.Answer("PrepareV2 UPDATE user", 1);
    EXPECT_EQ(Handle(Request(u"user", u"C:\\Other")), 5U);
    EXPECT_THAT(sqlite_.Calls({"Exec DELETE"}), IsEmpty());
    EXPECT_EQ(View().Ask("SELECT listenPath FROM user"), "C:\\Sync");
}

// ---- Requests that come to nothing

TEST_F(StartOrder, NoDatabaseIsMadeOrOpenedForAFolderThatIsNotOnNtfs) {
    machine_.files().SetFileSystem(u'D', u"FAT32");
    EXPECT_EQ(Handle(Request(u"user", u"D:\\Sync")), 5U);
    EXPECT_EQ(machine_.faults().calls("Volumes.GetVolumeInformationW"), 1U);
    EXPECT_THAT(sqlite_.calls(), IsEmpty());
    EXPECT_THAT(files_.openings, IsEmpty());
    EXPECT_EQ(machine_.faults().calls("Paths.SHCreateDirectoryExW"), 0U);
    EXPECT_EQ(machine_.faults().calls("Digest.MdCtxNew"), 0U) << "its path is not even made up";
}

TEST_F(StartOrder, FileSystemIsNotAskedForWhenTheDatabasePathIsEmpty) {
    ipc::ListenTaskParams request = Request();
    request.databasePath.clear();
    EXPECT_EQ(Handle(request), 5U);
    EXPECT_EQ(machine_.faults().calls("Volumes.GetVolumeInformationW"), 0U);
    EXPECT_THAT(sqlite_.calls(), IsEmpty());
}

TEST_F(StartOrder, ThreadWhoseStartThrowsIsOneThatCannotBeStarted) {
    threads_.beforeStart = [] { throw std::bad_alloc(); };
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleUserFirstLoginProcess", "Failed to start the listening thread")));
    EXPECT_TRUE(process_.stopListenTask);
    log_.Clear();
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError("HandleSyncFileMsgForBeginningListenTask",
                                                        "Failed to start the listening thread")));
    EXPECT_FALSE(process_.listenThread.Joinable());
    threads_.beforeStart = nullptr;
}

// ---- A task that is replaced

TEST_F(StartOrder, ReplacedTaskIsAnsweredWithTheResultUnlessThatIsZero) {
    struct Row {
        std::uint32_t result;
        std::int64_t position;  // relative to the journal's next one
        bool journalExists;
        bool threadStarts;
    };
    const Row rows[] = {{3, 0, true, true}, {1, 0, false, true}, {2, 1, true, true}, {5, 0, true, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.result);
        const std::u16string known = u"known" + std::u16string(row.result, u'x');
        LogInBefore(NextUsn() + row.position, known);
        StartTask();
        ClearCalls();
        if (!row.journalExists) {
            DeleteJournal();
        }
        if (!row.threadStarts) {
            machine_.faults().Fail({.call = "Threads.StartThread"});
        }
        EXPECT_EQ(Handle(Request(known)), row.result);
        EXPECT_THAT(log_.Texts(sim::LogKind::kTrace),
                    Contains("{ListenServiceImpl.HandleSyncFileMsgForBeginningListenTask}The user ID or listening path "
                             "is changed."));
        machine_.faults().Clear();
    }
}

}  // namespace
}  // namespace tavi::listen
