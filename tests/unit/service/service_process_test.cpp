#include <iostream>
#include <optional>

#include "service/installation.h"
#include "service/service_lifecycle.h"
#include "unit/service/process_bench.h"

namespace tavi::service {
namespace {

using platform::ServiceStatus;
using test::FinishFrame;
using test::StartFrame;
using test::StatusFrame;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

ServiceStatus Status(std::uint32_t state, std::uint32_t checkPoint) {
    return {0x10, state, 5, 0, 0, checkPoint, 0};
}

class ServiceProcess : public testing::Test {
protected:
    void StartService() {
        bench_.StartProcess();
        ASSERT_TRUE(bench_.WaitUntilRunning());
    }
    void ExpectCleanEnd() {
        EXPECT_EQ(bench_.exitCode, 0);
        EXPECT_THAT(bench_.machine.leaks(), IsEmpty());
    }

    test::ServiceMachine bench_;
};

TEST_F(ServiceProcess, ReportsStartAndStopInTheirOrder) {
    StartService();
    EXPECT_LE(bench_.Stop(), 2000);
    EXPECT_THAT(bench_.machine.services().statuses(),
                ElementsAre(Status(2, 1), Status(4, 0), Status(3, 2), Status(1, 0)));
    EXPECT_TRUE(bench_.log.HasTrace("TaviLumbraService is being registered with Service Control Manager"));
    EXPECT_TRUE(bench_.log.HasTrace("TaviLumbraService is successfully registered with the Service Control Manager"));
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, ShutdownReportsStoppedOnly) {
    StartService();
    EXPECT_LE(bench_.Stop(platform::kServiceControlShutdown), 2000);
    EXPECT_THAT(bench_.machine.services().statuses(), ElementsAre(Status(2, 1), Status(4, 0), Status(1, 0)));
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, InterrogateSendsNoStatus) {
    StartService();
    EXPECT_TRUE(bench_.machine.services().SendControl(platform::kServiceControlInterrogate));
    EXPECT_EQ(bench_.machine.services().statuses().size(), 2U);
    bench_.Stop();
}

TEST_F(ServiceProcess, ChangeInTheFolderBecomesARow) {
    StartService();
    ASSERT_EQ(bench_.Ask(StartFrame()), 4U);
    bench_.machine.Sleep(1000);
    bench_.machine.volume().MakeFile(u"C:\\Sync\\new.docx", "text");
    EXPECT_TRUE(bench_.machine.WaitUntil(
        [&] { return bench_.View().Ask("SELECT reason FROM fileChangeRecord WHERE relativePath = 'new.docx'") == "1"; },
        30000, 500));
    EXPECT_EQ(bench_.Ask(StatusFrame()), 2U);
    EXPECT_EQ(bench_.Ask(FinishFrame()), 6U);
    EXPECT_LE(bench_.Stop(), 2000);
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, TaskGoesOnFromItsPositionAfterARestart) {
    StartService();
    ASSERT_EQ(bench_.Ask(StartFrame()), 4U);
    bench_.Stop();
    bench_.machine.volume().MakeFile(u"C:\\Sync\\while-away.txt");
    StartService();
    EXPECT_EQ(bench_.Ask(StartFrame()), 0U);
    EXPECT_TRUE(bench_.machine.WaitUntil(
        [&] { return bench_.View().Ask("SELECT count(*) FROM fileChangeRecord") != "0"; }, 30000, 500));
    bench_.Stop();
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, StopWhileAClientIsConnectedAndSilentEndsWithinTwoSeconds) {
    StartService();
    sim::PipeClient client(bench_.machine.pipes());
    ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
    bench_.machine.Sleep(10000);
    EXPECT_LE(bench_.Stop(), 2000);
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, StopWhileABatchIsBeingGatheredEndsWithinTwoSeconds) {
    StartService();
    ASSERT_EQ(bench_.Ask(StartFrame(u"user", u"C:\\Sync", u"3600")), 4U);
    bench_.machine.Sleep(1000);
    bench_.machine.volume().MakeFile(u"C:\\Sync\\new.txt");
    bench_.machine.Sleep(5000);
    EXPECT_LE(bench_.Stop(), 2500) << "the poll that is under way, and the pause after the cycle";
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, PipeThatCannotBeCreatedEndsTheWorkersAndTheServiceStaysReportedAsRunning) {
    bench_.machine.pipes().Occupy(ipc::ListenServiceNamedPipe::PipeName, 231);
    StartService();
    EXPECT_TRUE(bench_.machine.WaitUntil([&] { return bench_.log.HasTrace("ServiceWorkerMainThread ends"); }, 1200));
    bench_.machine.Sleep(10000);
    EXPECT_EQ(bench_.machine.services().state(), platform::kServiceRunning);
    bench_.Stop();
    EXPECT_EQ(bench_.machine.services().state(), platform::kServiceStopped);
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, SecondCreatorOfThePipesNameIsToldApartInTheLog) {
    bench_.machine.pipes().Occupy(ipc::ListenServiceNamedPipe::PipeName, 5);
    StartService();
    bench_.machine.Sleep(2000);
    EXPECT_TRUE(bench_.log.HasNet("CreateNamedPipe cnp error:Failed to create the named pipe, error code is 5"));
    bench_.Stop();
}

TEST_F(ServiceProcess, ThreadThatCannotBeStartedLeavesAServiceThatEnds) {
    for (const std::uint64_t nth : {1U, 2U}) {
        bench_.machine.faults().Fail({.call = "Threads.StartThread", .nth = nth, .code = 8});
        bench_.StartProcess();
        bench_.Join();
        EXPECT_TRUE(
            bench_.log.HasError("ListenServiceImpl", "OnStart", "Failed to initialize the service, error code is 8"));
        EXPECT_EQ(bench_.machine.services().state(), platform::kServiceStopped);
        ExpectCleanEnd();
    }
}

TEST_F(ServiceProcess, DispatcherThatReturnsWithoutAStopEndsTheService) {
    StartService();
    ASSERT_EQ(bench_.Ask(StartFrame()), 4U);
    bench_.machine.services().EndDispatcher();
    ASSERT_TRUE(bench_.machine.WaitUntil([&] { return bench_.exitCode == 0; }, 5000))
        << bench_.machine.DescribeThreads();
    bench_.Join();
    EXPECT_TRUE(bench_.log.HasTrace("ServiceWorkerMainThread ends"));
    EXPECT_TRUE(bench_.log.HasTrace("ServiceWorkerListenThread ends"));
    ExpectCleanEnd();
}

TEST_F(ServiceProcess, NameOfThePipeThatAnotherProgramSharesEndsTheWorkers) {
    const platform::Handle first =
        bench_.platform.pipes.CreateNamedPipeW(ipc::ListenServiceNamedPipe::PipeName, platform::kPipeAccessDuplex,
                                               platform::kPipeTypeMessage, 255, 0, 0, 0, {});
    StartService();
    EXPECT_TRUE(bench_.machine.WaitUntil([&] { return bench_.log.HasTrace("ServiceWorkerMainThread ends"); }, 1200));
    EXPECT_FALSE(bench_.log.HasTrace("Failed to wait for the client to connect.")) << "it waited for no client";
    bench_.Stop();
    bench_.platform.files.CloseHandle(first);
    ExpectCleanEnd();
}

// ---- A database that somebody keeps locked

class LockedDatabase : public ServiceProcess {
protected:
    // A task is saving a change, and cannot: another program has begun to write to the database.
    void LetASaveWait() {
        bench_.machine.services().Register({u"TaviLumbraService", u"", 0, 0, 0, 0, u""});
        StartService();
        const std::u16string base = Base();
        ASSERT_EQ(bench_.Ask(test::Frame(0, test::StartJson(u"user", u"C:\\Sync", base))), 4U);
        bench_.machine.Sleep(1000);
        locked_.emplace(bench_.machine, DatabaseFile());
        locked_->Execute("BEGIN IMMEDIATE;");
        bench_.machine.volume().MakeFile(u"C:\\Sync\\new.docx", "text");
        bench_.machine.Sleep(8000);
    }
    void Unlock() {
        locked_->Execute("COMMIT;");
        locked_.reset();
    }
    std::u16string Base() {
        std::u16string roaming;
        EXPECT_EQ(bench_.platform.paths.SHGetFolderPathW(platform::kCsidlRoamingAppData, roaming), 0);
        return roaming + u"\\ZenloTavi";
    }
    std::u16string DatabaseFile() { return test::DatabasePath(bench_.platform, Base(), u"user"); }
    bool DatabaseExists() { return bench_.platform.paths.PathFileExistsW(DatabaseFile()); }

    std::optional<test::DatabaseView> locked_;
};

TEST_F(LockedDatabase, StopEndsWhenTheSaveHasGivenUp) {
    LetASaveWait();
    const std::int64_t took = bench_.Stop();
    std::cout << "The stop took " << took << " ms.\n";  // docs/rolling-out.md
    EXPECT_GT(took, 30000) << "longer than the control manager waits";
    EXPECT_LT(took, 480000) << "shorter than install.ps1 waits";
    Unlock();
    EXPECT_EQ(bench_.machine.services().state(), platform::kServiceStopped);
    ExpectCleanEnd();
}

TEST_F(LockedDatabase, UninstallingGivesUpTheControlButDeletesNothingThatTheServiceUses) {
    LetASaveWait();
    bool stoppedWhenUninstalled = false;
    const auto uninstaller = bench_.machine.Spawn("uninstaller", [&] {
        UninstallSyncFileListenService(bench_.platform, u"TaviLumbraService");
        stoppedWhenUninstalled = bench_.machine.services().state() == platform::kServiceStopped;
        DeleteListenServiceDatabase(bench_.platform);
    });
    bench_.machine.Sleep(35000);
    EXPECT_TRUE(bench_.log.HasTrace("TaviLumbraService is uninstalled")) << "the control counts as refused";
    EXPECT_TRUE(DatabaseExists());
    EXPECT_NE(bench_.machine.services().state(), platform::kServiceStopped);
    Unlock();
    bench_.machine.Join(uninstaller);
    bench_.Join();
    EXPECT_TRUE(stoppedWhenUninstalled);
    EXPECT_FALSE(DatabaseExists());
    EXPECT_FALSE(bench_.log.HasTrace("TaviLumbraService is being stopped"));
    EXPECT_FALSE(bench_.log.HasTrace("TaviLumbraService is stopped"));
    EXPECT_TRUE(bench_.log.HasTrace("Database file deleted successfully"));
    EXPECT_EQ(bench_.machine.services().Registered(u"TaviLumbraService"), nullptr);
    ExpectCleanEnd();
}

}  // namespace
}  // namespace tavi::service
