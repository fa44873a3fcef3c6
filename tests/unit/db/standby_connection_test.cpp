#include "db/standby_connection.h"

#include <filesystem>

#include "sim/sqlite_disk.h"
#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;
constexpr std::uint64_t kCycles = 100;
constexpr std::uintmax_t kLongestLog = 4'194'304;

// A task that idles: the disk is watched, and a cycle that found nothing stores its position.
class Standby : public DatabaseTest {
protected:
    Standby() { sim::SqliteDisk::Install(); }
    ~Standby() override { sim::SqliteDisk::TrackSynchronised(false); }
    void SetUp() override {
        Init();
        ASSERT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"C:\\Sync", .usnLocation = 1}));
    }
    bool Save(platform::Usn usn) { return database_.SaveCycleResults({}, {}, {}, usn, kUser); }
    // After one to get going.
    sim::DiskActivity ActivityOf(std::uint64_t cycles, platform::Usn step) {
        EXPECT_TRUE(Save(1));
        sim::SqliteDisk::BeginCounting();
        for (std::uint64_t i = 1; i <= cycles; ++i) {
            EXPECT_TRUE(Save(1 + step * static_cast<platform::Usn>(i)));
        }
        return sim::SqliteDisk::Counted();
    }
    // For tests that are not about what a loss of power leaves.
    void SaveWithoutSync() {
        sqlite_.OnOpened(
            [](sqlite3* handle) { sqlite3_exec(handle, "PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr); });
    }
    std::uintmax_t LogBytes() { return std::filesystem::file_size(HostPath() + "-wal"); }
    bool Exists(const std::string& companion) { return std::filesystem::exists(HostPath() + companion); }
    static records::FileChangeInfoList Many() {
        records::FileChangeInfoList many;
        for (char16_t i = 0; i < 20'000; ++i) {
            many.push_back(
                Change(u"a folder with a long name\\file" + std::u16string(30, static_cast<char16_t>(0x4E00 + i))));
        }
        return many;
    }

    StandbyConnection standby_{database_};
};

TEST_F(Standby, AHundredIdleCyclesMakeAndDeleteNoFileAndSyncOnceEach) {
    standby_.Hold();
    ASSERT_TRUE(standby_.isHeld());
    const sim::DiskActivity idle = ActivityOf(kCycles, 0);
    EXPECT_EQ(idle.creations, 0U);
    EXPECT_EQ(idle.deletions, 0U);
    EXPECT_LE(idle.syncs, kCycles);
    EXPECT_GT(idle.syncs, 0U) << "the disk counts nothing";
    EXPECT_LE(idle.journalRecords, 3U) << "of the log, which stays open, in all cycles together";
}

TEST_F(Standby, CyclesWhosePositionMovesCostNoMore) {
    standby_.Hold();
    const sim::DiskActivity idle = ActivityOf(kCycles, 8);
    EXPECT_EQ(idle.creations + idle.deletions, 0U);
    EXPECT_LE(idle.syncs, kCycles);
    EXPECT_LE(idle.journalRecords, 3U);
    EXPECT_EQ(Rows("SELECT usnLocation FROM user;"), Lines{"801"});
}

TEST_F(Standby, WithoutItEveryCycleMakesTheLogAndItsIndexAnew) {
    const sim::DiskActivity idle = ActivityOf(kCycles, 0);
    EXPECT_EQ(idle.creations, 2 * kCycles);
    EXPECT_EQ(idle.deletions, 2 * kCycles);
    EXPECT_GE(idle.syncs, 3 * kCycles);
    EXPECT_GT(idle.journalRecords, 6 * kCycles);
}

TEST_F(Standby, SavesRunTheSameStatementsInTheSameOrder) {
    Forget();
    EXPECT_TRUE(Save(2));
    const Lines without = sqlite_.calls();
    standby_.Hold();
    Forget();
    EXPECT_TRUE(Save(3));
    Lines with = sqlite_.calls();
    std::ranges::replace(with, "BindInt64 1 3", "BindInt64 1 2");
    EXPECT_EQ(with, without);
}

TEST_F(Standby, LogOfManyIdleCyclesStaysWithinItsBound) {
    standby_.Hold();
    SaveWithoutSync();
    for (int i = 0; i < 3000; ++i) {
        ASSERT_TRUE(Save(i));
    }
    EXPECT_LE(LogBytes(), kLongestLog);
}

TEST_F(Standby, LogOfALargeSaveIsCutOffByTheNextOnes) {
    standby_.Hold();
    SaveWithoutSync();
    ASSERT_TRUE(database_.SaveCycleResults({}, Many(), {}, 2, kUser));
    EXPECT_GT(LogBytes(), kLongestLog) << "too few rows for this test";
    ASSERT_TRUE(Save(3));
    ASSERT_TRUE(Save(4));
    EXPECT_LE(LogBytes(), kLongestLog);
    EXPECT_EQ(Rows("SELECT count(*) FROM fileChangeRecord;"), Lines{"20000"});
}

TEST_F(Standby, LeavesOneFileBehind) {
    {
        StandbyConnection standby(database_);
        standby.Hold();
        EXPECT_TRUE(Save(7));
        EXPECT_TRUE(Exists("-wal"));
        EXPECT_TRUE(Exists("-shm"));
    }
    EXPECT_FALSE(Exists("-wal"));
    EXPECT_FALSE(Exists("-shm"));
    EXPECT_EQ(Rows("SELECT usnLocation FROM user;"), Lines{"7"});
}

TEST_F(Standby, FilesCanBeDeletedOnceItIsGone) {
    {
        StandbyConnection standby(database_);
        standby.Hold();
        EXPECT_FALSE(platform_.paths.DeleteFileW(kPath));
    }
    EXPECT_TRUE(SqLite3Operator::DropTablesAndDb(platform_, kPath));
    EXPECT_EQ(Errors(), Lines{});
    EXPECT_FALSE(Exists(""));
    EXPECT_FALSE(Exists("-wal"));
}

TEST_F(Standby, HoldsUpNeitherWritersNorReadersNorTheCopyingOfTheLog) {
    standby_.Hold();
    const std::int64_t start = Now();
    EXPECT_TRUE(Save(2));
    OtherConnection other(HostPath());
    other.Run("BEGIN IMMEDIATE; DELETE FROM fileChangeRecord; COMMIT;");
    EXPECT_EQ(other.Rows("PRAGMA wal_checkpoint(TRUNCATE);"), Lines{"0|0|0"});
    EXPECT_EQ(LogBytes(), 0U);
    EXPECT_TRUE(Save(3));
    EXPECT_EQ(Now(), start);
    EXPECT_EQ(other.Rows("SELECT usnLocation FROM user;"), Lines{"3"});
}

// The files as they are on the disk after a save are what a kill at that moment would leave.
TEST_F(Standby, WhatWasSavedOutlivesAKill) {
    standby_.Hold();
    const std::string copy = HostPath() + ".copy";
    for (int usn = 2; usn < 30; ++usn) {
        ASSERT_TRUE(database_.SaveCycleResults({}, {Change(u"file" + std::u16string(1, static_cast<char16_t>(usn)))},
                                               {}, usn, kUser));
        for (const char* companion : {"", "-wal", "-shm"}) {
            std::filesystem::remove(copy + companion);
        }
        std::filesystem::copy_file(HostPath(), copy);
        std::filesystem::copy_file(HostPath() + "-wal", copy + "-wal");
        OtherConnection restarted(copy);
        EXPECT_EQ(restarted.Rows("SELECT usnLocation, (SELECT count(*) FROM fileChangeRecord) FROM user;"),
                  Lines{std::to_string(usn) + "|" + std::to_string(usn - 1)});
    }
}

TEST_F(Standby, WhatWasSavedOutlivesALossOfPower) {
    sim::SqliteDisk::TrackSynchronised(true);
    ASSERT_TRUE(database_.InitSqLiteDb(u"D:\\Data\\power\\ListenService.dat"));
    ASSERT_TRUE(database_.InsertUserTable({.userId = kUser, .listenPath = u"C:\\Sync", .usnLocation = 1}));
    standby_.Hold();
    for (int usn = 2; usn < 10; ++usn) {
        ASSERT_TRUE(Save(usn));
    }
    machine_.sqlite().LosePowerAtDeath(true);
    machine_.Kill();
    machine_.Restart();
    sqlite_.CloseWhatIsOpen();
    SqLite3Operator restarted(real_);
    ASSERT_TRUE(restarted.InitSqLiteDb(u"D:\\Data\\power\\ListenService.dat"));
    EXPECT_EQ(restarted.SelectUserTableByUserId(kUser).record.usnLocation, 9);
}

// Whatever of it fails, nothing is said or left open, saves go on, and the next cycle tries again.
TEST_F(Standby, FailureOfAnyCallCostsOnlyTheSaving) {
    int n = 1;
    for (bool fired = true; fired; ++n) {
        StandbyConnection standby(database_);
        Forget();
        fired = false;
        std::string call;
        sqlite_.OnCall([&, made = 0](const std::string& name) mutable -> std::optional<int> {
            if (++made != n) {
                return std::nullopt;
            }
            fired = true;
            call = name;
            return SQLITE_FULL;
        });
        standby.Hold();
        sqlite_.MakeEverything();
        SCOPED_TRACE(call);
        const bool isNeeded = !call.starts_with("BusyHandler") && !call.starts_with("DbConfig");
        EXPECT_EQ(standby.isHeld(), !(fired && isNeeded));
        EXPECT_EQ(sqlite_.OpenThings(), standby.isHeld() ? 1U : 0U);
        EXPECT_EQ(Errors(), Lines{});
        EXPECT_TRUE(Save(n));
        standby.Hold();
        EXPECT_TRUE(standby.isHeld());
    }
    EXPECT_GT(n, 8);
}

TEST_F(Standby, DatabaseThatIsNotInWalModeWorksToo) {
    RunSql("PRAGMA journal_mode=DELETE;");
    standby_.Hold();
    EXPECT_TRUE(standby_.isHeld());
    EXPECT_TRUE(Save(5));
    EXPECT_EQ(Rows("SELECT usnLocation FROM user;"), Lines{"5"});
}

TEST_F(Standby, WithoutADatabaseNothingIsHeldAndNothingSaid) {
    ASSERT_FALSE(database_.InitSqLiteDb(u"no directory"));
    Forget();
    sqlite_.Answer("OpenV2", SQLITE_CANTOPEN);
    standby_.Hold();
    EXPECT_FALSE(standby_.isHeld());
    EXPECT_EQ(Errors(), Lines{});
}

}  // namespace
}  // namespace tavi::db
