#include "listen/start_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "unit/listen/start_bench.h"

namespace tavi::listen {
namespace {

using test::ServiceError;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kStart = "HandleSyncFileMsgForBeginningListenTask";
constexpr const char* kChanged =
    "{ListenServiceImpl.HandleSyncFileMsgForBeginningListenTask}The user ID or listening path is changed.";
constexpr const char* kCleared =
    "If the user ID or listening path changes, the database (file change record table and temporary file table) is "
    "cleared.";

class StartHandlerTest : public test::StartBench {
protected:
    void TearDown() override {
        worker_.FinishCurrentListenTask();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    std::uint32_t Handle(const ipc::ListenTaskParams& request) {
        return handler_.HandleSyncFileMsgForBeginningListenTask(request);
    }

    // Handles, and lets the new task come to its first cycle.
    std::uint32_t HandleAndRun(const ipc::ListenTaskParams& request) {
        const int runs = script_.runs;
        const std::uint32_t code = Handle(request);
        EXPECT_TRUE(machine_.WaitUntil([&] { return script_.runs > runs; }));
        return code;
    }

    std::int64_t FirstUsn() {
        return machine_.volume().WithJournal([](auto& journal) { return journal.firstUsn(); });
    }
    // A journal that has lost its beginning.
    void TrimJournal() {
        for (int i = 0; i < 200; ++i) {
            machine_.volume().MakeFile(u"C:\\Other\\file" + std::u16string(1, static_cast<char16_t>(0x4E00 + i)));
        }
        machine_.volume().WithJournal([](auto& journal) { journal.TrimTo(8192); });
        ASSERT_EQ(FirstUsn(), 8192);
    }

    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }
    void ExpectNoListenThread() {
        EXPECT_FALSE(process_.listenThread.Joinable());
        EXPECT_EQ(script_.made, 0);
        EXPECT_TRUE(process_.stopListenTask);
    }

    ListenProcess process_{machinesOwn_};
    ListenWorker worker_{machinesOwn_, process_, test::FakeCycles(script_)};
    StartHandler handler_{machinesOwn_, process_, worker_};
};

// ---- First login

TEST_F(StartHandlerTest, FirstLoginRepliesFourAndStoresTheUserAtTheNextPosition) {
    const std::int64_t next = NextUsn();
    EXPECT_EQ(HandleAndRun(Request()), 4U);
    EXPECT_THAT(Traces(), Contains("First login process"));
    EXPECT_EQ(View().Ask("SELECT userId || '|' || listenPath || '|' || usnLocation FROM user"),
              "user|C:\\Sync|" + std::to_string(next));
    const records::FileChangeRecord::Task task = script_.tasks().front();
    EXPECT_EQ(task.userId, u"user");
    EXPECT_EQ(task.listenPath, u"C:\\Sync");
    EXPECT_EQ(task.startUsn, next);
    EXPECT_EQ(task.splitIntervalMs, 30000U);
    EXPECT_THAT(StartErrors(), IsEmpty());
}

TEST_F(StartHandlerTest, FirstLoginClearsAllRecordTablesInOneText) {
    LogInBefore(NextUsn());
    View().Execute("DELETE FROM user;");
    EXPECT_EQ(HandleAndRun(Request()), 4U);
    EXPECT_EQ(View().RowCounts(), "0 0 0 0");
}

TEST_F(StartHandlerTest, FirstLoginOnAVolumeWithoutAJournalCreatesIt) {
    machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    EXPECT_EQ(HandleAndRun(Request()), 4U);
    EXPECT_TRUE(machine_.volume().WithJournal([](auto& journal) { return journal.active(); }));
}

TEST_F(StartHandlerTest, FirstLoginThatFindsNoPositionFails) {
    machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .forEver = true});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError("HandleUserFirstLoginProcess", "Failed to query the USN")));
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, FirstLoginWhoseUserRowCannotBeInsertedFails) {
    LogInBefore(0);
    const std::string trigger =
        "DELETE FROM user; DROP TABLE user; CREATE TABLE user (userId VARCHAR(60) PRIMARY KEY NOT NULL,"
        "listenPath VARCHAR(300) NOT NULL,usnLocation INTEGER NOT NULL CHECK(usnLocation < 0));";
    View().Execute(trigger);
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleUserFirstLoginProcess", "Failed to insert the user table")));
    ExpectNoListenThread();
}

// ---- Continuing

TEST_F(StartHandlerTest, PositionEqualToTheNextOneContinues) {
    const std::int64_t next = NextUsn();
    LogInBefore(next);
    EXPECT_EQ(HandleAndRun(Request()), 0U);
    EXPECT_THAT(Traces(), Contains("Continue reading USN"));
    EXPECT_EQ(script_.tasks().front().startUsn, next);
    EXPECT_EQ(script_.tasks().front().splitIntervalMs, 30000U) << "the request's, not the stored one";
    EXPECT_EQ(View().RowCounts(), "1 1 1 1") << "nothing is stale";
}

TEST_F(StartHandlerTest, PositionEqualToTheFirstOneContinues) {
    TrimJournal();
    LogInBefore(FirstUsn());
    EXPECT_EQ(HandleAndRun(Request()), 0U);
    EXPECT_EQ(script_.tasks().front().startUsn, FirstUsn());
}

TEST_F(StartHandlerTest, ContinuingWhoseThreadCannotBeStartedFails) {
    LogInBefore(NextUsn());
    machine_.faults().Fail({.call = "Threads.StartThread"});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(kStart, "Failed to start the listening thread")));
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, JournalThatCannotBeQueriedTheSecondTimeFails) {
    LogInBefore(NextUsn());
    machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .nth = 2});  // the probe's is the first
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(kStart, "Failed to query the firstUSN and nextUSN")));
    ExpectNoListenThread();
}

// ---- Expired position

TEST_F(StartHandlerTest, PositionOneBelowTheFirstTakesTheExpirationPath) {
    TrimJournal();
    LogInBefore(FirstUsn() - 1);
    EXPECT_EQ(HandleAndRun(Request()), 2U);
    EXPECT_THAT(Traces(), Contains("USN expiration process"));
    EXPECT_EQ(View().RowCounts(), "0 0 1 1") << "temporary files and path mapping stay";
    EXPECT_EQ(View().Ask("SELECT usnLocation FROM user"), std::to_string(NextUsn()));
    EXPECT_EQ(script_.tasks().front().startUsn, NextUsn());
}

TEST_F(StartHandlerTest, PositionOneAboveTheNextTakesTheExpirationPath) {
    LogInBefore(NextUsn() + 1);
    EXPECT_EQ(HandleAndRun(Request()), 2U);
}

TEST_F(StartHandlerTest, ExpirationCreatesNoJournal) {
    LogInBefore(NextUsn() + 1);
    // Probe and query succeed, the process's own query does not.
    machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .nth = 3, .forEver = true});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_EQ(machine_.faults().calls("Volumes.DeviceIoControl"), 3U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError("HandleUsnExpirationProcess", "Failed to query the nextUSN")));
    ExpectNoListenThread();
}

// ---- Journal closed

TEST_F(StartHandlerTest, DeletedJournalIsCreatedAgainAndRepliesOne) {
    LogInBefore(NextUsn());
    machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    EXPECT_EQ(HandleAndRun(Request()), 1U);
    EXPECT_THAT(Traces(), Contains("Change Journal closure process"));
    EXPECT_TRUE(machine_.volume().WithJournal([](auto& journal) { return journal.active(); }));
    EXPECT_EQ(View().RowCounts(), "0 0 1 1");
    EXPECT_EQ(View().Ask("SELECT usnLocation FROM user"), std::to_string(NextUsn()));
}

TEST_F(StartHandlerTest, ClosureCreatesTheJournalWithoutQueryingFirst) {
    LogInBefore(NextUsn());
    machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    EXPECT_EQ(HandleAndRun(Request()), 1U);
    // The probe, the creation, the query of the next position.
    EXPECT_EQ(machine_.faults().calls("Volumes.DeviceIoControl"), 3U);
}

TEST_F(StartHandlerTest, VolumeThatCannotBeOpenedIsAClosedJournal) {
    LogInBefore(NextUsn());
    View().Execute("UPDATE user SET listenPath = 'E:\\Sync';");
    machine_.files().SetFileSystem(u'E', u"NTFS");  // a drive that can be asked, but not opened
    EXPECT_EQ(Handle(Request(u"user", u"E:\\Sync")), 5U);
    EXPECT_THAT(Traces(), Contains("Change Journal closure process"));
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleChangeJournalClosureProcess", "Failed to query the nextUSN")));
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, JournalThatCannotBeCreatedShowsInTheQueryAfterIt) {
    LogInBefore(NextUsn());
    machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .forEver = true});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleChangeJournalClosureProcess", "Failed to query the nextUSN")));
}

// ---- Another folder

TEST_F(StartHandlerTest, AnotherFolderOfTheSameUserRepliesZeroWithoutARunningTask) {
    LogInBefore(NextUsn());
    EXPECT_EQ(HandleAndRun(Request(u"user", u"C:\\Other")), 0U);
    EXPECT_THAT(Traces(), Contains("Path switching process"));
    EXPECT_EQ(View().Ask("SELECT listenPath FROM user"), "C:\\Other");
    EXPECT_EQ(View().RowCounts(), "0 0 1 1");
    EXPECT_EQ(script_.tasks().front().listenPath, u"C:\\Other");
    EXPECT_EQ(script_.tasks().front().startUsn, NextUsn());
}

TEST_F(StartHandlerTest, FolderWhosePathDiffersInLetterCaseOnlyIsAnotherFolder) {
    LogInBefore(NextUsn());
    EXPECT_EQ(HandleAndRun(Request(u"user", u"C:\\sync")), 0U);
    EXPECT_THAT(Traces(), Contains("Path switching process"));
    EXPECT_EQ(View().Ask("SELECT listenPath FROM user"), "C:\\sync");
}

TEST_F(StartHandlerTest, PathSwitchThatFindsNoPositionFails) {
    LogInBefore(NextUsn());
    machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .forEver = true});
    EXPECT_EQ(Handle(Request(u"user", u"C:\\Other")), 5U);
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleChangeListenPathProcess", "Failed to query the nextNSN")));
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, PathSwitchOnAVolumeWithoutAJournalCreatesIt) {
    LogInBefore(NextUsn());
    machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    EXPECT_EQ(HandleAndRun(Request(u"user", u"C:\\Other")), 0U);
    EXPECT_TRUE(machine_.volume().WithJournal([](auto& journal) { return journal.active(); }));
}

TEST_F(StartHandlerTest, EachOfTheThreeDatabaseStepsFailsWithTheSameText) {
    const sim::LogLine failure =
        ServiceError("HandleChangeListenPathProcess", "Failed to update user table and clear file change record table");
    // Every call to the database fails in turn; what the tables hold says which of the steps it was that failed.
    std::set<std::string> left;
    for (std::uint64_t n = 1;; ++n) {
        const std::u16string userId = u"user" + std::u16string(n, u'x');
        LogInBefore(NextUsn(), userId);
        log_.Clear();
        const std::uint64_t before = machine_.faults().fired();
        machine_.faults().Fail({.call = "Sqlite.", .nth = n, .code = 1});
        const std::uint32_t code = Handle(Request(userId, u"C:\\Other"));
        worker_.FinishCurrentListenTask();
        if (machine_.faults().fired() == before) {
            break;
        }
        if (StartErrors() == std::vector<sim::LogLine>{failure}) {
            EXPECT_EQ(code, 5U);
            left.insert(View(userId).Ask("SELECT listenPath FROM user") + "|" + View(userId).RowCounts());
        }
    }
    EXPECT_THAT(left, ElementsAre("C:\\Other|0 1 1 1", "C:\\Other|1 1 1 1", "C:\\Sync|1 1 1 1"));
}

TEST_F(StartHandlerTest, FailedUpdateStartsNoThread) {
    LogInBefore(NextUsn());
    View().Execute(
        "CREATE TABLE kept AS SELECT * FROM user; DROP TABLE user; CREATE TABLE user (userId VARCHAR(60) PRIMARY KEY "
        "NOT NULL,listenPath VARCHAR(300) NOT NULL CHECK(listenPath <> 'C:\\Other'),usnLocation INTEGER NOT NULL); "
        "INSERT INTO user SELECT * FROM kept;");
    EXPECT_EQ(Handle(Request(u"user", u"C:\\Other")), 5U);
    EXPECT_THAT(StartErrors(),
                ElementsAre(ServiceError("HandleChangeListenPathProcess",
                                         "Failed to update user table and clear file change record table")));
    ExpectNoListenThread();
}

// ---- A task is running

TEST_F(StartHandlerTest, SameTaskIsRestartedFromTheStoredPositionWithCodeZero) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    View().Execute("UPDATE user SET usnLocation = usnLocation - 8;");
    log_.Clear();
    EXPECT_EQ(HandleAndRun(Request()), 0U);
    EXPECT_THAT(Traces(), Not(Contains(kChanged)));
    EXPECT_THAT(Traces(), Contains("ServiceWorkerListenThread ends"));
    EXPECT_EQ(script_.made, 2);
    EXPECT_EQ(script_.alive, 1);
    EXPECT_EQ(script_.tasks().back().startUsn, NextUsn() - 8);
}

TEST_F(StartHandlerTest, AnotherFolderReplacesARunningTaskAndRepliesThree) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    View().FillTables();
    log_.Clear();
    EXPECT_EQ(HandleAndRun(Request(u"user", u"C:\\Other")), 3U);
    EXPECT_THAT(Traces(), Contains(kChanged));
    EXPECT_THAT(Traces(), Contains(kCleared));
    EXPECT_THAT(Traces(), Contains("Path switching process"));
    EXPECT_EQ(View().RowCounts(), "0 0 0 1");
    EXPECT_EQ(script_.alive, 1);
}

TEST_F(StartHandlerTest, AnotherUserWhoIsKnownReplacesARunningTaskAndRepliesThree) {
    LogInBefore(NextUsn(), u"second");
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    EXPECT_EQ(HandleAndRun(Request(u"second")), 3U);
    EXPECT_THAT(Traces(), Contains("Continue reading USN"));
    EXPECT_EQ(View(u"second").RowCounts(), "0 0 0 1") << "changes, temporary files and held-back records";
}

TEST_F(StartHandlerTest, FirstLoginOfAnotherUserRepliesFourAndNotThree) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    log_.Clear();
    EXPECT_EQ(HandleAndRun(Request(u"second")), 4U);
    EXPECT_THAT(Traces(), Contains(kChanged));
    EXPECT_THAT(Traces(), Contains(kCleared));
    EXPECT_THAT(Traces(), Contains("First login process"));
}

TEST_F(StartHandlerTest, UserIdsAreComparedByTheirLetterCase) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    EXPECT_EQ(HandleAndRun(Request(u"USER")), 4U) << "another user, with a database of his own";
    EXPECT_THAT(Traces(), Contains(kChanged));
}

TEST_F(StartHandlerTest, TaskThatEndedByItselfIsNoRunningTask) {
    script_.run = [] { return false; };
    ASSERT_EQ(Handle(Request()), 4U);
    ASSERT_TRUE(machine_.WaitUntil([&] { return process_.listenThread.HasEnded(); }));
    script_.run = [] { return true; };
    EXPECT_EQ(HandleAndRun(Request(u"user", u"C:\\Other")), 0U);
    EXPECT_THAT(Traces(), Not(Contains(kChanged)));
}

TEST_F(StartHandlerTest, RunningTaskEndsBeforeAnythingElseIsDone) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    ipc::ListenTaskParams request = Request();
    request.databasePath.clear();
    EXPECT_EQ(Handle(request), 5U);
    EXPECT_EQ(script_.alive, 0) << "even when the request turns out to be no good";
}

// ---- Requests that come to nothing

TEST_F(StartHandlerTest, EmptyDatabasePathFails) {
    ipc::ListenTaskParams request = Request();
    request.databasePath.clear();
    EXPECT_EQ(Handle(request), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(kStart, "The database base path is empty")));
    EXPECT_THAT(process_.databaseBasePath, IsEmpty());
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, FolderThatIsNotOnNtfsFailsWithoutALineOfTheHandler) {
    machine_.files().SetFileSystem(u'D', u"FAT32");
    EXPECT_EQ(Handle(Request(u"user", u"D:\\Sync")), 5U);
    EXPECT_EQ(Handle(Request(u"user", u"no drive")), 5U);
    EXPECT_THAT(StartErrors(), IsEmpty());
    EXPECT_EQ(process_.databaseBasePath, u"C:\\ProgramData\\Base");
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, DatabasePathWithATrailingBackslashGivesTheSameFile) {
    ASSERT_EQ(HandleAndRun(Request()), 4U);
    ipc::ListenTaskParams request = Request();
    request.databasePath += u'\\';
    EXPECT_EQ(HandleAndRun(request), 0U) << "the user is known there";
    EXPECT_EQ(process_.databaseBasePath, u"C:\\ProgramData\\Base\\");
}

TEST_F(StartHandlerTest, DatabaseThatCannotBeReadFails) {
    machine_.faults().Fail({.call = "Sqlite.", .forEver = true});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(kStart, "Failed to query user information")));
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, UserWhoseRowCannotBeReadIsNotTakenForANewOne) {
    LogInBefore(NextUsn());
    const std::string position = View().Ask("SELECT usnLocation FROM user");
    // The three before it are the preparation's, which looks for the journal mode and for columns.
    machine_.faults().Fail({.call = "Sqlite.Step", .nth = 4, .code = SQLITE_CORRUPT});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(kStart, "Failed to query user information")));
    EXPECT_EQ(View().RowCounts(), "1 1 1 1");
    EXPECT_EQ(View().Ask("SELECT usnLocation FROM user"), position);
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, UserWhoseRowStaysBusyIsTakenForANewOne) {
    LogInBefore(NextUsn());
    constexpr std::uint64_t kFirstLook = 4;  // after the preparation's
    constexpr std::uint64_t kLooks = 6;
    for (std::uint64_t look = 0; look < kLooks; ++look) {
        machine_.faults().Fail({.call = "Sqlite.Step", .nth = kFirstLook + look, .code = SQLITE_BUSY});
    }
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_THAT(StartErrors(),
                Contains(ServiceError("HandleUserFirstLoginProcess", "Failed to insert the user table")));
    EXPECT_EQ(View().RowCounts(), "0 0 0 0") << "a known limit: the changes that the client had not taken are gone";
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, UserIdWithoutADigestFailsAndTouchesNoDatabase) {
    machine_.faults().Fail({.call = "Digest.MdCtxNew"});
    EXPECT_EQ(Handle(Request()), 5U);
    EXPECT_EQ(machine_.faults().calls("Sqlite.OpenV2"), 0U);
    ExpectNoListenThread();
}

TEST_F(StartHandlerTest, ThreadThatCannotBeStartedFailsInEachProcess) {
    struct Row {
        const char* function;
        std::uint32_t (StartHandler::*process)(const ipc::ListenTaskParams&);
    };
    const Row rows[] = {
        {"HandleUserFirstLoginProcess", &StartHandler::HandleUserFirstLoginProcess},
        {"HandleChangeListenPathProcess", &StartHandler::HandleChangeListenPathProcess},
        {"HandleChangeJournalClosureProcess", &StartHandler::HandleChangeJournalClosureProcess},
        {"HandleUsnExpirationProcess", &StartHandler::HandleUsnExpirationProcess},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.function);
        log_.Clear();
        ASSERT_TRUE(process_.database.InitSqLiteDb(PathOf(std::u16string(row.function, row.function + 12))));
        machine_.faults().Fail({.call = "Threads.StartThread"});
        EXPECT_EQ((handler_.*row.process)(Request()), 5U);
        EXPECT_THAT(StartErrors(), ElementsAre(ServiceError(row.function, "Failed to start the listening thread")));
        EXPECT_TRUE(process_.stopListenTask);
        EXPECT_FALSE(process_.listenThread.Joinable());
    }
}

TEST_F(StartHandlerTest, EveryProcessAnswersWithItsOwnCode) {
    LogInBefore(NextUsn());
    ASSERT_TRUE(process_.database.InitSqLiteDb(PathOf()));
    EXPECT_EQ(handler_.HandleChangeListenPathProcess(Request()), 0U);
    worker_.FinishCurrentListenTask();
    EXPECT_EQ(handler_.HandleChangeJournalClosureProcess(Request()), 1U);
    worker_.FinishCurrentListenTask();
    EXPECT_EQ(handler_.HandleUsnExpirationProcess(Request()), 2U);
    worker_.FinishCurrentListenTask();
    View().Execute("DELETE FROM user;");
    EXPECT_EQ(handler_.HandleUserFirstLoginProcess(Request()), 4U);
}

}  // namespace
}  // namespace tavi::listen
