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

    // Waits until every callback that is still running has returned. The dispatcher may return as soon as the service
    // has reported stopped: the service main function is still on its way out then, and so is a control handler where
    // the system runs it on a thread of its own. Both look at the service until they return.
    void Leave();

private:
    platform::Platform& platform_;
};

// On the dispatcher's service thread; returns when the main worker thread has ended.
void ServiceMain();

// On the dispatcher's own thread, or on one that the system started for it.
void ControlHandler(std::uint32_t control);

}  // namespace tavi::service
