// What an administrator sees of the service: installing, removing and installing again, with the service manager's view
// of it and the log's.
#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "e2e/scenario.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

constexpr wchar_t kService[] = L"TaviLumbraService.exe";

class Installation : public Scenario {
protected:
    // Whatever a test leaves, the next scenario finds the service installed.
    void TearDown() override {
        if (!IsInstalled()) {
            InstallService();
        }
        Scenario::TearDown();
    }

    static void ExpectRegistered() {
        const Registration registration = ServiceRegistration();
        EXPECT_EQ(registration.serviceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
        EXPECT_EQ(registration.startType, static_cast<DWORD>(SERVICE_AUTO_START));
        EXPECT_EQ(registration.errorControl, static_cast<DWORD>(SERVICE_ERROR_NORMAL));
        EXPECT_EQ(registration.displayName, L"TaviLumbraService");
        EXPECT_EQ(registration.binaryPath, L'"' + ProgramPath(kService) + L'"');
        const std::wstring description = ServiceDescription();
        EXPECT_TRUE(description.size() == 212 || description.size() == 58) << description.size();
        EXPECT_NE(description.find(L"ZENLO ORVA"), std::wstring::npos);
    }
};

TEST_F(Installation, InstalledServiceIsRegisteredWithItsDescription) {
    ExpectRegistered();
}

TEST_F(Installation, InstalledTwiceStaysAsItIsAndTheLogSaysWhy) {
    const DWORD process = ServiceProcessId();
    EXPECT_EQ(RunProgram(ProgramPath(kService), {L"/install"}).exitCode, 0);
    EXPECT_EQ(TimesLogged("InstallSyncFileListenServiceCreateService failed, error code is 1073"), 1U);
    EXPECT_EQ(TimesLogged("TaviLumbraService updated successfully") +
                  TimesLogged("TaviLumbraService description updated successfully"),
              1U);
    ExpectRegistered();
    EXPECT_TRUE(IsServiceRunning());
    EXPECT_EQ(ServiceProcessId(), process);
    EXPECT_EQ(Status(), 0);
}

TEST_F(Installation, UninstalledWhileItRunsStopsItFirst) {
    EXPECT_TRUE(IsServiceRunning());
    EXPECT_TRUE(UninstallService());
    EXPECT_EQ(ServiceState(), 0U);
    const std::string logs = Logs();
    std::size_t at = 0;
    for (const char* line : {"TaviLumbraService is being uninstalled", "TaviLumbraService is being stopped",
                             "TaviLumbraService is stopped", "TaviLumbraService is uninstalled"}) {
        at = logs.find(line, at);
        ASSERT_NE(at, std::string::npos) << line;
    }
}

TEST_F(Installation, UninstalledWhenItIsNotInstalledSaysSo) {
    ASSERT_TRUE(UninstallService());
    EXPECT_EQ(RunProgram(ProgramPath(kService), {L"/UNINSTALL"}).exitCode, 0);
    EXPECT_EQ(TimesLogged("UninstallSyncFileListenServiceOpenService failed, error code is 1060"), 1U);
    EXPECT_FALSE(IsInstalled());
}

TEST_F(Installation, InstalledAgainItServes) {
    ASSERT_TRUE(UninstallService());
    ASSERT_TRUE(InstallService());
    ExpectRegistered();
    ASSERT_TRUE(StartInstalledService());
    EXPECT_EQ(Start(), 4);
    EXPECT_TRUE(WaitForStatus(2));
}

TEST_F(Installation, UninstallingDeletesEveryUsersDatabaseAndNothingElse) {
    wchar_t roaming[MAX_PATH];
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, roaming), S_OK);
    const std::filesystem::path data = std::filesystem::path(roaming) / L"ZenloTavi";
    const auto databases = [&data] {
        return std::ranges::count_if(std::filesystem::directory_iterator(data), [](const auto& user) {
            return std::filesystem::exists(user.path() / L"ListenService.dat");
        });
    };
    databaseFolder_ = data.wstring();
    for (const wchar_t* user : {L"one", L"two"}) {
        EXPECT_EQ(Start({}, user), 4);
        EXPECT_TRUE(WaitForStatus(2));
        EXPECT_EQ(Finish(), 6);
    }
    std::filesystem::create_directories(data / L"other");
    std::ofstream(data / L"other" / L"other.dat") << "somebody's";
    EXPECT_EQ(databases(), 2);
    ASSERT_TRUE(UninstallService());
    EXPECT_EQ(databases(), 0);
    EXPECT_TRUE(std::filesystem::exists(data / L"other" / L"other.dat"));
    EXPECT_EQ(TimesLogged("Database file deleted successfully"), 1U);
}

TEST_F(Installation, AnUnknownSwitchDoesNothing) {
    EXPECT_EQ(RunProgram(ProgramPath(kService), {L"/help"}).exitCode, 0);
    EXPECT_TRUE(IsServiceRunning());
    ExpectRegistered();
}

}  // namespace
}  // namespace tavi::e2e
