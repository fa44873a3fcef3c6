// The service control manager (advapi32). A call that fails returns false or an empty handle and leaves its code in the
// calling thread's last error. Handles are closed by the caller with CloseServiceHandle.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

// Both are plain functions, as the system's are: it hands them no context. The dispatcher calls the first on a thread
// of its own and the second on the thread that runs the dispatcher.
using ServiceMainFunction = void (*)();
using ControlHandlerFunction = void (*)(std::uint32_t control);

class Services {
public:
    virtual ~Services() = default;

    // Returns when every service of the process has reported stopped, or at once with false when the process was not
    // started by the service control manager.
    virtual bool StartServiceCtrlDispatcherW(const std::u16string& serviceName, ServiceMainFunction serviceMain) = 0;
    virtual StatusHandle RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                                     ControlHandlerFunction handler) = 0;
    virtual bool SetServiceStatus(StatusHandle handle, const ServiceStatus& status) = 0;

    virtual ServiceHandle OpenSCManagerW(std::uint32_t access) = 0;  // the local machine's
    virtual ServiceHandle CreateServiceW(ServiceHandle manager, const ServiceDefinition& definition) = 0;
    virtual ServiceHandle OpenServiceW(ServiceHandle manager, const std::u16string& serviceName,
                                       std::uint32_t access) = 0;
    virtual bool ControlService(ServiceHandle service, std::uint32_t control, ServiceStatus& status) = 0;
    virtual bool QueryServiceStatus(ServiceHandle service, ServiceStatus& status) = 0;
    virtual bool DeleteService(ServiceHandle service) = 0;
    virtual bool ChangeServiceConfig2W(ServiceHandle service, std::uint32_t infoLevel,
                                       const std::u16string& description) = 0;
    virtual bool CloseServiceHandle(ServiceHandle handle) = 0;
};

}  // namespace tavi::platform
