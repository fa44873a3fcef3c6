#include "platform/native_sqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <string>

namespace tavi::platform {
namespace {

// One database in memory, opened and closed through the seam.
class NativeSqliteTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(sqlite.OpenV2(":memory:", &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE), SQLITE_OK);
    }
    void TearDown() override { EXPECT_EQ(sqlite.CloseV2(database), SQLITE_OK); }

    sqlite3_stmt* Prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite.PrepareV2(database, sql, -1, &statement), SQLITE_OK);
        return statement;
    }

    NativeSqlite sqlite;
    sqlite3* database = nullptr;
};

TEST_F(NativeSqliteTest, WhatIsBoundIsReadBack) {
    ASSERT_EQ(sqlite.Exec(database, "CREATE TABLE t(name TEXT, small INT, large INT, missing TEXT)", nullptr),
              SQLITE_OK);
    sqlite3_stmt* insert = Prepare("INSERT INTO t VALUES(?, ?, ?, NULL)");
    const std::u16string name = u"\u540C\u6B65\U0001F600";
    EXPECT_EQ(sqlite.BindText16(insert, 1, name.c_str()), SQLITE_OK);
    EXPECT_EQ(sqlite.BindInt(insert, 2, -7), SQLITE_OK);
    EXPECT_EQ(sqlite.BindInt64(insert, 3, INT64_MIN), SQLITE_OK);
    EXPECT_EQ(sqlite.Step(insert), SQLITE_DONE);
    EXPECT_EQ(sqlite.Reset(insert), SQLITE_OK);
    EXPECT_EQ(sqlite.Finalize(insert), SQLITE_OK);

    sqlite3_stmt* select = Prepare("SELECT name, small, large, missing FROM t");
    ASSERT_EQ(sqlite.Step(select), SQLITE_ROW);
    EXPECT_TRUE(sqlite.ColumnText16(select, 0) == name);
    EXPECT_EQ(sqlite.ColumnInt(select, 1), -7);
    EXPECT_EQ(sqlite.ColumnInt64(select, 2), INT64_MIN);
    EXPECT_EQ(sqlite.ColumnText16(select, 3), nullptr);
    EXPECT_EQ(sqlite.Step(select), SQLITE_DONE);
    EXPECT_EQ(sqlite.Finalize(select), SQLITE_OK);
}

TEST_F(NativeSqliteTest, AWrongStatementGivesItsCodeAndMessage) {
    char* message = nullptr;
    EXPECT_EQ(sqlite.Exec(database, "NO SUCH STATEMENT", &message), SQLITE_ERROR);
    ASSERT_NE(message, nullptr);
    EXPECT_GT(std::strlen(message), 0u);
    sqlite.Free(message);
    EXPECT_EQ(sqlite.Errcode(database), SQLITE_ERROR);
}

TEST_F(NativeSqliteTest, ADatabaseOptionIsTakenAndAnUnknownOneRefused) {
    EXPECT_EQ(sqlite.DbConfig(database, SQLITE_DBCONFIG_DEFENSIVE, 1), SQLITE_OK);
    // A defensive connection may not write the schema table.
    EXPECT_EQ(sqlite.Exec(database, "PRAGMA writable_schema=ON", nullptr), SQLITE_OK);
    EXPECT_NE(sqlite.Exec(database, "DELETE FROM sqlite_schema", nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite.DbConfig(database, 999999, 1), SQLITE_ERROR);
}

TEST_F(NativeSqliteTest, ATransactionIsKnownFromItsBeginningToItsEnd) {
    EXPECT_NE(sqlite.GetAutocommit(database), 0);
    EXPECT_EQ(sqlite.Exec(database, "BEGIN", nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite.GetAutocommit(database), 0);
    EXPECT_EQ(sqlite.Exec(database, "ROLLBACK", nullptr), SQLITE_OK);
    EXPECT_NE(sqlite.GetAutocommit(database), 0);
}

TEST(NativeSqlite, TheBusyHandlerIsAskedWithItsContextUntilItRefuses) {
    NativeSqlite sqlite;
    const std::string path = (std::filesystem::path(testing::TempDir()) / "native_sqlite_busy.db").string();
    std::filesystem::remove(path);
    sqlite3* first = nullptr;
    sqlite3* second = nullptr;
    ASSERT_EQ(sqlite.OpenV2(path, &first, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE), SQLITE_OK);
    ASSERT_EQ(sqlite.OpenV2(path, &second, SQLITE_OPEN_READWRITE), SQLITE_OK);
    ASSERT_EQ(sqlite.Exec(first, "CREATE TABLE t(x); BEGIN EXCLUSIVE", nullptr), SQLITE_OK);

    int asked = 0;
    const auto handler = [](void* context, int count) {
        ++*static_cast<int*>(context);
        return count < 3 ? 1 : 0;
    };
    ASSERT_EQ(sqlite.BusyHandler(second, handler, &asked), SQLITE_OK);
    EXPECT_EQ(sqlite.Exec(second, "BEGIN EXCLUSIVE", nullptr), SQLITE_BUSY);
    EXPECT_EQ(asked, 4);

    EXPECT_EQ(sqlite.CloseV2(second), SQLITE_OK);
    EXPECT_EQ(sqlite.CloseV2(first), SQLITE_OK);
    std::filesystem::remove(path);
}

TEST(NativeSqlite, OpeningAFileThatIsNotThereFails) {
    NativeSqlite sqlite;
    const std::string path = (std::filesystem::path(testing::TempDir()) / "no such folder" / "x.db").string();
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite.OpenV2(path, &database, SQLITE_OPEN_READONLY), SQLITE_CANTOPEN);
    EXPECT_EQ(sqlite.CloseV2(database), SQLITE_OK);
}

}  // namespace
}  // namespace tavi::platform
