#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;
using PathMappingTable = DatabaseTest;

const PathMappingEntry kEntry{
    .fileReferenceNumber = 0xFFFF000000000001, .parentFileReferenceNumber = 5, .deleted = true, .fileName = u"folder"};

TEST_F(PathMappingTable, InsertsInATransactionOfItsOwn) {
    Init();
    EXPECT_TRUE(database_.InsertPathMappingTable({kEntry}));
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "Exec", "PrepareV2", "Bind", "Step", "Reset", "Finalize", "CloseV2"}),
              (Lines{"OpenV2 0x8002", "Exec begin transaction;",
                     "PrepareV2 INSERT OR REPLACE INTO pathMapping (fileReferenceNumber, fileName, "
                     "parentFileReferenceNumber, deleted) VALUES (?, ?, ?, ?);",
                     "BindInt64 1 -281474976710655", "BindText16 2 folder", "BindInt64 3 5", "BindInt 4 1", "Step",
                     "Reset", "Finalize", "Exec commit transaction;", "CloseV2"}));
    EXPECT_EQ(Rows("SELECT * FROM pathMapping;"), Lines{"-281474976710655|folder|5|1"});
}

TEST_F(PathMappingTable, EntryOfTheSameDirectoryReplacesTheStoredOne) {
    Init();
    PathMappingEntry renamed = kEntry;
    renamed.fileName = u"renamed";
    EXPECT_TRUE(database_.InsertPathMappingTable({kEntry}));
    EXPECT_TRUE(database_.InsertPathMappingTable({renamed}));
    EXPECT_EQ(Rows("SELECT fileName FROM pathMapping;"), Lines{"renamed"});
}

TEST_F(PathMappingTable, FailingElementCostsOnlyItself) {
    Init();
    sqlite_.OnCall([steps = 0](const std::string& call) mutable -> std::optional<int> {
        return call == "Step" && ++steps == 2 ? std::optional<int>(SQLITE_CONSTRAINT) : std::nullopt;
    });
    EXPECT_TRUE(database_.InsertPathMappingTable({{1, 5, false, u"a"}, {2, 5, false, u"b"}, {3, 5, false, u"c"}}));
    EXPECT_EQ(Errors(),
              Lines{"SqLite3Operator/InsertPathMappingTable/Failed to insert the file change record table,reason:19"});
    EXPECT_EQ(Rows("SELECT fileName FROM pathMapping;"), (Lines{"a", "c"}));
}

TEST_F(PathMappingTable, CommitsAndClosesEvenWhenItCouldNotPrepare) {
    Init();
    sqlite_.Answer("PrepareV2", SQLITE_ERROR);
    EXPECT_FALSE(database_.InsertPathMappingTable({kEntry}));
    EXPECT_EQ(sqlite_.Calls({"Exec", "CloseV2"}),
              (Lines{"Exec begin transaction;", "Exec commit transaction;", "CloseV2"}));
}

TEST_F(PathMappingTable, IsReadByPositionNotByTheQuerysOrder) {
    Init();
    RunSql(
        "INSERT INTO pathMapping VALUES(-281474976710655,'17folder',4294967296,1);"
        "INSERT INTO pathMapping VALUES(8,'name',3,0);");
    std::vector<PathMappingEntry> list;
    EXPECT_TRUE(database_.SelectPathMappingTable(list));
    EXPECT_EQ(sqlite_.Calls({"OpenV2", "PrepareV2"}),
              (Lines{"OpenV2 0x8001",
                     "PrepareV2 SELECT fileReferenceNumber, fileName, parentFileReferenceNumber, deleted FROM "
                     "pathMapping;"}));
    const Lines columns = sqlite_.Calls({"Column"});
    EXPECT_EQ(Lines(columns.begin(), columns.begin() + 4),
              (Lines{"ColumnInt64 0", "ColumnInt64 1", "ColumnInt 2", "ColumnText16 3"}));
    // The name's leading digits as the parent, the parent's low 32 bits as the flag, the flag's text as the name.
    EXPECT_EQ(list,
              (std::vector<PathMappingEntry>{
                  {.fileReferenceNumber = 0xFFFF000000000001,
                   .parentFileReferenceNumber = 17,
                   .deleted = false,
                   .fileName = u"1"},
                  {.fileReferenceNumber = 8, .parentFileReferenceNumber = 0, .deleted = true, .fileName = u"0"}}));
}

TEST_F(PathMappingTable, InsertsAndCommitsAlsoWhenTheTransactionCouldNotBegin) {
    Init();
    sqlite_.Answer("Exec begin", SQLITE_BUSY);
    EXPECT_TRUE(database_.InsertPathMappingTable({kEntry}));
    EXPECT_EQ(sqlite_.Calls({"Exec", "CloseV2"}),
              (Lines{"Exec begin transaction;", "Exec commit transaction;", "CloseV2"}));
    EXPECT_EQ(Errors(), (Lines{"SqLite3Operator/BeginDbTransaction/Failed to start the transaction,error reason:5",
                               "SqLite3Operator/CommitDbTransaction/Failed to commit the transaction,error reason:1"}));
    EXPECT_EQ(Rows("SELECT fileName FROM pathMapping;"), Lines{"folder"});
}

TEST_F(PathMappingTable, FailedCommitIsLoggedAndNoFailure) {
    Init();
    sqlite_.Answer("Exec commit", SQLITE_BUSY);
    EXPECT_TRUE(database_.InsertPathMappingTable({kEntry}));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/CommitDbTransaction/Failed to commit the transaction,error reason:5"});
    EXPECT_EQ(Rows("SELECT fileName FROM pathMapping;"), Lines{});
}

TEST_F(PathMappingTable, ReadThatBreaksOffIsNotTakenForTheWhole) {
    Init();
    EXPECT_TRUE(database_.InsertPathMappingTable({{1, 5, false, u"a"}, {2, 5, false, u"b"}}));
    sqlite_.OnCall([steps = 0](const std::string& call) mutable -> std::optional<int> {
        return call == "Step" && ++steps == 2 ? std::optional<int>(SQLITE_CORRUPT) : std::nullopt;
    });
    std::vector<PathMappingEntry> list;
    EXPECT_FALSE(database_.SelectPathMappingTable(list));
    EXPECT_EQ(list.size(), 1U);
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(PathMappingTable, RowsAreAppended) {
    Init();
    EXPECT_TRUE(database_.InsertPathMappingTable({kEntry}));
    std::vector<PathMappingEntry> list{kEntry};
    EXPECT_TRUE(database_.SelectPathMappingTable(list));
    EXPECT_EQ(list.size(), 2U);
}

TEST_F(PathMappingTable, NullInPlaceOfTheNameIsAFailureAndTheRowIsNotGiven) {
    MakeFile("CREATE TABLE pathMapping (fileReferenceNumber, fileName, parentFileReferenceNumber, deleted);");
    ASSERT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    RunSql("INSERT INTO pathMapping VALUES(1,'a',2,0);INSERT INTO pathMapping VALUES(2,'b',2,NULL);");
    std::vector<PathMappingEntry> list;
    EXPECT_FALSE(database_.SelectPathMappingTable(list));
    EXPECT_EQ(list.size(), 1U);
    EXPECT_EQ(Errors(), Lines{});
}

}  // namespace
}  // namespace tavi::db
