#include "sim/sim_sqlite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kCreate = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
const std::string kPath = "\\\\?\\C:\\Users\\t\\base.db";

class SqliteTest : public testing::Test {
protected:
    SqliteTest() { platform.paths.SHCreateDirectoryExW(u"C:\\Users\\t"); }

    sqlite3* Open(int expected = SQLITE_OK, const std::string& path = kPath) {
        sqlite3* database = nullptr;
        EXPECT_EQ(platform.sqlite.OpenV2(path, &database, kCreate), expected);
        return database;
    }

    Machine machine;
    Platform platform = machine.platform();
};

TEST_F(SqliteTest, WritesARealFileWhereTheOtherCallsFindIt) {
    sqlite3* database = Open();
    EXPECT_EQ(platform.sqlite.Exec(database, "create table t(a text, b int, c int)", nullptr), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(platform.sqlite.PrepareV2(database, "insert into t values(?,?,?)", -1, &statement), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.BindText16(statement, 1, u"\x4E00"), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.BindInt(statement, 2, -5), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.BindInt64(statement, 3, 1LL << 40), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.Step(statement), SQLITE_DONE);
    EXPECT_EQ(platform.sqlite.Finalize(statement), SQLITE_OK);
    ASSERT_EQ(platform.sqlite.PrepareV2(database, "select * from t", -1, &statement), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.Step(statement), SQLITE_ROW);
    EXPECT_EQ(std::u16string(platform.sqlite.ColumnText16(statement, 0)), u"\x4E00");
    EXPECT_EQ(platform.sqlite.ColumnInt(statement, 1), -5);
    EXPECT_EQ(platform.sqlite.ColumnInt64(statement, 2), 1LL << 40);
    EXPECT_EQ(platform.sqlite.Reset(statement), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.Finalize(statement), SQLITE_OK);
    EXPECT_TRUE(platform.paths.PathFileExistsW(u"c:\\users\\T\\BASE.db"));
    EXPECT_EQ(platform.sqlite.CloseV2(database), SQLITE_OK);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(SqliteTest, OpenDatabaseCannotBeDeleted) {
    sqlite3* database = Open();
    platform.sqlite.Exec(database, "create table t(a)", nullptr);
    EXPECT_FALSE(platform.paths.DeleteFileW(u"C:\\Users\\t\\base.db"));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorSharingViolation);
    platform.sqlite.CloseV2(database);
    EXPECT_TRUE(platform.paths.DeleteFileW(u"C:\\Users\\t\\base.db"));
}

TEST_F(SqliteTest, PathOfAVolumeInMemoryOrAMissingFolderCannotBeOpened) {
    machine.volume().MakeDirectory(u"\\Sync");
    for (const char* path : {"C:\\Sync\\x.db", "C:\\Users\\none\\x.db"}) {
        sqlite3* database = Open(SQLITE_CANTOPEN, path);
        ASSERT_NE(database, nullptr);
        EXPECT_THAT(machine.leaks(), SizeIs(1)) << "a failed open has to be closed, too";
        EXPECT_EQ(platform.sqlite.CloseV2(database), SQLITE_OK);
    }
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(SqliteTest, InjectedFailuresShowInErrcode) {
    machine.faults().Fail({.call = "Sqlite.OpenV2", .code = SQLITE_NOTADB});
    sqlite3* failed = Open(SQLITE_NOTADB);
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(platform.sqlite.Errcode(failed), SQLITE_NOTADB);
    platform.sqlite.CloseV2(failed);
    sqlite3* database = Open();
    machine.faults().Fail({.call = "Sqlite.PrepareV2", .code = SQLITE_BUSY});
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(platform.sqlite.PrepareV2(database, "select 1", -1, &statement), SQLITE_BUSY);
    EXPECT_EQ(statement, nullptr);
    EXPECT_EQ(platform.sqlite.Errcode(database), SQLITE_BUSY);
    EXPECT_EQ(platform.sqlite.PrepareV2(database, "select 1", -1, &statement), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.Errcode(database), SQLITE_OK);
    machine.faults().Fail({.call = "Sqlite.Step"});
    EXPECT_EQ(platform.sqlite.Step(statement), SQLITE_IOERR);
    EXPECT_EQ(platform.sqlite.Errcode(database), SQLITE_IOERR);
    platform.sqlite.Finalize(statement);
    machine.faults().Fail({.call = "Sqlite.Exec", .code = SQLITE_FULL});
    char* message = nullptr;
    EXPECT_EQ(platform.sqlite.Exec(database, "select 1", &message), SQLITE_FULL);
    ASSERT_NE(message, nullptr);
    EXPECT_THAT(machine.leaks(), SizeIs(2)) << "the message and the connection";
    platform.sqlite.Free(message);
    platform.sqlite.CloseV2(database);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(SqliteTest, TransactionIsKnownFromItsBeginningToItsEnd) {
    sqlite3* database = Open();
    EXPECT_NE(platform.sqlite.GetAutocommit(database), 0);
    platform.sqlite.Exec(database, "begin", nullptr);
    EXPECT_EQ(platform.sqlite.GetAutocommit(database), 0);
    platform.sqlite.Exec(database, "rollback", nullptr);
    EXPECT_NE(platform.sqlite.GetAutocommit(database), 0);
    platform.sqlite.CloseV2(database);
    EXPECT_NE(platform.sqlite.GetAutocommit(database), 0) << "nothing is open there any more";
}

int busyCalls = 0;
int OnBusy(void* context, int count) {
    ++busyCalls;
    static_cast<Machine*>(context)->platform().threads.Sleep(100);
    return count < 9 ? 1 : 0;
}

TEST_F(SqliteTest, BusyHandlerSleepsInVirtualTime) {
    sqlite3* holder = Open();
    sqlite3* waiter = Open();
    platform.sqlite.Exec(holder, "create table t(a); begin exclusive", nullptr);
    platform.sqlite.BusyHandler(waiter, &OnBusy, &machine);
    busyCalls = 0;
    EXPECT_EQ(platform.sqlite.Exec(waiter, "begin immediate", nullptr), SQLITE_BUSY);
    EXPECT_EQ(busyCalls, 10);
    EXPECT_EQ(machine.NowMilliseconds(), 1000);
    machine.Spawn("committer", [&] {
        machine.Sleep(350);
        platform.sqlite.Exec(holder, "commit", nullptr);
    });
    EXPECT_EQ(platform.sqlite.Exec(waiter, "begin immediate", nullptr), SQLITE_OK);
    EXPECT_EQ(machine.NowMilliseconds(), 1400);
    machine.JoinAll();
    platform.sqlite.CloseV2(holder);
    platform.sqlite.CloseV2(waiter);
}

TEST_F(SqliteTest, DeathInsideTheBusyHandlerEndsTheThreadAfterwards) {
    sqlite3* holder = Open();
    platform.sqlite.Exec(holder, "create table t(a); begin exclusive", nullptr);
    const auto process = machine.StartProcess([&] {
        sqlite3* waiter = Open();
        platform.sqlite.BusyHandler(waiter, &OnBusy, &machine);
        EXPECT_EQ(platform.sqlite.Exec(waiter, "begin immediate", nullptr), SQLITE_BUSY);
        platform.threads.Sleep(1);
        ADD_FAILURE() << "goes on";
    });
    machine.Sleep(250);
    machine.Kill();
    machine.Join(process);
    machine.Restart();
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(SqliteTest, ConnectionWithAStatementLeftStaysInTheAccount) {
    sqlite3* database = Open();
    sqlite3_stmt* statement = nullptr;
    platform.sqlite.PrepareV2(database, "select 1", -1, &statement);
    platform.sqlite.CloseV2(database);
    EXPECT_THAT(machine.leaks(), SizeIs(2));
    platform.sqlite.Finalize(statement);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(SqliteTest, DigestIsTheRealOneAndCanLieAboutItsLength) {
    for (const std::uint32_t reported : {0U, 33U}) {
        machine.digest().SetReportedLength(reported);
        const DigestContext context = platform.digest.MdCtxNew();
        EXPECT_TRUE(platform.digest.DigestInitSha256(context));
        EXPECT_TRUE(platform.digest.DigestUpdate(context, {}));
        std::array<std::byte, 64> output{};
        std::uint32_t length = 0;
        EXPECT_TRUE(platform.digest.DigestFinal(context, output, length));
        EXPECT_EQ(length, reported == 0 ? 32U : 33U);
        EXPECT_EQ(output[0], std::byte{0xE3}) << "of the empty text";
        platform.digest.MdCtxFree(context);
    }
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

}  // namespace
}  // namespace tavi::sim
