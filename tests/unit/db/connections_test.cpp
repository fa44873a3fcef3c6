#include <stdexcept>

#include "db/sqlite_constants.h"
#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;
using Connections = DatabaseTest;

TEST_F(Connections, ReadWriteOpensWithItsFlagsAndTheBusyHandler) {
    Init();
    sqlite3* handle = nullptr;
    EXPECT_TRUE(database_.OpenDb(handle));
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "BusyHandler"}), (Lines{"OpenV2 0x8002", "BusyHandler"}));
    EXPECT_EQ(sqlite_.busyHandler(), &BusyRetryHandler);
    EXPECT_TRUE(database_.CloseDb(handle));
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Connections, ReadOnlyOpensWithItsFlagsAndTheBusyHandler) {
    Init();
    sqlite3* handle = nullptr;
    EXPECT_TRUE(database_.OpenDbReadOnly(handle));
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "BusyHandler"}), (Lines{"OpenV2 0x8001", "BusyHandler"}));
    EXPECT_EQ(sqlite3_db_readonly(handle, "main"), 1);
    EXPECT_TRUE(database_.CloseDb(handle));
}

TEST_F(Connections, CreatingOpensWithItsFlagsAndSwitchesToWal) {
    ASSERT_EQ(platform_.paths.SHCreateDirectoryExW(kFolder), 0);
    database_.InitSqLiteDb(kPath);
    EXPECT_EQ(sqlite_.Calls({"OpenV2 0x8006", "Exec PRAGMA", "Free"}),
              (Lines{"OpenV2 0x8006", "Exec PRAGMA journal_mode=WAL;", "Free"}));
    EXPECT_EQ(sqlite_.Count("OpenV2 0x8006"), 1);
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
}

TEST_F(Connections, FailedOpenIsLoggedClosedAndGivesNoHandle) {
    Init();
    sqlite_.Answer("OpenV2", SQLITE_CANTOPEN);
    sqlite3* handle = nullptr;
    EXPECT_FALSE(database_.OpenDb(handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(sqlite_.calls(), (Lines{"OpenV2 0x8002", "Errcode", "CloseV2"}));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to open the database,error reason:14"});
    EXPECT_EQ(sqlite_.OpenThings(), 0U);
}

TEST_F(Connections, OpenWithoutMemoryForAHandleIsLoggedToo) {
    Init();
    sqlite_.Answer("OpenV2", SQLITE_NOMEM);
    sqlite3* handle = nullptr;
    EXPECT_FALSE(database_.OpenDb(handle));
    EXPECT_EQ(sqlite_.Count("CloseV2"), 0);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to open the database,error reason:7"});
}

TEST_F(Connections, ConnectionWithoutBusyHandlerIsAccepted) {
    Init();
    sqlite_.Answer("BusyHandler", SQLITE_MISUSE);
    sqlite3* handle = nullptr;
    EXPECT_TRUE(database_.OpenDb(handle));
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to set busy_handle,error reason:21"});
    EXPECT_TRUE(database_.CloseDb(handle));
}

TEST_F(Connections, FailedReadOnlyOpenLogsTheReturnedCodeAndLeaksNothing) {
    Init();
    sqlite_.Answer("OpenV2", SQLITE_CANTOPEN);
    sqlite3* handle = nullptr;
    EXPECT_FALSE(database_.OpenDbReadOnly(handle));
    EXPECT_EQ(sqlite_.calls(), (Lines{"OpenV2 0x8001", "CloseV2"}));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDbReadOnly/Failed to open the read-only database,error reason:14"});
    EXPECT_EQ(sqlite_.OpenThings(), 0U);
}

TEST_F(Connections, ReadOnlyConnectionWithoutBusyHandlerIsAccepted) {
    Init();
    sqlite_.Answer("BusyHandler", SQLITE_MISUSE);
    sqlite3* handle = nullptr;
    EXPECT_TRUE(database_.OpenDbReadOnly(handle));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDbReadOnly/Set busy handler error,error reason:21"});
    EXPECT_EQ(sqlite_.Count("Errcode"), 0);
    EXPECT_TRUE(database_.CloseDb(handle));
}

TEST_F(Connections, ClosingNothingSucceedsSilently) {
    sqlite3* handle = nullptr;
    EXPECT_TRUE(database_.CloseDb(handle));
    EXPECT_TRUE(sqlite_.calls().empty());
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Connections, FailedCloseIsLoggedAndKeepsTheVariable) {
    Init();
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    sqlite3* const before = handle;
    sqlite_.OnCall(
        [](const std::string& call) { return call == "CloseV2" ? std::optional<int>(SQLITE_MISUSE) : std::nullopt; });
    EXPECT_FALSE(database_.CloseDb(handle));
    EXPECT_EQ(handle, before);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/CloseDb/Failed to close the database,error reason:21"});
}

TEST_F(Connections, ExceptionWhileOpeningIsLoggedByItsFamily) {
    Init();
    sqlite3* handle = nullptr;
    sqlite_.ThrowOn("OpenV2", 1, [] { throw std::runtime_error("broken"); });
    EXPECT_FALSE(database_.OpenDb(handle));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to open the database: exception"});
    Forget();
    sqlite_.ThrowOn("BusyHandler", 1, [] { throw 1; });
    EXPECT_FALSE(database_.OpenDb(handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to open the database"});
    EXPECT_EQ(sqlite_.OpenThings(), 0U);
}

TEST_F(Connections, NothingIsThrownOutOfTheConnectionLayer) {
    Init();
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    sqlite_.OnCall([](const std::string& call) -> std::optional<int> {
        if (call != "CloseV2") {
            throw std::runtime_error("broken");
        }
        return std::nullopt;
    });
    EXPECT_FALSE(database_.BeginDbTransaction(handle));
    EXPECT_FALSE(database_.CommitDbTransaction(handle));
    EXPECT_FALSE(database_.RollbackDbTransaction(handle));
    EXPECT_FALSE(database_.ExecuteSQLThatIsNotQuery(handle, "SELECT 1;"));
    EXPECT_FALSE(database_.CreateDb());
    sqlite3* other = nullptr;
    EXPECT_FALSE(database_.OpenDbReadOnly(other));
    EXPECT_TRUE(database_.CloseDb(handle));
}

TEST_F(Connections, TransactionsRunTheirTexts) {
    Init();
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    EXPECT_TRUE(database_.BeginDbTransaction(handle));
    EXPECT_TRUE(database_.CommitDbTransaction(handle));
    EXPECT_TRUE(database_.BeginDbTransaction(handle));
    EXPECT_TRUE(database_.RollbackDbTransaction(handle));
    EXPECT_EQ(sqlite_.Calls({"Exec"}), (Lines{"Exec begin transaction;", "Exec commit transaction;",
                                              "Exec begin transaction;", "Exec rollback;"}));
    database_.CloseDb(handle);
}

TEST_F(Connections, FailedTransactionTextsAreLoggedWithTheirCode) {
    Init();
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    sqlite_.Answer("Exec", SQLITE_BUSY);
    EXPECT_FALSE(database_.BeginDbTransaction(handle));
    EXPECT_FALSE(database_.CommitDbTransaction(handle));
    EXPECT_FALSE(database_.RollbackDbTransaction(handle));
    EXPECT_EQ(Errors(),
              (Lines{"SqLite3Operator/BeginDbTransaction/Failed to start the transaction,error reason:5",
                     "SqLite3Operator/CommitDbTransaction/Failed to commit the transaction,error reason:5",
                     "SqLite3Operator/RollbackDbTransaction/Failed to roll back the transaction,error reason:5"}));
    EXPECT_EQ(sqlite_.Count("Exec"), 3);  // no retry beyond the busy handler's
    sqlite_.MakeEverything();
    database_.CloseDb(handle);
}

class Execution : public DatabaseTest {
protected:
    void SetUp() override {
        Init();
        ASSERT_TRUE(database_.OpenDb(handle_));
        Forget();
    }
    void TearDown() override {
        sqlite_.MakeEverything();
        database_.CloseDb(handle_);
    }
    void AnswerInTurn(std::vector<int> results) {
        sqlite_.OnCall([results = std::move(results),
                        next = 0U](const std::string& call) mutable -> std::optional<int> {
            return call.starts_with("Exec") && next < results.size() ? std::optional(results[next++]) : std::nullopt;
        });
    }
    bool Execute() { return database_.ExecuteSQLThatIsNotQuery(handle_, "DELETE FROM user;"); }

    sqlite3* handle_ = nullptr;
};

TEST_F(Execution, WithoutHandleOrTextIsRefused) {
    EXPECT_FALSE(database_.ExecuteSQLThatIsNotQuery(nullptr, "SELECT 1;"));
    EXPECT_FALSE(database_.ExecuteSQLThatIsNotQuery(handle_, ""));
    const std::string line = "SQLite3Operator/ExecuteSQLThatIsNotQuery/db is nullptr or sqlCmd is empty";
    EXPECT_EQ(Errors(), (Lines{line, line}));
    EXPECT_EQ(sqlite_.Count("Exec"), 0);
}

TEST_F(Execution, BusyStatementIsTriedSixTimesASecondApart) {
    sqlite_.Answer("Exec", SQLITE_BUSY);
    const std::int64_t start = Now();
    EXPECT_FALSE(Execute());
    EXPECT_EQ(sqlite_.Count("Exec"), 6);
    EXPECT_EQ(Now() - start, 5000);
    EXPECT_EQ(Errors(),
              Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 5"});
}

TEST_F(Execution, SucceedsWhenTheLockIsGoneInTime) {
    AnswerInTurn({SQLITE_BUSY, SQLITE_BUSY, SQLITE_BUSY, SQLITE_BUSY, SQLITE_BUSY});
    EXPECT_TRUE(Execute());
    EXPECT_EQ(sqlite_.Count("Exec"), 6);
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Execution, InputOutputErrorIsRetriedOnlyAfterABusyTry) {
    AnswerInTurn({SQLITE_IOERR});
    EXPECT_FALSE(Execute());
    EXPECT_EQ(sqlite_.Count("Exec"), 1);
    Forget();
    AnswerInTurn({SQLITE_BUSY, SQLITE_IOERR, SQLITE_IOERR});
    EXPECT_TRUE(Execute());
    EXPECT_EQ(sqlite_.Count("Exec"), 4);
}

TEST_F(Execution, AnyOtherResultEndsTheRetries) {
    AnswerInTurn({SQLITE_BUSY, SQLITE_FULL});
    EXPECT_FALSE(Execute());
    EXPECT_EQ(sqlite_.Count("Exec"), 2);
    EXPECT_EQ(Errors(),
              Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 13"});
}

TEST_F(Execution, OutsideATransactionWhatRanBeforeTheFailingStatementStays) {
    EXPECT_FALSE(database_.ExecuteSQLThatIsNotQuery(handle_,
                                                    "INSERT INTO user VALUES('a','b',1);INSERT INTO nothing VALUES(1);"
                                                    "INSERT INTO user VALUES('c','d',2);"));
    EXPECT_EQ(Rows("SELECT userId FROM user;"), Lines{"a"});
}

TEST_F(Execution, BeganTransactionLocksNothingUntilItsFirstStatement) {
    ASSERT_TRUE(database_.BeginDbTransaction(handle_));
    RunSql("INSERT INTO user VALUES('somebody','else',1);");
    EXPECT_TRUE(Execute());
    OtherConnection other(HostPath());
    EXPECT_EQ(sqlite3_exec(other.handle(), "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_BUSY);
    EXPECT_TRUE(database_.RollbackDbTransaction(handle_));
    EXPECT_EQ(Rows("SELECT userId FROM user;"), Lines{"somebody"});
}

TEST_F(Execution, AfterAFailedCommitTheTransactionCanBeCommittedAgain) {
    ASSERT_TRUE(database_.BeginDbTransaction(handle_));
    ASSERT_TRUE(database_.ExecuteSQLThatIsNotQuery(handle_, "INSERT INTO user VALUES('a','b',1);"));
    sqlite_.Answer("Exec commit", SQLITE_BUSY, 1);
    EXPECT_FALSE(database_.CommitDbTransaction(handle_));
    EXPECT_EQ(platform_.sqlite.GetAutocommit(handle_), 0);
    EXPECT_TRUE(database_.CommitDbTransaction(handle_));
    EXPECT_EQ(Rows("SELECT userId FROM user;"), Lines{"a"});
}

TEST_F(Execution, RollbackWithoutATransactionIsAFailure) {
    EXPECT_FALSE(database_.RollbackDbTransaction(handle_));
    EXPECT_EQ(Errors(),
              Lines{"SqLite3Operator/RollbackDbTransaction/Failed to roll back the transaction,error reason:1"});
}

TEST_F(Execution, RunsSeveralStatements) {
    EXPECT_TRUE(database_.ExecuteSQLThatIsNotQuery(
        handle_, "INSERT INTO user VALUES('a','b',1);INSERT INTO user VALUES('c','d',2);"));
    EXPECT_EQ(Rows("SELECT * FROM user ORDER BY userId;"), (Lines{"a|b|1", "c|d|2"}));
}

// What a connection refuses although the file asks for it.
class Hardening : public DatabaseTest {};

TEST_F(Hardening, EveryConnectionGetsTheDefensiveSettings) {
    database_.InitSqLiteDb(kPath);
    const int opened = sqlite_.Count("OpenV2");
    for (const char* setting :
         {"DbConfig 1010 1", "DbConfig 1017 0", "DbConfig 1003 0", "DbConfig 1015 0", "DbConfig 1005 0"}) {
        EXPECT_EQ(sqlite_.Count(setting), opened) << setting;
    }
}

TEST_F(Hardening, NoConnectionIsOpenedWhileSuperJournalsCannotBeRefused) {
    Init();
    sqlite_.Answer("RegisterVfsRefusing 0x4000", SQLITE_ERROR);
    sqlite3* handle = nullptr;
    EXPECT_FALSE(database_.OpenDb(handle));
    EXPECT_FALSE(database_.OpenDbReadOnly(handle));
    EXPECT_FALSE(database_.CreateDb());
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(sqlite_.Count("OpenV2"), 0);
    EXPECT_EQ(Errors(), (Lines{"SqLite3Operator/OpenDb/Failed to open the database,error reason:1",
                               "SqLite3Operator/OpenDbReadOnly/Failed to open the read-only database,error reason:1",
                               "SqLite3Operator/CreateDb/Failed to create the database,errorReason is 1"}));
}

TEST_F(Hardening, TriggerInTheFileDoesNotRun) {
    Init();
    RunSql("CREATE TRIGGER planted AFTER INSERT ON user BEGIN DELETE FROM user; END;");
    EXPECT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"C:\\Sync", .usnLocation = 7}));
    EXPECT_EQ(Rows("SELECT userId FROM user;"), Lines{"user-1"});
}

TEST_F(Hardening, ViewInPlaceOfATableIsNotRead) {
    Init();
    RunSql("DROP TABLE user; CREATE VIEW user AS SELECT 'x' userId, 'y' listenPath, 1 usnLocation;");
    EXPECT_FALSE(database_.SelectUserTableByUserId(u"x").ok);
}

TEST_F(Hardening, SchemaCannotBeWrittenDirectly) {
    Init();
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    EXPECT_FALSE(database_.ExecuteSQLThatIsNotQuery(
        handle, "PRAGMA writable_schema=ON; DELETE FROM sqlite_schema WHERE name='user';"));
    database_.CloseDb(handle);
    EXPECT_EQ(Rows("SELECT count(*) FROM sqlite_schema WHERE name='user';"), Lines{"1"});
}

TEST_F(Hardening, RefusedSettingChangesNothingElse) {
    sqlite_.Answer("DbConfig", SQLITE_ERROR);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"C:\\Sync", .usnLocation = 7}));
    EXPECT_EQ(Errors(), Lines{});
}

}  // namespace
}  // namespace tavi::db
