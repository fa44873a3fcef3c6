#include "sim/sqlite_disk.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

// A database on the simulated machine, written through its SQLite, with power that can go.
class SqliteDiskTest : public testing::Test {
protected:
    SqliteDiskTest() {
        SqliteDisk::Install();
        SqliteDisk::TrackSynchronised(true);
        machine_.files().WriteText(u"D:\\beside.txt", "");
    }
    ~SqliteDiskTest() override {
        SqliteDisk::SetFull(false);
        SqliteDisk::TrackSynchronised(false);
    }

    sqlite3* Open() {
        sqlite3* database = nullptr;
        EXPECT_EQ(machine_.platform().sqlite.OpenV2("D:\\a.db", &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE),
                  SQLITE_OK);
        return database;
    }
    int Run(sqlite3* database, const char* sql) { return machine_.platform().sqlite.Exec(database, sql, nullptr); }
    void Die() {
        machine_.Kill();
        machine_.Restart();
    }
    void LosePower() {
        machine_.sqlite().LosePowerAtDeath(true);
        Die();
    }
    int Rows() {
        sqlite3* database = Open();
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database, "SELECT count(*) FROM t", -1, &statement, nullptr);
        const int rows = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
        sqlite3_finalize(statement);
        machine_.platform().sqlite.CloseV2(database);
        return rows;
    }

    Machine machine_;
};

TEST_F(SqliteDiskTest, SynchronisedCommitSurvivesALossOfPower) {
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE t(a);"), SQLITE_OK);
    ASSERT_EQ(Run(database, "INSERT INTO t VALUES (1)"), SQLITE_OK);
    LosePower();
    EXPECT_EQ(Rows(), 1);
}

TEST_F(SqliteDiskTest, CommitThatWasNotSynchronisedIsGoneAfterALossOfPower) {
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE t(a);"), SQLITE_OK);
    ASSERT_EQ(Run(database, "PRAGMA synchronous=OFF; INSERT INTO t VALUES (1)"), SQLITE_OK);
    LosePower();
    EXPECT_EQ(Rows(), 0);
}

TEST_F(SqliteDiskTest, CommitThatWasNotSynchronisedSurvivesTheDeathOfTheProcessButNoLaterLossOfPower) {
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE t(a);"), SQLITE_OK);
    ASSERT_EQ(Run(database, "PRAGMA synchronous=OFF; INSERT INTO t VALUES (1)"), SQLITE_OK);
    Die();
    EXPECT_EQ(Rows(), 1);
    LosePower();
    EXPECT_EQ(Rows(), 0);
}

TEST_F(SqliteDiskTest, FullDiskRefusesWritesUntilThereIsRoom) {
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; CREATE TABLE t(a);"), SQLITE_OK);
    SqliteDisk::SetFull(true);
    EXPECT_EQ(Run(database, "INSERT INTO t VALUES (1)"), SQLITE_FULL);
    SqliteDisk::SetFull(false);
    EXPECT_EQ(Run(database, "INSERT INTO t VALUES (1)"), SQLITE_OK);
    machine_.platform().sqlite.CloseV2(database);
}

// The records are those that NTFS is documented to write: one for the first change of each kind while a file is open,
// one when the last handle of a changed file is closed.
TEST_F(SqliteDiskTest, ActivityIsCountedFileByFile) {
    SqliteDisk::BeginCounting();
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "CREATE TABLE t(a);"), SQLITE_OK);
    // The database is created and extended; its journal is created, extended, overwritten (the header), closed,
    // deleted.
    DiskActivity activity = SqliteDisk::Counted();
    EXPECT_EQ(activity.creations, 2U);
    EXPECT_EQ(activity.deletions, 1U);
    EXPECT_GE(activity.syncs, 2U);
    EXPECT_GT(activity.writes, 2U);

    SqliteDisk::BeginCounting();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; INSERT INTO t VALUES (1);"), SQLITE_OK);
    SqliteDisk::BeginCounting();
    ASSERT_EQ(Run(database, "INSERT INTO t VALUES (2);"), SQLITE_OK);
    activity = SqliteDisk::Counted();
    EXPECT_EQ(activity.creations + activity.deletions, 0U);
    EXPECT_EQ(activity.syncs, 1U);
    EXPECT_EQ(activity.journalRecords, 0U) << "the log was open and extended before";

    SqliteDisk::BeginCounting();
    machine_.platform().sqlite.CloseV2(database);
    activity = SqliteDisk::Counted();
    EXPECT_EQ(activity.creations, 0U);
    EXPECT_EQ(activity.deletions, 2U) << "the log and its index";
    EXPECT_GE(activity.journalRecords, 4U) << "both are closed and deleted, and the database was written";
}

TEST_F(SqliteDiskTest, ReadingIsNoActivity) {
    sqlite3* database = Open();
    ASSERT_EQ(Run(database, "PRAGMA journal_mode=WAL; CREATE TABLE t(a);"), SQLITE_OK);
    SqliteDisk::BeginCounting();
    EXPECT_EQ(Rows(), 0);
    const DiskActivity activity = SqliteDisk::Counted();
    EXPECT_EQ(activity.creations + activity.deletions + activity.syncs + activity.writes + activity.journalRecords, 0U);
    machine_.platform().sqlite.CloseV2(database);
}

}  // namespace
}  // namespace tavi::sim
