// The listen thread on the real processing cycle.
#include "listen/listen_cycle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listen/listen_worker.h"
#include "sim/sqlite_disk.h"
#include "unit/listen/log_matching.h"
#include "unit/records/cycle/cycle_rig.h"

namespace tavi::listen {
namespace {

using test::ServiceError;
using testing::ElementsAre;
using testing::IsEmpty;

class ListenCycleTest : public testing::Test, protected records::testing::CycleRig {
protected:
    ListenCycleTest() { EXPECT_TRUE(process_.database.InitSqLiteDb(records::testing::kDatabase)); }
    void TearDown() override { worker_.FinishCurrentListenTask(); }

    void Start() {
        ASSERT_TRUE(
            worker_.Start({.userId = records::testing::kUser, .listenPath = u"C:\\Sync", .usnLocation = Position()}));
    }
    std::vector<sim::LogLine> ServiceErrors() const {
        std::vector<sim::LogLine> errors = test::Errors(log);
        std::erase_if(errors, [](const sim::LogLine& line) { return line.classTag != "ListenServiceImpl"; });
        return errors;
    }

    ListenProcess process_{platform};
    ListenWorker worker_{platform, process_,
                         MakeListenCycleFactory(platform, process_.database, process_.suppressStoppedReport)};
};

TEST_F(ListenCycleTest, StoresWhatChangesInTheFolder) {
    Start();
    machine.Sleep(100);
    MakeFile(u"C:\\Sync\\a.txt");
    ASSERT_TRUE(machine.WaitUntil([&] { return !Changes().empty(); }, 5000));
    EXPECT_THAT(Changes(), ElementsAre("1|a.txt|"));
    EXPECT_EQ(Position(), NextUsn());
    EXPECT_THAT(ServiceErrors(), IsEmpty());
}

TEST_F(ListenCycleTest, PositionThatTheJournalRefusesEndsTheTaskWhenTheQueryFailsToo) {
    files.refusals[platform::kFsctlReadUsnJournal] = {1, platform::kErrorInvalidParameter};
    // The first query is that of the initialisation.
    files.beforeControl = [&](std::uint32_t code) {
        if (code == platform::kFsctlQueryUsnJournal) {
            files.refusals[code] = {1, 1179};
        }
    };
    Start();
    ASSERT_TRUE(machine.WaitUntil([&] { return process_.listenThread.HasEnded(); }, 10000));
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_THAT(ServiceErrors(), ElementsAre(ServiceError("ServiceWorkerListenThread",
                                                          "A parameter error occurred while reading changeJournal")));
}

TEST_F(ListenCycleTest, PositionThatTheJournalRefusesIsReplacedWhenTheQuerySucceeds) {
    files.refusals[platform::kFsctlReadUsnJournal] = {1, platform::kErrorInvalidParameter};
    Start();
    machine.Sleep(3000);
    EXPECT_FALSE(process_.listenThread.HasEnded());
    EXPECT_THAT(ServiceErrors(), IsEmpty());
}

TEST_F(ListenCycleTest, VolumeThatCannotBeOpenedFailsTheInitialisation) {
    machine.faults().Fail({.call = "Files.CreateFileW"});
    Start();
    ASSERT_TRUE(machine.WaitUntil([&] { return process_.listenThread.HasEnded(); }, 10000));
    EXPECT_THAT(ServiceErrors(), ElementsAre(ServiceError("ServiceWorkerListenThread",
                                                          "Failed to initialize the interception function")));
}

TEST_F(ListenCycleTest, DatabaseThatTakesNothingEndsTheTaskAfterFourCycles) {
    Start();
    machine.Sleep(100);
    machine.faults().Fail({.call = "Sqlite.OpenV2", .forEver = true, .code = 14});
    ASSERT_TRUE(machine.WaitUntil([&] { return process_.listenThread.HasEnded(); }));
    machine.faults().Clear();
    EXPECT_THAT(ServiceErrors(),
                ElementsAre(ServiceError("ServiceWorkerListenThread",
                                         "Failed to read records, process records, or write to the database")));
}

// What a service costs that runs all night with nothing to do.
TEST_F(ListenCycleTest, AHundredIdleCyclesMakeAndDeleteNoFileAndSyncOnceEachAtMost) {
    sim::SqliteDisk::Install();
    Start();
    machine.Sleep(5000);
    const std::uint64_t before = machine.faults().calls("Sqlite.CloseV2");
    sim::SqliteDisk::BeginCounting();
    ASSERT_TRUE(machine.WaitUntil([&] { return machine.faults().calls("Sqlite.CloseV2") >= before + 100; }, 600'000));
    const sim::DiskActivity idle = sim::SqliteDisk::Counted();
    EXPECT_EQ(idle.creations, 0U);
    EXPECT_EQ(idle.deletions, 0U);
    EXPECT_LE(idle.syncs, 101U) << "the save that is being made may have asked already";
    EXPECT_GE(idle.syncs, 99U) << "the disk counts nothing";
    EXPECT_LE(idle.journalRecords, 3U) << "in all cycles together";
    EXPECT_THAT(ServiceErrors(), IsEmpty());
}

TEST_F(ListenCycleTest, WhenTheTaskIsFinishedTheDatabaseIsOneFileThatCanBeDeleted) {
    Start();
    machine.Sleep(2000);
    const std::u16string path = process_.database.databasePath();
    EXPECT_TRUE(platform.paths.PathFileExistsW(path + u"-wal"));
    EXPECT_FALSE(platform.paths.DeleteFileW(path)) << "the task has it open";
    worker_.FinishCurrentListenTask();
    EXPECT_FALSE(platform.paths.PathFileExistsW(path + u"-wal"));
    EXPECT_FALSE(platform.paths.PathFileExistsW(path + u"-shm"));
    EXPECT_TRUE(platform.paths.DeleteFileW(path));
}

}  // namespace
}  // namespace tavi::listen
