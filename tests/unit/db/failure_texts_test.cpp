// Every operation that prepares a statement, and what it says when preparing, an element or an exception ends it.
#include <functional>
#include <stdexcept>

#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;

struct Operation {
    const char* name;
    std::function<bool(SqLite3Operator&, sqlite3*)> run;
    const char* prepareFailure;  // with 26 as SQLite's code
    const char* elementFailure;  // with 13 as SQLite's code; null: none
    const char* exceptionTag;
    const char* otherException;  // null: none
    const char* standardException;
    const char* throwIn;  // a call that the operation makes after preparing
};

const std::vector<Operation>& Operations() {
    static const std::vector<Operation> kOperations{
        {"SelectUserTableByUserId",
         [](SqLite3Operator& database, sqlite3*) { return database.SelectUserTableByUserId(kUser).ok; },
         "Failed to create the stmt object,error reason:26", nullptr, "SqLite3Operator", "Failed to read user table",
         "Failed to read user table: exception", "ColumnText16"},
        {"InsertUserTable",
         [](SqLite3Operator& database, sqlite3*) {
             return database.InsertUserTable({u"new", u"p", 1});
         },
         "Failed to create the stmt object", "Failed to execute the insertion statement function", nullptr, nullptr,
         nullptr, "BindInt64"},
        {"UpdateUserTable",
         [](SqLite3Operator& database, sqlite3*) {
             return database.UpdateUserTable({kUser, u"p", 1});
         },
         "Failed to create the stmt object", "Failed to execute the SQL statement", nullptr, nullptr, nullptr,
         "BindInt64"},
        {"InsertDelayRecordTable",
         [](SqLite3Operator& database, sqlite3* handle) {
             return database.InsertDelayRecordTable(handle, {Change(u"a")});
         },
         "Failed to create the stmt object,error reason:26", "Failed to write the delay record table,error reason:13",
         "SqLite3Operator", "Failed to write the delay record table",
         "Failed to write the delay record table: exception", "BindInt"},
        {"InsertFileChangeRecordTable",
         [](SqLite3Operator& database, sqlite3* handle) {
             return database.InsertFileChangeRecordTable(handle, {Change(u"a")});
         },
         "Failed to create the stmt object", "Failed to insert the file change record table", nullptr, nullptr, nullptr,
         "BindInt"},
        {"UpdateUSNOfUserTableSql",
         [](SqLite3Operator& database, sqlite3* handle) { return database.UpdateUSNOfUserTableSql(handle, 1, kUser); },
         "Failed to create the stmt object,error reason:26", "Failed to update the USN,error reason:13",
         "SqLite3Operator", "Failed to update the USN", "Failed to update the USN: exception", "BindText16"},
        {"InsertTemporaryFileTableSql",
         [](SqLite3Operator& database, sqlite3* handle) {
             return database.InsertTemporaryFileTableSql(handle, {{u"a", 1, 0}});
         },
         "Failed to create the stmt object,error reason:26",
         "Failed to execute the insertion SQL statement,error reason:13", "SqLite3Operator",
         "Failed to execute the insertion SQL statement", "Failed to execute the insertion SQL statement: exception",
         "BindInt"},
        {"SelectAllDataFromDelayRecordTable",
         [](SqLite3Operator& database, sqlite3*) {
             std::vector<records::DelayRecord> list;
             return database.SelectAllDataFromDelayRecordTable(list);
         },
         "Failed to create the stmt object", nullptr, nullptr, nullptr, nullptr, "ColumnText16"},
        {"InsertPathMappingTable",
         [](SqLite3Operator& database, sqlite3*) {
             return database.InsertPathMappingTable({{1, 2, false, u"a"}});
         },
         "Failed to create the stmt object,reason:26", nullptr,  // an element's failure is not the operation's
         "SqLite3Operator", "Failed to insert the file change record table",
         "Failed to insert the file change record table: exception", "BindText16"},
        {"SelectPathMappingTable",
         [](SqLite3Operator& database, sqlite3*) {
             std::vector<PathMappingEntry> list;
             return database.SelectPathMappingTable(list);
         },
         "Failed to create the stmt object,reason:26", nullptr, "SQLite3Operator", "SelectPathMappingTable failed",
         "SelectPathMappingTable failed: exception", "ColumnText16"},
    };
    return kOperations;
}

class FailureTexts : public DatabaseTest {
protected:
    void SetUp() override {
        Init();
        RunSql(
            "INSERT INTO user VALUES('user-1','p',1);"
            "INSERT INTO delayRecord VALUES(1,'a','',0,0,1,0,1,1);"
            "INSERT INTO pathMapping VALUES(1,'a',2,0);");
        ASSERT_TRUE(database_.OpenDb(handle_));
    }
    void TearDown() override {
        sqlite_.MakeEverything();
        database_.CloseDb(handle_);
    }
    // Runs the operation and expects it to fail with that one line, or with none, and to leave nothing open.
    void ExpectFailure(const Operation& operation, const char* tag, const char* text) {
        SCOPED_TRACE(operation.name);
        const std::size_t open = sqlite_.OpenThings();
        EXPECT_FALSE(operation.run(database_, handle_));
        EXPECT_EQ(Errors(), text == nullptr ? Lines{} : Lines{std::string(tag) + "/" + operation.name + "/" + text});
        EXPECT_EQ(sqlite_.OpenThings(), open);
        Forget();
    }

    sqlite3* handle_ = nullptr;
};

TEST_F(FailureTexts, OfAStatementThatCannotBePrepared) {
    for (const Operation& operation : Operations()) {
        Forget();
        sqlite_.Answer("PrepareV2", SQLITE_NOTADB);
        ExpectFailure(operation, "SqLite3Operator", operation.prepareFailure);
    }
}

TEST_F(FailureTexts, PreparingIsRetriedFiveTimesWhileBusy) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        Forget();
        sqlite_.Answer("PrepareV2", SQLITE_BUSY);
        const std::int64_t start = Now();
        EXPECT_FALSE(operation.run(database_, handle_));
        EXPECT_EQ(sqlite_.Count("PrepareV2"), 6);
        EXPECT_EQ(Now() - start, 5000);
        Forget();
        sqlite_.Answer("PrepareV2", SQLITE_BUSY, 5);
        EXPECT_TRUE(operation.run(database_, handle_)) << log().Dump();
    }
}

TEST_F(FailureTexts, OfAnElementThatCannotBeWritten) {
    for (const Operation& operation : Operations()) {
        if (operation.elementFailure == nullptr) {
            continue;
        }
        Forget();
        sqlite_.Answer("Step", SQLITE_FULL);
        ExpectFailure(operation, "SqLite3Operator", operation.elementFailure);
    }
}

TEST_F(FailureTexts, SteppingIsRetriedFiveTimesWhileBusy) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        Forget();
        sqlite_.Answer("Step", SQLITE_BUSY);
        const std::int64_t start = Now();
        operation.run(database_, handle_);
        EXPECT_EQ(sqlite_.Count("Step"), 6);
        EXPECT_EQ(Now() - start, 5000);
        Forget();
        sqlite_.Answer("Step", SQLITE_BUSY, 5);
        EXPECT_TRUE(operation.run(database_, handle_)) << log().Dump();
        RunSql("DELETE FROM user WHERE userId='new';");
    }
}

TEST_F(FailureTexts, OfAnExceptionOfTheStandardFamily) {
    for (const Operation& operation : Operations()) {
        for (const char* call : {"Step", operation.throwIn}) {
            Forget();
            sqlite_.ThrowOn(call, 1, [] { throw std::runtime_error("broken"); });
            ExpectFailure(operation, operation.exceptionTag, operation.standardException);
        }
    }
}

TEST_F(FailureTexts, OfAnyOtherException) {
    for (const Operation& operation : Operations()) {
        for (const char* call : {"Step", operation.throwIn}) {
            Forget();
            sqlite_.ThrowOn(call, 1, [] { throw 1; });
            ExpectFailure(operation, operation.exceptionTag, operation.otherException);
        }
    }
}

TEST_F(FailureTexts, OperationWhoseOwnConnectionCannotBeOpenedFails) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        Forget();
        sqlite_.Answer("OpenV2", SQLITE_CANTOPEN);
        const bool result = operation.run(database_, handle_);
        if (sqlite_.Count("OpenV2") == 0) {  // works on the caller's connection
            EXPECT_TRUE(result);
            continue;
        }
        EXPECT_FALSE(result);
        ASSERT_EQ(Errors().size(), 1U);
        EXPECT_TRUE(Errors()[0].starts_with("SqLite3Operator/OpenDb"));
        EXPECT_EQ(sqlite_.Count("PrepareV2"), 0);
    }
}

}  // namespace
}  // namespace tavi::db
