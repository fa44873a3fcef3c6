// The service control manager on Windows. The process has one service: its main function and control handler are kept
// for the whole process, because the system hands its callbacks no context.
#pragma once

#include "platform/services.h"

namespace tavi::platform {

class WindowsServices final : public Services {
public:
    bool StartServiceCtrlDispatcherW(const std::u16string& serviceName, ServiceMainFunction serviceMain) override;
    StatusHandle RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                             ControlHandlerFunction handler) override;
    bool SetServiceStatus(StatusHandle handle, const ServiceStatus& status) override;
    ServiceHandle OpenSCManagerW(std::uint32_t access) override;
    ServiceHandle CreateServiceW(ServiceHandle manager, const ServiceDefinition& definition) override;
    ServiceHandle OpenServiceW(ServiceHandle manager, const std::u16string& serviceName, std::uint32_t access) override;
    bool ControlService(ServiceHandle service, std::uint32_t control, ServiceStatus& status) override;
    bool QueryServiceStatus(ServiceHandle service, ServiceStatus& status) override;
    bool DeleteService(ServiceHandle service) override;
    bool ChangeServiceConfig2W(ServiceHandle service, std::uint32_t infoLevel,
                               const std::u16string& description) override;
    bool CloseServiceHandle(ServiceHandle handle) override;
};

}  // namespace tavi::platform
