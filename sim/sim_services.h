// The service control manager of the simulated machine: the process's dispatcher, and the registry of services.
//
// The process counts as started by the service control manager unless SetStartedByHand says otherwise. The dispatcher
// runs the service's main function on a thread of its own and controls on the thread that called it; it returns once
// the service has reported stopped, whether or not its main function has returned, as the system's does. ControlService
// waits for the handler, and gives it up after 30 seconds with error 1053; the handler goes on.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/constants.h"
#include "platform/services.h"
#include "sim/core.h"

namespace tavi::sim {

struct RegisteredService {
    platform::ServiceDefinition definition;
    std::u16string description;
    platform::ServiceStatus status{0x10, 1, 0, 0, 0, 0, 0};
    // What QueryServiceStatus answers next, before it answers `status`.
    std::deque<platform::ServiceStatus> nextStatuses;
    bool markedForDelete = false;
};

class SimServices final : public platform::Services {
public:
    explicit SimServices(Core& core) : core_(core) {}

    bool StartServiceCtrlDispatcherW(const std::u16string& serviceName,
                                     platform::ServiceMainFunction serviceMain) override;
    platform::StatusHandle RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                                       platform::ControlHandlerFunction handler) override;
    bool SetServiceStatus(platform::StatusHandle handle, const platform::ServiceStatus& status) override;
    platform::ServiceHandle OpenSCManagerW(std::uint32_t access) override;
    platform::ServiceHandle CreateServiceW(platform::ServiceHandle manager,
                                           const platform::ServiceDefinition& definition) override;
    platform::ServiceHandle OpenServiceW(platform::ServiceHandle manager, const std::u16string& serviceName,
                                         std::uint32_t access) override;
    bool ControlService(platform::ServiceHandle service, std::uint32_t control,
                        platform::ServiceStatus& status) override;
    bool QueryServiceStatus(platform::ServiceHandle service, platform::ServiceStatus& status) override;
    bool DeleteService(platform::ServiceHandle service) override;
    bool ChangeServiceConfig2W(platform::ServiceHandle service, std::uint32_t infoLevel,
                               const std::u16string& description) override;
    bool CloseServiceHandle(platform::ServiceHandle handle) override;

    void SetStartedByHand(bool byHand);
    // Hands a control to the dispatcher's thread. SendControl waits until the handler has returned; both give false
    // when no handler is registered (SendControl waits for one, at most so long).
    bool SendControl(std::uint32_t control, std::int64_t milliseconds = 60000);
    bool PostControl(std::uint32_t control);
    // Lets the dispatcher return although nothing was reported stopped, as when the manager gives the process up.
    void EndDispatcher();
    // Every status that was reported, in order; cleared by nothing.
    std::vector<platform::ServiceStatus> statuses();
    std::uint32_t state();  // of the last report; 1 (stopped) before the first
    bool WaitForState(std::uint32_t state, std::int64_t milliseconds = 60000);

    // The registry. Null when there is no such service; changes through it need the test to be the only one running.
    RegisteredService* Registered(std::u16string_view name);
    void Register(platform::ServiceDefinition definition);
    // What a control to a registered service does instead of reaching this process's dispatcher; returns the code.
    void OnControl(std::function<std::uint32_t(RegisteredService&, std::uint32_t control)> handler);

    void ForgetProcess();  // for the machine: the process died

private:
    struct Posted {
        std::uint32_t control = 0;
        std::uint64_t number = 0;
    };

    RegisteredService* Service(platform::ServiceHandle handle, std::uint32_t access, std::uint32_t& code);
    bool Post(std::uint32_t control, std::uint64_t& number);

    Core& core_;
    bool byHand_ = false;
    bool dispatching_ = false;
    bool givenUp_ = false;
    std::u16string dispatched_;
    platform::ControlHandlerFunction handler_ = nullptr;
    std::deque<Posted> controls_;
    std::uint64_t posted_ = 0;
    std::uint64_t handled_ = 0;
    std::vector<platform::ServiceStatus> statuses_;
    std::uint32_t state_ = platform::kServiceStopped;
    std::map<std::u16string, RegisteredService> registry_;
    std::function<std::uint32_t(RegisteredService&, std::uint32_t)> onControl_;
};

}  // namespace tavi::sim
