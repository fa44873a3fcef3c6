#include "service/entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "service/descriptions.h"
#include "sim/captured_log.h"
#include "sim/machine.h"

namespace tavi::service {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// Keeps how many calls of the system had been made when the log was initialised.
class InitialisationLog final : public sim::CapturedLog {
public:
    void Init() override {
        CapturedLog::Init();
        calls = onInit();
    }

    std::function<std::uint64_t()> onInit = [] { return std::uint64_t{0}; };
    std::optional<std::uint64_t> calls;
};

class Entry : public testing::Test {
protected:
    int Run(std::vector<std::u16string> arguments) {
        return RunEntryPoint(platform_, holder_, arguments, u"Test Publisher");
    }
    sim::RegisteredService* Registered() { return machine_.services().Registered(u"TaviLumbraService"); }
    std::uint64_t DispatcherCalls() { return machine_.faults().calls("Services.StartServiceCtrlDispatcherW"); }
    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }
    std::vector<std::string> NetLines() const { return log_.Texts(sim::LogKind::kNet); }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    DumpHandleHolder holder_{platform_};
};

TEST(Descriptions, AreTheTexts) {
    EXPECT_EQ(kServiceName, u"TaviLumbraService");
    EXPECT_EQ(kEnglishDescription,
              u"The ZENLO ORVA Disk Synchronization service records changes in files and directories in the ZENLO ORVA "
              u"Disk Synchronization folder. Stopping or disabling this service will prevent you from using ZENLO ORVA "
              u"disks.");
    EXPECT_EQ(kEnglishDescription.size(), 212U);
    EXPECT_EQ(kChineseDescription.size(), 58U);
    EXPECT_EQ(kChineseDescription.find(u"ZENLO ORVA"), 0U);
}

TEST_F(Entry, LogComesFirstThenTheCrashReport) {
    machine_.services().SetStartedByHand(true);
    EXPECT_EQ(Run({u"/nothing"}), 0);
    EXPECT_EQ(log_.initialisations(), 1);
    EXPECT_THAT(log_.Lines(), ElementsAre(sim::LogLine{sim::LogKind::kNet, "", "", "init dump = 4294967295"}));
}

TEST_F(Entry, LogIsInitialisedBeforeTheCrashReportAsksTheSystemForAnything) {
    InitialisationLog log;
    const std::uint64_t before = machine_.faults().calls();
    log.onInit = [this] { return machine_.faults().calls(); };
    EXPECT_EQ(Run({u"/nothing"}), 0);
    EXPECT_EQ(log.calls, before);
    EXPECT_GT(machine_.faults().calls(), before) << "the registration looks for its library";
}

TEST_F(Entry, ResultOfTheRegistrationIsLoggedInDecimal) {
    machine_.modules().SetExecutablePath(u"C:\\Program Files\\App\\TaviLumbraService.exe");
    machine_.files().WriteText(u"C:\\Program Files\\App\\DumpReport.exe", "MZ");
    EXPECT_EQ(Run({u"/nothing"}), 0);
    EXPECT_THAT(NetLines(), ElementsAre("init dump = 126"));

    log_.Clear();
    machine_.modules().AddLibrary(u"C:\\Program Files\\App\\ZnDumpFile.dll", {"RegisterAppCrashHandler"});
    EXPECT_EQ(Run({u"/nothing"}), 0);
    EXPECT_THAT(NetLines(), ElementsAre("init dump = 0"));
    ASSERT_EQ(machine_.modules().registrations().size(), 1U);
    EXPECT_EQ(machine_.modules().registrations().front().version, u"3.0.0.300");
    EXPECT_EQ(machine_.modules().registrations().front().productTag, u"TAVINOOK");
}

TEST_F(Entry, InstallInAnyLetterCaseInstalls) {
    for (const auto* word : {u"/install", u"/INSTALL", u"/InStAlL"}) {
        EXPECT_EQ(Run({word}), 0);
        ASSERT_NE(Registered(), nullptr);
        EXPECT_EQ(Registered()->definition.displayName, u"TaviLumbraService");
        EXPECT_EQ(Registered()->description, kEnglishDescription);
        EXPECT_EQ(Run({u"/uninstall"}), 0);
    }
    EXPECT_EQ(DispatcherCalls(), 0U);
}

TEST_F(Entry, UninstallInAnyLetterCaseUninstallsAndDeletesTheDatabases) {
    for (const auto* word : {u"/uninstall", u"/UNINSTALL", u"/unInstall"}) {
        EXPECT_EQ(Run({u"/install"}), 0);
        log_.Clear();
        EXPECT_EQ(Run({word}), 0);
        EXPECT_EQ(Registered(), nullptr);
        EXPECT_THAT(Traces(), Contains("TaviLumbraService is uninstalled"));
        EXPECT_THAT(NetLines(), Contains(testing::StartsWith("DeleteListenServiceDatabaseFindFirstFile function "
                                                             "failed, error code is ")));
    }
}

TEST_F(Entry, DatabasesAreDeletedEvenWhenNothingWasInstalled) {
    EXPECT_EQ(Run({u"/uninstall"}), 0);
    EXPECT_THAT(NetLines(), Contains("UninstallSyncFileListenServiceOpenService failed, error code is 1060"));
    EXPECT_EQ(machine_.faults().calls("Paths.SHGetFolderPathW"), 1U);
}

TEST_F(Entry, DescriptionIsSetWhateverTheOutcomeOfTheInstallation) {
    EXPECT_EQ(Run({u"/install"}), 0);
    Registered()->description.clear();
    EXPECT_EQ(Run({u"/install"}), 0);
    EXPECT_THAT(NetLines(), Contains("InstallSyncFileListenServiceCreateService failed, error code is 1073"));
    EXPECT_EQ(Registered()->description, kEnglishDescription);
}

TEST_F(Entry, OnlyUserInterfaceLanguage2053GetsTheChineseDescription) {
    struct Row {
        std::uint16_t language;
        std::u16string_view description;
    };
    for (const Row& row : {Row{2053, kChineseDescription}, Row{2052, kEnglishDescription},
                           Row{1033, kEnglishDescription}, Row{0, kEnglishDescription}}) {
        machine_.modules().SetUiLanguage(row.language);
        EXPECT_EQ(Run({u"/install"}), 0);
        EXPECT_EQ(Registered()->description, row.description) << row.language;
    }
}

TEST_F(Entry, AnyOtherSlashWordDoesNothing) {
    for (const auto* word : {u"/", u"/service", u"/installer", u"/ install", u"//install", u"/\u0130nstall", u"/?"}) {
        log_.Clear();
        machine_.faults().ClearHistory();
        EXPECT_EQ(Run({word}), 0);
        EXPECT_THAT(Traces(), IsEmpty());
        EXPECT_THAT(machine_.faults().history(), Not(Contains(testing::StartsWith("Services."))));
    }
}

TEST_F(Entry, WithoutASlashTheServicePathIsTaken) {
    machine_.services().SetStartedByHand(true);
    std::uint64_t calls = 0;
    for (const auto& arguments : std::vector<std::vector<std::u16string>>{
             {}, {u"install"}, {u"-install"}, {u""}, {u"install", u"/install"}, {u" /install"}}) {
        log_.Clear();
        EXPECT_EQ(Run(arguments), 0);
        EXPECT_EQ(DispatcherCalls(), ++calls);
        EXPECT_EQ(Registered(), nullptr);
    }
}

TEST_F(Entry, OnlyTheFirstArgumentCounts) {
    EXPECT_EQ(Run({u"/install", u"/uninstall"}), 0);
    EXPECT_NE(Registered(), nullptr);
}

TEST_F(Entry, StartedByHandTheServiceLogsThatItCannotRegister) {
    machine_.services().SetStartedByHand(true);
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(Traces(), ElementsAre("Junctions that users made are not followed",
                                      "TaviLumbraService is being registered with Service Control Manager"));
    EXPECT_THAT(NetLines(), Contains("StartupSyncFileListenServiceregistration with Service Control Manager failed, "
                                     "error code is 1063"));
    EXPECT_THAT(machine_.leaks(), IsEmpty());
}

TEST_F(Entry, SystemIsAskedNotToFollowJunctionsOfUsersBeforeAnythingOfUsersIsTouched) {
    machine_.services().SetStartedByHand(true);
    for (const auto& arguments : std::vector<std::vector<std::u16string>>{{}, {u"/uninstall"}}) {
        machine_.modules().ForgetProcess();
        machine_.faults().ClearHistory();
        EXPECT_EQ(Run(arguments), 0);
        ASSERT_EQ(machine_.modules().mitigations().size(), 1U);
        EXPECT_EQ(machine_.modules().mitigations().front().policy, 16U);
        EXPECT_EQ(machine_.modules().mitigations().front().flags, 1U);
        const std::vector<std::string> calls = machine_.faults().history();
        const auto asked = std::find(calls.begin(), calls.end(), "Modules.CallSetProcessMitigationPolicy");
        const auto isService = [](const std::string& call) { return call.starts_with("Services."); };
        EXPECT_LT(asked, std::find_if(calls.begin(), calls.end(), isService));
    }
    EXPECT_EQ(log_.Count("Junctions that users made are not followed"), 2U);
}

TEST_F(Entry, InstallingAndDoingNothingAskForNoMitigation) {
    EXPECT_EQ(Run({u"/install"}), 0);
    EXPECT_EQ(Run({u"/nothing"}), 0);
    EXPECT_THAT(machine_.modules().mitigations(), IsEmpty());
}

TEST_F(Entry, TraceSaysWhyJunctionsOfUsersAreFollowed) {
    machine_.services().SetStartedByHand(true);
    machine_.faults().Fail({.call = "Modules.CallSetProcessMitigationPolicy"});
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(Traces(),
                Contains("Junctions that users made are followed: the system refuses that mitigation, error code "
                         "is 87"));
    machine_.modules().RemoveLibrary(u"kernel32.dll");
    machine_.modules().AddLibrary(u"kernel32.dll", {});
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(Traces(), Contains("Junctions that users made are followed: the system has no mitigations"));
    EXPECT_EQ(DispatcherCalls(), 2U) << "the service runs all the same";
}

}  // namespace
}  // namespace tavi::service
