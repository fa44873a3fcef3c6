#include "sim/sim_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

// The system hands a service no context, so neither does the simulated one.
struct Service {
    Machine* machine = nullptr;
    StatusHandle handle = kNoStatusHandle;
    std::atomic<bool> stop = false;
    std::vector<std::uint32_t> controls;
};
Service* service = nullptr;

void Report(std::uint32_t state) {
    ServiceStatus status{0x10, state, 5, 0, 0, 0, 0};
    service->machine->platform().services.SetServiceStatus(service->handle, status);
}

void OnControl(std::uint32_t control) {
    service->controls.push_back(control);
    if (control == kServiceControlStop) {
        Report(kServiceStopPending);
        service->stop = true;
        service->machine->platform().threads.Sleep(30);
        Report(kServiceStopped);
    }
}

void ServiceMain() {
    service->handle = service->machine->platform().services.RegisterServiceCtrlHandlerW(u"TestService", &OnControl);
    Report(kServiceRunning);
    while (!service->stop) {
        service->machine->platform().threads.Sleep(10);
    }
}

class ServicesTest : public testing::Test {
protected:
    ServicesTest() {
        running.machine = &machine;
        service = &running;
    }
    ~ServicesTest() override { service = nullptr; }

    Service running;
    Machine machine;
    Platform platform = machine.platform();
};

TEST_F(ServicesTest, DispatcherRunsMainAndControlsUntilStoppedIsReported) {
    bool result = false;
    const auto process = machine.StartProcess(
        [&] { result = platform.services.StartServiceCtrlDispatcherW(u"TestService", &ServiceMain); });
    EXPECT_TRUE(machine.services().WaitForState(kServiceRunning));
    EXPECT_TRUE(machine.services().SendControl(kServiceControlInterrogate));
    EXPECT_TRUE(machine.services().SendControl(kServiceControlStop));
    machine.Join(process);
    EXPECT_TRUE(result);
    EXPECT_THAT(running.controls, ElementsAre(kServiceControlInterrogate, kServiceControlStop));
    std::vector<std::uint32_t> states;
    for (const ServiceStatus& status : machine.services().statuses()) {
        states.push_back(status.currentState);
    }
    EXPECT_THAT(states, ElementsAre(kServiceRunning, kServiceStopPending, kServiceStopped));
    EXPECT_FALSE(machine.services().SendControl(kServiceControlStop, 100)) << "nobody there any more";
    machine.JoinAll();
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(ServicesTest, ProgramThatWasStartedByHandGetsNoDispatcher) {
    machine.services().SetStartedByHand(true);
    EXPECT_FALSE(platform.services.StartServiceCtrlDispatcherW(u"TestService", &ServiceMain));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorFailedServiceControllerConnect);
}

TEST_F(ServicesTest, DispatcherCanBeEndedWithoutAReport) {
    machine.faults().Fail({.call = "Services.RegisterServiceCtrlHandlerW"});
    running.stop = true;
    const auto process =
        machine.StartProcess([&] { platform.services.StartServiceCtrlDispatcherW(u"TestService", &ServiceMain); });
    machine.Sleep(100);
    machine.services().EndDispatcher();
    machine.Join(process);
    EXPECT_THAT(machine.services().statuses(), IsEmpty());
}

TEST_F(ServicesTest, RegistryCreatesOpensDescribesAndDeletes) {
    const ServiceHandle manager = platform.services.OpenSCManagerW(kScManagerConnect | kScManagerCreateService);
    const ServiceDefinition definition{u"S", u"S", kServiceQueryStatus, 0x10, 2, 1, u"\"C:\\s.exe\""};
    const ServiceHandle created = platform.services.CreateServiceW(manager, definition);
    ASSERT_NE(created, kNoServiceHandle);
    EXPECT_EQ(platform.services.CreateServiceW(manager, definition), kNoServiceHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorServiceExists);
    EXPECT_FALSE(platform.services.DeleteService(created));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorAccessDenied) << "opened for queries only";
    const ServiceHandle opened =
        platform.services.OpenServiceW(manager, u"s", kServiceChangeConfig | kServiceStop | kDelete);
    EXPECT_TRUE(platform.services.ChangeServiceConfig2W(opened, kServiceConfigDescription, u"text"));
    ASSERT_NE(machine.services().Registered(u"S"), nullptr);
    EXPECT_EQ(machine.services().Registered(u"S")->description, u"text");
    EXPECT_EQ(machine.services().Registered(u"S")->definition.binaryPath, u"\"C:\\s.exe\"");
    ServiceStatus status;
    EXPECT_FALSE(platform.services.ControlService(opened, kServiceControlStop, status));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorServiceNotActive);
    EXPECT_TRUE(platform.services.DeleteService(opened));
    EXPECT_FALSE(platform.services.DeleteService(opened));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorServiceMarkedForDelete);
    for (const ServiceHandle handle : {created, opened, manager}) {
        EXPECT_TRUE(platform.services.CloseServiceHandle(handle));
    }
    EXPECT_EQ(machine.services().Registered(u"S"), nullptr);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(ServicesTest, StopPendingCanBeScripted) {
    machine.services().Register({u"S", u"S", 0, 0x10, 2, 1, u"x"});
    RegisteredService* registered = machine.services().Registered(u"S");
    registered->status.currentState = kServiceRunning;
    machine.services().OnControl([](RegisteredService& target, std::uint32_t) {
        for (const std::uint32_t state : {3U, 3U, 1U}) {
            target.nextStatuses.push_back({0x10, state, 0, 0, 0, 0, 0});
        }
        return 0U;
    });
    const ServiceHandle manager = platform.services.OpenSCManagerW(1);
    const ServiceHandle opened = platform.services.OpenServiceW(manager, u"S", kServiceStop | kServiceQueryStatus);
    ServiceStatus status;
    EXPECT_TRUE(platform.services.ControlService(opened, kServiceControlStop, status));
    std::vector<std::uint32_t> states;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(platform.services.QueryServiceStatus(opened, status));
        states.push_back(status.currentState);
    }
    EXPECT_THAT(states, ElementsAre(3, 3, 1, 1));
    EXPECT_EQ(platform.services.OpenServiceW(manager, u"none", 1), kNoServiceHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorServiceDoesNotExist);
}

}  // namespace
}  // namespace tavi::sim
