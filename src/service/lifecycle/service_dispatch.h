// What the system calls without any context: the service main function and the control handler. They reach the one
// service object of the process through the current-service pointer, which is set before the dispatcher is started.
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "service/lifecycle/listen_service_base.h"

namespace tavi::service {

// Makes a service the current one until Leave, or its end.
class CurrentService {
public:
    CurrentService(platform::Platform& platform, ListenServiceBase& service);
    ~CurrentService() { Leave(); }
    CurrentService(const CurrentService&) = delete;
    CurrentService& operator=(const CurrentService&) = delete;

    // Waits until a service main function that is still on its way out has returned: the dispatcher may return as soon
    // as the service has reported stopped, and the service main function still looks at the service then.
    void Leave();

private:
    platform::Platform& platform_;
};

// On the dispatcher's service thread; returns when the main worker thread has ended.
void ServiceMain();

// On the dispatcher's own thread.
void ControlHandler(std::uint32_t control);

}  // namespace tavi::service
