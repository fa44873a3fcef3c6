#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;
using UserTable = DatabaseTest;

const UserRecord kRecord{.userId = kUser, .listenPath = u"C:\\Sync", .usnLocation = 0x123456789A};

TEST_F(UserTable, UnknownUserIsAnEmptyRecordAndNoFailure) {
    Init();
    const UserQueryResult result = database_.SelectUserTableByUserId(kUser);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.record.userId, u"");
    EXPECT_EQ(result.record.listenPath, u"");
    EXPECT_EQ(result.record.usnLocation, 0);
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(UserTable, InsertedUserIsReadBack) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    const UserQueryResult result = database_.SelectUserTableByUserId(kUser);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.record.userId, kUser);
    EXPECT_EQ(result.record.listenPath, u"C:\\Sync");
    EXPECT_EQ(result.record.usnLocation, 0x123456789A);
    EXPECT_EQ(result.record.recordSplitInterval, 0U);
}

TEST_F(UserTable, TextsOutsideTheBasicPlaneAndQuotesAreStoredAsTheyAre) {
    Init();
    const UserRecord record{
        .userId = u"\u00FC'; DROP TABLE user; --", .listenPath = u"C:\\\U0001F4C1", .usnLocation = 1};
    EXPECT_TRUE(database_.InsertUserTable(record));
    EXPECT_EQ(database_.SelectUserTableByUserId(record.userId).record.listenPath, record.listenPath);
}

TEST_F(UserTable, OtherUsersRowIsNotRead) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    EXPECT_EQ(database_.SelectUserTableByUserId(u"USER-1").record.userId, u"");
}

TEST_F(UserTable, SelectsReadOnlyWithItsBindAndItsColumns) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    Forget();
    database_.SelectUserTableByUserId(kUser);
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "PrepareV2", "Bind", "Step", "Column", "Finalize", "CloseV2"}),
              (Lines{"OpenV2 0x8001", "PrepareV2 SELECT userId, listenPath, usnLocation FROM user WHERE userId=?;",
                     "BindText16 1 user-1", "Step", "ColumnText16 0", "ColumnText16 1", "ColumnInt64 2", "Finalize",
                     "CloseV2"}));
}

TEST_F(UserTable, InsertsWithItsBinds) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "PrepareV2", "Bind", "Step", "Finalize", "CloseV2"}),
              (Lines{"OpenV2 0x8002", "PrepareV2 INSERT INTO user (userId, listenPath, usnLocation) VALUES(?, ?, ?);",
                     "BindText16 1 user-1", "BindText16 2 C:\\Sync", "BindInt64 3 78187493530", "Step", "Finalize",
                     "CloseV2"}));
}

TEST_F(UserTable, UpdatesWithItsBinds) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"D:\\Old", .usnLocation = 1}));
    Forget();
    EXPECT_TRUE(database_.UpdateUserTable(kRecord));
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "PrepareV2", "Bind", "Step", "Finalize", "CloseV2"}),
              (Lines{"OpenV2 0x8002", "PrepareV2 UPDATE user SET listenPath=?,usnLocation=? WHERE userId=?;",
                     "BindText16 1 C:\\Sync", "BindInt64 2 78187493530", "BindText16 3 user-1", "Step", "Finalize",
                     "CloseV2"}));
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"user-1|C:\\Sync|78187493530"});
}

TEST_F(UserTable, SecondInsertionOfAUserFails) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    EXPECT_FALSE(database_.InsertUserTable(kRecord));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/InsertUserTable/Failed to execute the insertion statement function"});
}

TEST_F(UserTable, PositionIsUpdatedOnTheCallersConnection) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    Forget();
    EXPECT_TRUE(database_.UpdateUSNOfUserTableSql(handle, 99, kUser));
    EXPECT_EQ(sqlite_.calls(), (Lines{"PrepareV2 UPDATE user SET usnLocation=? WHERE userId=?;", "BindInt64 1 99",
                                      "BindText16 2 user-1", "Step", "Finalize"}));
    database_.CloseDb(handle);
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"user-1|C:\\Sync|99"});
}

TEST_F(UserTable, ReadThatStaysBusyFindsNobodyAfterSixSteps) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    Forget();
    sqlite_.Answer("Step", SQLITE_BUSY);
    const std::int64_t start = Now();
    const UserQueryResult result = database_.SelectUserTableByUserId(kUser);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.record.userId, u"");
    EXPECT_EQ(sqlite_.Count("Step"), 6);
    EXPECT_EQ(Now() - start, 5000);
}

// A known user taken for a new one would lose what is stored for him.
TEST_F(UserTable, ReadThatFailsIsAFailureNotAnUnknownUser) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    for (const int code :
         {SQLITE_IOERR, SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_NOMEM, SQLITE_ERROR, SQLITE_LOCKED, SQLITE_INTERRUPT}) {
        Forget();
        sqlite_.Answer("Step", code);
        const UserQueryResult result = database_.SelectUserTableByUserId(kUser);
        EXPECT_FALSE(result.ok) << code;
        EXPECT_EQ(result.record.userId, u"");
        EXPECT_EQ(sqlite_.Count("Step"), 1);
        EXPECT_EQ(Errors(), Lines{});
    }
    Forget();
    EXPECT_EQ(database_.SelectUserTableByUserId(kUser).record.userId, kUser);
}

TEST_F(UserTable, ReadWhoseParameterCannotBeBoundIsAFailureNotAnUnknownUser) {
    Init();
    sqlite_.Answer("BindText16", SQLITE_NOMEM);
    EXPECT_FALSE(database_.SelectUserTableByUserId(kUser).ok);
    EXPECT_EQ(sqlite_.Count("Step"), 0);
    EXPECT_EQ(Errors(),
              Lines{"SqLite3Operator/SelectUserTableByUserId/Failed to create the stmt object,error reason:7"});
}

// Tables that somebody else made need not keep what the schema promises.
TEST_F(UserTable, NullWhereNoneMayBeIsAFailureNotAnEmptyText) {
    MakeFile("CREATE TABLE user (userId, listenPath, usnLocation);");
    ASSERT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    RunSql("INSERT INTO user VALUES('user-1',NULL,7);");
    const UserQueryResult result = database_.SelectUserTableByUserId(kUser);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.record.userId, u"");
    EXPECT_EQ(result.record.usnLocation, 0);
    RunSql("UPDATE user SET listenPath='';");
    EXPECT_TRUE(database_.SelectUserTableByUserId(kUser).ok);
}

TEST_F(UserTable, UpdatesOfAnUnknownUserSucceedAndStoreNothing) {
    Init();
    EXPECT_TRUE(database_.UpdateUserTable(kRecord));
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    EXPECT_TRUE(database_.UpdateUSNOfUserTableSql(handle, 99, kUser));
    database_.CloseDb(handle);
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{});
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(UserTable, SecondInsertionLeavesTheFirstRowAsItIs) {
    Init();
    EXPECT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"D:\\Old", .usnLocation = 1}));
    EXPECT_FALSE(database_.InsertUserTable(kRecord));
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"user-1|D:\\Old|1"});
}

// The operator has no state but its path: what runs side by side meets only in the file.
TEST_F(UserTable, OperationsOnTwoThreadsBothSucceed) {
    Init();
    bool other = false;
    const platform::Handle thread = platform_.threads.StartThread([&] {
        for (int i = 0; i < 20; ++i) {
            other = database_.UpdateUserTable(kRecord);
            platform_.threads.Sleep(1);
        }
    });
    ASSERT_NE(thread, platform::kNullHandle);
    EXPECT_TRUE(database_.InsertUserTable(kRecord));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(database_.SelectUserTableByUserId(kUser).record.userId, kUser);
        platform_.threads.Sleep(1);
    }
    EXPECT_TRUE(platform_.threads.WaitForThread(thread, platform::kInfinite));
    platform_.threads.CloseThread(thread);
    EXPECT_TRUE(other);
    EXPECT_EQ(Errors(), Lines{});
}

}  // namespace
}  // namespace tavi::db
