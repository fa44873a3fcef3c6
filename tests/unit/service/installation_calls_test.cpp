// What installing, describing and uninstalling ask the service control manager for, and in which order they close and
// log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "service/installation.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::service {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::u16string kName = u"TaviLumbraService";

// Hands every call on, and keeps with what access handles are asked for, and when which kind of handle is closed.
class NotingServices final : public test::ForwardingServices {
public:
    NotingServices(platform::Services& real, std::vector<std::string>& order)
        : ForwardingServices(real), order_(order) {}

    platform::ServiceHandle OpenSCManagerW(std::uint32_t access) override {
        managerAccess.push_back(access);
        return Keep("manager", ForwardingServices::OpenSCManagerW(access));
    }
    platform::ServiceHandle CreateServiceW(platform::ServiceHandle manager,
                                           const platform::ServiceDefinition& definition) override {
        return Keep("service", ForwardingServices::CreateServiceW(manager, definition));
    }
    platform::ServiceHandle OpenServiceW(platform::ServiceHandle manager, const std::u16string& serviceName,
                                         std::uint32_t access) override {
        serviceAccess.push_back(access);
        return Keep("service", ForwardingServices::OpenServiceW(manager, serviceName, access));
    }
    bool CloseServiceHandle(platform::ServiceHandle handle) override {
        order_.push_back("close " + kinds_[handle]);
        return ForwardingServices::CloseServiceHandle(handle);
    }

    std::vector<std::uint32_t> managerAccess;
    std::vector<std::uint32_t> serviceAccess;

private:
    platform::ServiceHandle Keep(const char* kind, platform::ServiceHandle handle) {
        kinds_[handle] = kind;
        return handle;
    }

    std::vector<std::string>& order_;
    std::map<platform::ServiceHandle, std::string> kinds_;
};

class InstallationCalls : public testing::Test {
protected:
    InstallationCalls() {
        log_.OnLine([this](const sim::LogLine& line) {
            if (line.kind == sim::LogKind::kNet) {
                order_.push_back(line.text);
            }
        });
    }
    void TearDown() override { EXPECT_THAT(machine_.leaks(), IsEmpty()); }

    void Install() { InstallSyncFileListenService(platform_, kName, kName); }
    void Update() { UpdateSyncFileListenServiceDescription(platform_, kName, u"The text."); }
    void Uninstall() { UninstallSyncFileListenService(platform_, kName); }
    // A closing that fails too leaves a code of its own, which must not be the one that is logged.
    void FailWhileClosingFails(const char* call) {
        order_.clear();
        machine_.faults().Fail({.call = call, .code = 1717});
        machine_.faults().Fail({.call = "Services.CloseServiceHandle", .code = 6});
    }

    std::vector<std::string> order_;  // closings and network-log lines
    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform real_ = machine_.platform();
    NotingServices services_{real_.services, order_};
    platform::Platform platform_ = test::PlatformWith(real_, services_);
};

TEST_F(InstallationCalls, InstallingConnectsToTheManagerAndCreates) {
    Install();
    EXPECT_THAT(services_.managerAccess, ElementsAre(3U));
    EXPECT_THAT(services_.serviceAccess, IsEmpty());
}

TEST_F(InstallationCalls, DescribingOpensTheServiceToChangeItsConfigurationOnly) {
    Install();
    Update();
    EXPECT_THAT(services_.serviceAccess, ElementsAre(2U));
}

TEST_F(InstallationCalls, UninstallingOpensTheServiceToDeleteStopAndQuery) {
    Install();
    Uninstall();
    EXPECT_THAT(services_.serviceAccess, ElementsAre(0x10024U));
}

TEST_F(InstallationCalls, ManagerIsClosedBeforeAFailedCreationIsLoggedWithItsOwnCode) {
    FailWhileClosingFails("Services.CreateServiceW");
    Install();
    EXPECT_THAT(order_,
                ElementsAre("close manager", "InstallSyncFileListenServiceCreateService failed, error code is 1717"));
}

TEST_F(InstallationCalls, ManagerIsClosedBeforeAFailedOpeningIsLoggedWithItsOwnCode) {
    Install();
    FailWhileClosingFails("Services.OpenServiceW");
    Update();
    EXPECT_THAT(order_, ElementsAre("close manager",
                                    "UpdateSyncFileListenServiceDescriptionOpenService failed, error code is 1717"));
    FailWhileClosingFails("Services.OpenServiceW");
    Uninstall();
    EXPECT_THAT(order_,
                ElementsAre("close manager", "UninstallSyncFileListenServiceOpenService failed, error code is 1717"));
}

}  // namespace
}  // namespace tavi::service
