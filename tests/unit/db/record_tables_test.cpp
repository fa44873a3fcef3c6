#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using records::FileChangeReason;
using Lines = std::vector<std::string>;

// Works on a connection of the test's, as the save does.
class RecordTables : public DatabaseTest {
protected:
    void SetUp() override {
        Init();
        ASSERT_TRUE(database_.OpenDb(handle_));
        Forget();
    }
    void TearDown() override { database_.CloseDb(handle_); }

    sqlite3* handle_ = nullptr;
};

TEST_F(RecordTables, EmptyListsSucceedWithoutTouchingTheDatabase) {
    EXPECT_TRUE(database_.InsertDelayRecordTable(handle_, {}));
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {}));
    EXPECT_TRUE(database_.InsertTemporaryFileTableSql(handle_, {}));
    EXPECT_TRUE(database_.InsertPathMappingTable({}));
    EXPECT_TRUE(sqlite_.calls().empty());
}

TEST_F(RecordTables, DelayRecordIsBoundColumnByColumn) {
    EXPECT_TRUE(database_.InsertDelayRecordTable(handle_, {Change(u"a.tmp", FileChangeReason::kRename, u"old.txt")}));
    EXPECT_EQ(sqlite_.calls(),
              (Lines{"PrepareV2 INSERT INTO delayRecord (filePath,originalFilePath,fileAttributes,isTempFile,reason,"
                     "delayCount,time_stamp,frn) VALUES (?,?,?,?,?,?,?,?);",
                     "BindText16 1 a.tmp", "BindText16 2 old.txt", "BindInt 3 -2147483616", "BindInt 4 1",
                     "BindInt 5 5", "BindInt 6 3", "BindInt64 7 1700000000123", "BindInt64 8 -281474976710655", "Step",
                     "Reset", "Finalize"}));
}

TEST_F(RecordTables, ChangeIsBoundColumnByColumn) {
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {Change(u"b.txt", FileChangeReason::kMove, u"a.txt")}));
    const Lines calls = sqlite_.calls();
    EXPECT_EQ(calls.front(), "PrepareV2 " + database_.statements()[SqlText::kUpsertFileChangeRecord]);
    EXPECT_EQ(Lines(calls.begin() + 1, calls.end()),
              (Lines{"BindInt64 1 1700000000123", "BindText16 2 b.txt", "BindText16 3 a.txt", "BindInt 4 -2147483616",
                     "BindInt 5 4", "BindInt64 6 -281474976710655", "BindInt64 7 -1", "Step", "Reset", "Finalize"}));
}

TEST_F(RecordTables, TemporaryFileIsBoundColumnByColumn) {
    EXPECT_TRUE(database_.InsertTemporaryFileTableSql(handle_, {{u"x.tmp", 0x20, 7}}));
    EXPECT_EQ(
        sqlite_.calls(),
        (Lines{"PrepareV2 INSERT OR REPLACE INTO temporaryFile (filePath,fileAttributes,isHandle) VALUES (?,?,?);",
               "BindText16 1 x.tmp", "BindInt 2 32", "BindInt 3 1", "Step", "Reset", "Finalize"}));
}

TEST_F(RecordTables, OneStatementServesAllElementsInTheirOrder) {
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {Change(u"1"), Change(u"2"), Change(u"3")}));
    EXPECT_EQ(sqlite_.Count("PrepareV2"), 1);
    EXPECT_EQ(sqlite_.Count("Reset"), 3);
    EXPECT_EQ(Rows("SELECT id, relativePath FROM fileChangeRecord ORDER BY id;"), (Lines{"1|1", "2|2", "3|3"}));
}

TEST_F(RecordTables, FirstChangeInAnEmptyTableIsInserted) {
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {Change(u"first")}));
    EXPECT_EQ(Rows("SELECT * FROM fileChangeRecord;"),
              Lines{"1|1700000000123|first||-2147483616|3|-281474976710655|-1"});
}

TEST_F(RecordTables, ReportedAgainAChangeMovesToTheEndAndKeepsItsOldReferenceNumber) {
    records::FileChangeInfo again = Change(u"a");
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {Change(u"a"), Change(u"b")}));
    again.timestamp = 42;
    again.fileAttributes = 1;
    again.frn = 8;
    again.oldfrn = 9;
    EXPECT_TRUE(database_.InsertFileChangeRecordTable(handle_, {again}));
    EXPECT_EQ(Rows("SELECT * FROM fileChangeRecord ORDER BY id;"),
              (Lines{"2|1700000000123|b||-2147483616|3|-281474976710655|-1", "3|42|a||1|3|8|-1"}));
}

TEST_F(RecordTables, ChangesThatDifferInOnePartOfTheKeyAreRowsOfTheirOwn) {
    EXPECT_TRUE(
        database_.InsertFileChangeRecordTable(handle_, {Change(u"a"), Change(u"a", FileChangeReason::kDelete),
                                                        Change(u"a", FileChangeReason::kModify, u"o"), Change(u"A")}));
    EXPECT_EQ(Rows("SELECT count(*) FROM fileChangeRecord;"), Lines{"4"});
}

TEST_F(RecordTables, SecondTemporaryFileOfThatPathReplacesTheFirst) {
    EXPECT_TRUE(database_.InsertTemporaryFileTableSql(handle_, {{u"x.tmp", 1, 0}, {u"y.tmp", 2, 0}, {u"x.tmp", 3, 1}}));
    EXPECT_EQ(Rows("SELECT filePath,fileAttributes,isHandle FROM temporaryFile ORDER BY id;"),
              (Lines{"y.tmp|2|0", "x.tmp|3|1"}));
}

TEST_F(RecordTables, FirstFailingElementEndsTheBatch) {
    const auto failSecondStep = [steps = 0](const std::string& call) mutable -> std::optional<int> {
        return call == "Step" && ++steps == 2 ? std::optional<int>(SQLITE_FULL) : std::nullopt;
    };
    const records::FileChangeInfoList three{Change(u"1"), Change(u"2"), Change(u"3")};
    sqlite_.OnCall(failSecondStep);
    EXPECT_FALSE(database_.InsertFileChangeRecordTable(handle_, three));
    EXPECT_EQ(sqlite_.Count("Step"), 2);
    Forget();
    sqlite_.OnCall(failSecondStep);
    EXPECT_FALSE(database_.InsertDelayRecordTable(handle_, three));
    EXPECT_EQ(sqlite_.Count("Step"), 2);
    Forget();
    sqlite_.OnCall(failSecondStep);
    EXPECT_FALSE(database_.InsertTemporaryFileTableSql(handle_, {{u"1"}, {u"2"}, {u"3"}}));
    EXPECT_EQ(sqlite_.Count("Step"), 2);
    Forget();
}

TEST_F(RecordTables, ElementWithAFailedBindIsNotWritten) {
    sqlite_.Answer("BindText16 3", SQLITE_NOMEM, 1);
    EXPECT_FALSE(database_.InsertFileChangeRecordTable(handle_, {Change(u"a")}));
    EXPECT_EQ(sqlite_.Count("Step"), 0);
    EXPECT_EQ(Rows("SELECT * FROM fileChangeRecord;"), Lines{});
}

TEST_F(RecordTables, DelayRecordsAreReadInOrderWithTheirColumns) {
    records::DelayRecord small = Change(u"a.tmp", FileChangeReason::kCreate, u"o");
    small.timestamp = 1234;
    records::DelayRecord second = small;
    second.fileName = u"b.tmp";
    second.isTempFile = false;
    EXPECT_TRUE(database_.InsertDelayRecordTable(handle_, {small, second}));
    Forget();
    std::vector<records::DelayRecord> list{Change(u"already there")};
    EXPECT_TRUE(database_.SelectAllDataFromDelayRecordTable(list));
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[1], small);
    EXPECT_EQ(list[2], second);
    EXPECT_EQ(list[1].oldfrn, records::kNoFrn);
    EXPECT_EQ(sqlite_.Calls({"OpenV2"}), Lines{"OpenV2 0x8001"});
    EXPECT_EQ(sqlite_.Calls({"PrepareV2"}),
              Lines{"PrepareV2 SELECT filePath, originalFilePath,fileAttributes, isTempFile, reason, delayCount, "
                    "time_stamp, frn FROM delayRecord;"});
    const Lines columns = sqlite_.Calls({"Column"});
    EXPECT_EQ(Lines(columns.begin(), columns.begin() + 8),
              (Lines{"ColumnText16 0", "ColumnText16 1", "ColumnInt64 2", "ColumnInt 3", "ColumnInt 4", "ColumnInt 5",
                     "ColumnInt 6", "ColumnInt64 7"}));
}

TEST_F(RecordTables, TimeOfADelayRecordComesBackWithItsLow32Bits) {
    EXPECT_TRUE(database_.InsertDelayRecordTable(handle_, {Change(u"a.tmp")}));
    EXPECT_EQ(Rows("SELECT time_stamp FROM delayRecord;"), Lines{"1700000000123"});
    std::vector<records::DelayRecord> list;
    EXPECT_TRUE(database_.SelectAllDataFromDelayRecordTable(list));
    ASSERT_EQ(list.size(), 1U);
    const std::int64_t stored = Change(u"a.tmp").timestamp;
    EXPECT_EQ(list[0].timestamp, static_cast<std::int32_t>(static_cast<std::uint32_t>(stored)));
}

TEST_F(RecordTables, NullInTheDelayTableIsReadAsEmpty) {
    RunSql("INSERT INTO delayRecord VALUES(1,'a',NULL,1,0,1,0,5,6);");
    std::vector<records::DelayRecord> list;
    EXPECT_TRUE(database_.SelectAllDataFromDelayRecordTable(list));
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].originalFileName, u"");
}

TEST_F(RecordTables, ReadOfDelayRecordsThatBreaksOffIsNotTakenForTheWhole) {
    EXPECT_TRUE(database_.InsertDelayRecordTable(handle_, {Change(u"1"), Change(u"2")}));
    sqlite_.OnCall([steps = 0](const std::string& call) mutable -> std::optional<int> {
        return call == "Step" && ++steps == 2 ? std::optional<int>(SQLITE_CORRUPT) : std::nullopt;
    });
    std::vector<records::DelayRecord> list;
    EXPECT_FALSE(database_.SelectAllDataFromDelayRecordTable(list));
    EXPECT_EQ(list.size(), 1U);
    Forget();
}

TEST_F(RecordTables, ClearingEmptiesAllButTheUserTable) {
    RunSql(
        "INSERT INTO user VALUES('u','p',1);"
        "INSERT INTO fileChangeRecord VALUES(1,1,'a','',0,1,1,1);"
        "INSERT INTO delayRecord VALUES(1,'a','',0,0,1,0,1,1);"
        "INSERT INTO temporaryFile VALUES(1,'a',0,0);"
        "INSERT INTO pathMapping VALUES(1,'a',2,0);");
    EXPECT_TRUE(database_.ClearRecordTables());
    EXPECT_EQ(Everything(), Lines{"user: u|p|1"});
    EXPECT_EQ(sqlite_.Calls({"Exec"}), Lines{"Exec DELETE FROM fileChangeRecord;DELETE FROM delayRecord;"
                                             "DELETE FROM temporaryFile;DELETE FROM pathMapping;"});
}

TEST_F(RecordTables, ClearingWithoutAConnectionIsAFailure) {
    sqlite_.Answer("OpenV2", SQLITE_CANTOPEN);
    EXPECT_FALSE(database_.ClearRecordTables());
    EXPECT_EQ(sqlite_.Count("Exec"), 0);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/OpenDb/Failed to open the database,error reason:14"});
}

TEST_F(RecordTables, ClearingThatCannotBeExecutedIsAFailureAndCloses) {
    sqlite_.Answer("Exec", SQLITE_FULL);
    EXPECT_FALSE(database_.ClearRecordTables());
    EXPECT_EQ(sqlite_.Count("CloseV2"), 1);
    EXPECT_EQ(Errors(),
              Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 13"});
}

TEST_F(RecordTables, UnusedTextsAreValidToo) {
    for (const SqlText text : {SqlText::kInsertFileChangeRecordUnlessReported, SqlText::kRenameFileChangeRecords,
                               SqlText::kDeleteDeletedPathMappings}) {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(handle_, database_.statements()[text].c_str(), -1, &statement, nullptr),
                  SQLITE_OK);
        sqlite3_finalize(statement);
    }
}

TEST_F(RecordTables, WhatWasWrittenBeforeTheFailingElementIsTheCallersToTakeBack) {
    ASSERT_TRUE(database_.BeginDbTransaction(handle_));
    sqlite_.OnCall([steps = 0](const std::string& call) mutable -> std::optional<int> {
        return call == "Step" && ++steps == 2 ? std::optional<int>(SQLITE_FULL) : std::nullopt;
    });
    EXPECT_FALSE(database_.InsertFileChangeRecordTable(handle_, {Change(u"1"), Change(u"2"), Change(u"3")}));
    Forget();
    EXPECT_TRUE(database_.CommitDbTransaction(handle_));
    EXPECT_EQ(Rows("SELECT relativePath FROM fileChangeRecord;"), Lines{"1"});
}

TEST_F(RecordTables, NullAsTheNameOfADelayRecordIsAFailureAndTheRowIsNotGiven) {
    RunSql(
        "DROP TABLE delayRecord; CREATE TABLE delayRecord (id INTEGER PRIMARY KEY, filePath, originalFilePath,"
        "fileAttributes, isTempFile, reason, delayCount, time_stamp, frn);"
        "INSERT INTO delayRecord VALUES(1,'a','',1,0,1,0,5,6);"
        "INSERT INTO delayRecord VALUES(2,NULL,'',1,0,1,0,5,6);");
    std::vector<records::DelayRecord> list;
    EXPECT_FALSE(database_.SelectAllDataFromDelayRecordTable(list));
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].fileName, u"a");
}

TEST_F(RecordTables, ClearingThatFailsHalfWayHasEmptiedTheTablesBefore) {
    RunSql(
        "INSERT INTO fileChangeRecord VALUES(1,1,'a','',0,1,1,1);"
        "INSERT INTO delayRecord VALUES(1,'a','',0,0,1,0,1,1);"
        "INSERT INTO pathMapping VALUES(1,'a',2,0);"
        "DROP TABLE temporaryFile;");
    EXPECT_FALSE(database_.ClearRecordTables());
    EXPECT_EQ(Rows("SELECT (SELECT count(*) FROM fileChangeRecord), (SELECT count(*) FROM delayRecord),"
                   "(SELECT count(*) FROM pathMapping);"),
              Lines{"0|0|1"});
}

}  // namespace
}  // namespace tavi::db
