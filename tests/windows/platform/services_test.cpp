// The service control manager's calls, with a service of the test's own.
#include "platform/services.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "windows/platform/windows_world.h"

namespace tavi::contract {
namespace {

constexpr char16_t kName[] = u"TaviPlatformProbe";
constexpr std::uint32_t kAllRights = 0xF01FF;  // SERVICE_ALL_ACCESS

class ServicesTest : public testing::Test {
protected:
    void SetUp() override {
        manager = services.OpenSCManagerW(platform::kScManagerConnect | platform::kScManagerCreateService);
        if (manager == platform::kNoServiceHandle && parts.errors.GetLastError() == platform::kErrorAccessDenied) {
            GTEST_SKIP() << "only an administrator may create services";
        }
        ASSERT_NE(manager, platform::kNoServiceHandle);
    }
    void TearDown() override {
        if (service != platform::kNoServiceHandle) {
            services.DeleteService(service);
            EXPECT_TRUE(services.CloseServiceHandle(service));
        }
        if (manager != platform::kNoServiceHandle) {
            EXPECT_TRUE(services.CloseServiceHandle(manager));
        }
    }

    platform::ServiceHandle Create() {
        platform::ServiceDefinition definition;
        definition.serviceName = kName;
        definition.displayName = u"Tavi platform probe";
        definition.desiredAccess = kAllRights;
        definition.serviceType = platform::kServiceWin32OwnProcess;
        definition.startType = 3;  // on demand
        definition.errorControl = platform::kServiceErrorNormal;
        definition.binaryPath = u"\"" + ProgramFolder() + u"\\service_probe.exe\"";
        return services.CreateServiceW(manager, definition);
    }
    bool AwaitState(std::uint32_t state) {
        platform::ServiceStatus status;
        for (int i = 0; i < 300; ++i) {
            EXPECT_TRUE(services.QueryServiceStatus(service, status));
            if (status.currentState == state) {
                return true;
            }
            parts.threads.Sleep(50);
        }
        return false;
    }

    platform::WindowsPlatform windows;
    platform::Platform parts = windows.Parts();
    platform::Services& services = parts.services;
    platform::ServiceHandle manager = platform::kNoServiceHandle;
    platform::ServiceHandle service = platform::kNoServiceHandle;
};

TEST_F(ServicesTest, AServiceIsCreatedOnceDescribedAndDeleted) {
    service = Create();
    ASSERT_NE(service, platform::kNoServiceHandle);
    EXPECT_EQ(Create(), platform::kNoServiceHandle);
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorServiceExists);
    EXPECT_TRUE(services.ChangeServiceConfig2W(service, platform::kServiceConfigDescription, u"A probe. \u63A2\u9488"));

    alignas(QUERY_SERVICE_CONFIGW) std::byte buffer[8192];
    DWORD needed = 0;
    ASSERT_TRUE(::QueryServiceConfig2W(reinterpret_cast<SC_HANDLE>(service), SERVICE_CONFIG_DESCRIPTION,
                                       reinterpret_cast<LPBYTE>(buffer), sizeof buffer, &needed));
    EXPECT_STREQ(reinterpret_cast<SERVICE_DESCRIPTIONW*>(buffer)->lpDescription, L"A probe. \u63A2\u9488");
    ASSERT_TRUE(::QueryServiceConfigW(reinterpret_cast<SC_HANDLE>(service),
                                      reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer), sizeof buffer, &needed));
    const auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
    EXPECT_EQ(config->dwServiceType, platform::kServiceWin32OwnProcess);
    EXPECT_EQ(config->dwStartType, 3u);
    EXPECT_STREQ(config->lpDisplayName, L"Tavi platform probe");
    EXPECT_STREQ(config->lpServiceStartName, L"LocalSystem");

    EXPECT_TRUE(services.DeleteService(service));
    EXPECT_TRUE(services.CloseServiceHandle(service));
    service = platform::kNoServiceHandle;
    EXPECT_EQ(services.OpenServiceW(manager, kName, platform::kServiceQueryStatus), platform::kNoServiceHandle);
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorServiceDoesNotExist);
}

TEST_F(ServicesTest, AStoppedServiceCannotBeControlled) {
    service = Create();
    ASSERT_NE(service, platform::kNoServiceHandle);
    platform::ServiceStatus status;
    EXPECT_FALSE(services.ControlService(service, platform::kServiceControlStop, status));
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorServiceNotActive);
    EXPECT_TRUE(services.QueryServiceStatus(service, status));
    EXPECT_EQ(status.currentState, platform::kServiceStopped);
}

TEST_F(ServicesTest, AServiceRunsThroughItsCallbacksAndStopsWhenTold) {
    service = Create();
    ASSERT_NE(service, platform::kNoServiceHandle);
    ASSERT_TRUE(::StartServiceW(reinterpret_cast<SC_HANDLE>(service), 0, nullptr)) << ::GetLastError();
    ASSERT_TRUE(AwaitState(platform::kServiceRunning));
    const platform::ServiceHandle opened = services.OpenServiceW(
        manager, kName, platform::kServiceStop | platform::kServiceQueryStatus | platform::kDelete);
    ASSERT_NE(opened, platform::kNoServiceHandle);
    platform::ServiceStatus status;
    EXPECT_TRUE(services.QueryServiceStatus(opened, status));
    EXPECT_EQ(status.serviceType, platform::kServiceWin32OwnProcess);
    EXPECT_EQ(status.controlsAccepted, platform::kServiceAcceptStop);
    EXPECT_TRUE(services.ControlService(opened, platform::kServiceControlStop, status));
    EXPECT_TRUE(AwaitState(platform::kServiceStopped));
    EXPECT_TRUE(services.CloseServiceHandle(opened));
}

TEST_F(ServicesTest, AProgramThatTheManagerDidNotStartHasNoDispatcher) {
    EXPECT_FALSE(services.StartServiceCtrlDispatcherW(kName, [] {}));
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorFailedServiceControllerConnect);
}

}  // namespace
}  // namespace tavi::contract
