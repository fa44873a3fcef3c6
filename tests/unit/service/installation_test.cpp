#include "service/installation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "db/sqlite3_operator.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::service {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::u16string kName = u"TaviLumbraService";

class Installation : public testing::Test {
protected:
    void TearDown() override { EXPECT_THAT(machine_.leaks(), IsEmpty()); }

    void Install() { InstallSyncFileListenService(platform_, kName, kName); }
    void Update() { UpdateSyncFileListenServiceDescription(platform_, kName, u"The text."); }
    void Uninstall() { UninstallSyncFileListenService(platform_, kName); }
    void DeleteDatabases() { DeleteListenServiceDatabase(platform_); }

    sim::RegisteredService* Registered() { return machine_.services().Registered(kName); }
    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }
    std::vector<std::string> NetLines() const { return log_.Texts(sim::LogKind::kNet); }

    // A service that runs and, told to stop, answers queries with these states.
    void LetItRun(std::vector<std::uint32_t> statesAfterStop) {
        Install();
        log_.Clear();
        Registered()->status.currentState = platform::kServiceRunning;
        machine_.services().OnControl(
            [states = std::move(statesAfterStop)](sim::RegisteredService& service, std::uint32_t control) {
                EXPECT_EQ(control, 1U);
                service.status.currentState = platform::kServiceStopPending;
                for (const std::uint32_t state : states) {
                    platform::ServiceStatus status = service.status;
                    status.currentState = state;
                    service.nextStatuses.push_back(status);
                }
                return 0U;
            });
    }

    std::u16string RoamingFolder() {
        std::u16string folder;
        EXPECT_EQ(platform_.paths.SHGetFolderPathW(platform::kCsidlRoamingAppData, folder), 0);
        return folder;
    }
    std::u16string MakeUser(std::u16string_view name) {
        const std::u16string path = RoamingFolder() + u"\\ZenloTavi\\" + std::u16string(name) + u"\\ListenService.dat";
        db::SqLite3Operator database(platform_);
        EXPECT_TRUE(database.InitSqLiteDb(path));
        return path;
    }
    bool Exists(const std::u16string& path) { return platform_.paths.Waccess(path, 0) == 0; }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
};

// ---- Install

TEST_F(Installation, RegistersTheServiceWithItsQuotedPath) {
    machine_.modules().SetExecutablePath(u"C:\\Program Files\\App\\TaviLumbraService.exe");
    Install();
    ASSERT_NE(Registered(), nullptr);
    const platform::ServiceDefinition& definition = Registered()->definition;
    EXPECT_EQ(definition.serviceName, kName);
    EXPECT_EQ(definition.displayName, kName);
    EXPECT_EQ(definition.desiredAccess, 4U);
    EXPECT_EQ(definition.serviceType, 0x10U);
    EXPECT_EQ(definition.startType, 2U);
    EXPECT_EQ(definition.errorControl, 1U);
    EXPECT_EQ(definition.binaryPath, u"\"C:\\Program Files\\App\\TaviLumbraService.exe\"");
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being installed", "TaviLumbraService is installed"));
    EXPECT_THAT(NetLines(), IsEmpty());
    EXPECT_EQ(Registered()->status.currentState, 1U) << "it is not started";
}

TEST_F(Installation, EachStepOfInstallingFailsWithItsOwnText) {
    struct Row {
        const char* call;
        const char* line;
    };
    const Row rows[] = {
        {"Modules.GetModuleFileNameW", "InstallSyncFileListenServiceGetModuleFileName failed, error code is 1717"},
        {"Services.OpenSCManagerW", "InstallSyncFileListenServiceOpenSCManager failed, error code is 1717"},
        {"Services.CreateServiceW", "InstallSyncFileListenServiceCreateService failed, error code is 1717"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        log_.Clear();
        machine_.faults().Fail({.call = row.call, .code = 1717});
        Install();
        EXPECT_THAT(NetLines(), ElementsAre(row.line));
        EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being installed"));
        EXPECT_EQ(Registered(), nullptr);
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }
}

TEST_F(Installation, EmptyPathWithoutACodeIsAnErrorOfItsOwn) {
    machine_.modules().SetExecutablePath(u"");
    Install();
    EXPECT_EQ(Registered(), nullptr);
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "InstallSyncFileListenService",
                              "InstallSyncFileListenService The service path is empty"))
        << log_.Dump();
    EXPECT_THAT(NetLines(), IsEmpty());
}

TEST_F(Installation, PathThatIsCutToTheBufferIsAFailureAndNotRegistered) {
    const std::u16string folder = u"C:\\" + std::u16string(200, u'a') + u"\\";
    const std::u16string longest = folder + std::u16string(259 - folder.size() - 4, u'b') + u".exe";
    machine_.modules().SetExecutablePath(longest);
    Install();
    ASSERT_NE(Registered(), nullptr);
    EXPECT_EQ(Registered()->definition.binaryPath, u'"' + longest + u'"');
    Uninstall();
    for (const std::size_t units : {260U, 300U}) {
        SCOPED_TRACE(units);
        log_.Clear();
        machine_.modules().SetExecutablePath(folder + std::u16string(units - folder.size() - 4, u'b') + u".exe");
        Install();
        EXPECT_EQ(Registered(), nullptr);
        EXPECT_THAT(NetLines(), ElementsAre("InstallSyncFileListenServiceGetModuleFileName failed, error code is 122"));
    }
}

TEST_F(Installation, InstallingTwiceFailsTheSecondTimeAndTheDescriptionIsStillUpdated) {
    Install();
    log_.Clear();
    Install();
    Update();
    EXPECT_THAT(NetLines(), ElementsAre("InstallSyncFileListenServiceCreateService failed, error code is 1073"));
    EXPECT_EQ(Registered()->description, u"The text.");
}

// ---- Description

TEST_F(Installation, DescriptionIsSet) {
    Install();
    log_.Clear();
    Update();
    EXPECT_EQ(Registered()->description, u"The text.");
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService description is being updated",
                                      "TaviLumbraService updated successfully"));
}

TEST_F(Installation, EachStepOfTheDescriptionFailsWithItsOwnText) {
    Install();
    struct Row {
        const char* call;
        const char* line;
    };
    const Row rows[] = {
        {"Services.OpenSCManagerW", "UpdateSyncFileListenServiceDescriptionOpenSCManager failed, error code is 1717"},
        {"Services.OpenServiceW", "UpdateSyncFileListenServiceDescriptionOpenService failed, error code is 1717"},
        {"Services.ChangeServiceConfig2W",
         "UpdateSyncFileListenServiceDescriptionChangeServiceConfig2 failed, error code is 1717"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        log_.Clear();
        machine_.faults().Fail({.call = row.call, .code = 1717});
        Update();
        EXPECT_THAT(NetLines(), ElementsAre(row.line));
        EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService description is being updated"));
        EXPECT_THAT(Registered()->description, IsEmpty());
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }
}

TEST_F(Installation, DescriptionOfAServiceThatIsNotInstalledFails) {
    Update();
    EXPECT_THAT(NetLines(),
                ElementsAre("UpdateSyncFileListenServiceDescriptionOpenService failed, error code is 1060"));
}

// ---- Uninstall

TEST_F(Installation, ServiceThatDoesNotRunIsDeletedWithoutStopMessages) {
    Install();
    log_.Clear();
    Uninstall();
    EXPECT_EQ(Registered(), nullptr);
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being uninstalled", "TaviLumbraService is uninstalled"));
    EXPECT_THAT(NetLines(), IsEmpty());
    EXPECT_EQ(machine_.faults().calls("Services.QueryServiceStatus"), 0U);
}

TEST_F(Installation, RunningServiceIsStoppedAndWaitedFor) {
    LetItRun({3, 3, 3, 1});
    Uninstall();
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being uninstalled", "TaviLumbraService is being stopped",
                                      "TaviLumbraService is stopped", "TaviLumbraService is uninstalled"));
    EXPECT_EQ(machine_.NowMilliseconds(), 1500);
}

TEST_F(Installation, ThereIsNoLimitToTheWait) {
    LetItRun([] {
        std::vector<std::uint32_t> states(5000, 3);
        states.push_back(1);
        return states;
    }());
    Uninstall();
    EXPECT_EQ(machine_.NowMilliseconds(), 2500000);
    EXPECT_THAT(Traces(), Contains("TaviLumbraService is stopped"));
}

TEST_F(Installation, ServiceThatDoesNotStopIsDeletedAllTheSame) {
    LetItRun({3, 4});
    Uninstall();
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being uninstalled", "TaviLumbraService is being stopped",
                                      "TaviLumbraService failed to stop", "TaviLumbraService is uninstalled"));
}

TEST_F(Installation, StateThatCannotBeReadEndsTheWait) {
    LetItRun({3, 3});
    machine_.faults().Fail({.call = "Services.QueryServiceStatus", .nth = 2, .code = 1717});
    Uninstall();
    EXPECT_THAT(Traces(), Contains("TaviLumbraService failed to stop"));
    EXPECT_THAT(Traces(), Contains("TaviLumbraService is uninstalled"));
    EXPECT_THAT(NetLines(), IsEmpty());
}

TEST_F(Installation, EachStepOfUninstallingFailsWithItsOwnText) {
    Install();
    struct Row {
        const char* call;
        const char* line;
    };
    const Row rows[] = {
        {"Services.OpenSCManagerW", "UninstallSyncFileListenServiceOpenSCManager failed, error code is 1717"},
        {"Services.OpenServiceW", "UninstallSyncFileListenServiceOpenService failed, error code is 1717"},
        {"Services.DeleteService", "UninstallSyncFileListenServiceDeleteService failed, error code is 1717"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        log_.Clear();
        machine_.faults().Fail({.call = row.call, .code = 1717});
        Uninstall();
        EXPECT_THAT(NetLines(), ElementsAre(row.line));
        EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being uninstalled"));
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }
}

TEST_F(Installation, UninstallingWhatIsNotInstalledFailsToOpenIt) {
    Uninstall();
    EXPECT_THAT(NetLines(), ElementsAre("UninstallSyncFileListenServiceOpenService failed, error code is 1060"));
}

TEST_F(Installation, CanBeInstalledAgainAfterUninstalling) {
    Install();
    Uninstall();
    log_.Clear();
    Install();
    EXPECT_THAT(Traces(), Contains("TaviLumbraService is installed"));
}

// ---- Databases

TEST_F(Installation, DatabasesOfAllUsersAreDeleted) {
    const std::u16string first = MakeUser(u"0a1b");
    const std::u16string second = MakeUser(u"2c3d");
    machine_.files().WriteText(first + u"-wal", "");
    log_.Clear();
    DeleteDatabases();
    EXPECT_FALSE(Exists(first));
    EXPECT_FALSE(Exists(first + u"-wal"));
    EXPECT_FALSE(Exists(second));
    EXPECT_THAT(Traces(), Contains("Database file deleted successfully"));
    EXPECT_THAT(NetLines(), IsEmpty());
}

TEST_F(Installation, PerUserFolderWithoutADatabaseIsSkippedSilently) {
    const std::u16string file = RoamingFolder() + u"\\ZenloTavi\\0a1b\\other.txt";
    machine_.files().WriteText(file, "text");
    DeleteDatabases();
    EXPECT_TRUE(Exists(file));
    EXPECT_FALSE(Exists(RoamingFolder() + u"\\ZenloTavi\\0a1b\\ListenService.dat"));
    EXPECT_THAT(log_.Lines(), ElementsAre(sim::LogLine{sim::LogKind::kTrace, "", "",
                                                       "Database file deleted "
                                                       "successfully"}));
    EXPECT_EQ(machine_.faults().calls("Sqlite.OpenV2"), 0U);
}

TEST_F(Installation, OrdinaryFilesInTheDataFolderAreIgnored) {
    const std::u16string file = RoamingFolder() + u"\\ZenloTavi\\ListenService.dat";
    machine_.files().WriteText(file, "text");
    DeleteDatabases();
    EXPECT_TRUE(Exists(file));
    EXPECT_EQ(machine_.faults().calls("Sqlite.OpenV2"), 0U);
}

TEST_F(Installation, FolderThatCannotBeHadIsLogged) {
    machine_.faults().Fail({.call = "Paths.SHGetFolderPathW"});
    DeleteDatabases();
    ASSERT_EQ(NetLines().size(), 1U);
    EXPECT_THAT(NetLines().front(),
                StartsWith("DeleteListenServiceDatabaseFailed to obtain the Roaming, error code is "));
    EXPECT_THAT(Traces(), IsEmpty());
}

// Answers for the folder by an HRESULT, as the shell does, and leaves the thread's last error as it was.
class FolderlessPaths : public test::ForwardingPaths {
public:
    using ForwardingPaths::ForwardingPaths;
    std::int32_t SHGetFolderPathW(std::int32_t, std::u16string&) override {
        return static_cast<std::int32_t>(0x80070005);
    }
};

TEST_F(Installation, CodeLoggedForAMissingFolderIsTheLastError) {
    FolderlessPaths paths(platform_.paths);
    platform::Platform platform = test::PlatformWith(platform_, paths);
    machine_.faults().Fail({.call = "Paths.DeleteFileW", .code = 1717});
    EXPECT_FALSE(platform_.paths.DeleteFileW(u"C:\\any"));
    DeleteListenServiceDatabase(platform);
    EXPECT_THAT(NetLines(), ElementsAre("DeleteListenServiceDatabaseFailed to obtain the Roaming, error code is 1717"));
}

TEST_F(Installation, FolderThatCannotBeListedIsLogged) {
    machine_.faults().Fail({.call = "Paths.FindFirstFileW", .code = 1717});
    DeleteDatabases();
    EXPECT_THAT(NetLines(),
                ElementsAre("DeleteListenServiceDatabaseFindFirstFile function failed, error code is 1717"));
    EXPECT_THAT(Traces(), Not(Contains("Database file deleted successfully")));
}

TEST_F(Installation, DataFolderThatDoesNotExistIsAFailedListing) {
    DeleteDatabases();
    ASSERT_EQ(NetLines().size(), 1U);
    EXPECT_THAT(NetLines().front(),
                StartsWith("DeleteListenServiceDatabaseFindFirstFile function failed, error code is "));
}

TEST_F(Installation, ControlThatTheManagerGivesUpCountsAsRefusedAndTheStopIsStillWaitedFor) {
    Install();
    log_.Clear();
    Registered()->status.currentState = platform::kServiceRunning;
    machine_.services().OnControl([](sim::RegisteredService& service, std::uint32_t) {
        service.status.currentState = platform::kServiceStopPending;
        platform::ServiceStatus stopped = service.status;
        stopped.currentState = platform::kServiceStopped;
        service.nextStatuses = {service.status, service.status, stopped};
        return platform::kErrorServiceRequestTimeout;
    });
    const std::int64_t before = machine_.NowMilliseconds();
    Uninstall();
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is being uninstalled", "TaviLumbraService is uninstalled"));
    EXPECT_EQ(machine_.NowMilliseconds() - before, 1000) << "two rounds of the wait";
    EXPECT_EQ(Registered(), nullptr);
}

TEST_F(Installation, RefusedControlIsNotWaitedFor) {
    Install();
    Registered()->status.currentState = platform::kServiceStopPending;
    machine_.services().OnControl([](sim::RegisteredService&, std::uint32_t) { return 1061U; });
    const std::int64_t before = machine_.NowMilliseconds();
    Uninstall();
    EXPECT_EQ(machine_.NowMilliseconds(), before);
}

}  // namespace
}  // namespace tavi::service
