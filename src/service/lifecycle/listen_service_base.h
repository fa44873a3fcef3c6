// The service's conversation with the service control manager: the service main function, the control handler and the
// status reports. It knows nothing of listening; the four abstract operations are the concrete service's. Kept below
// listen/ as a target of its own, because the service of listen/ derives from it.
//
// Threads: Start and WaitForServiceWorkerFinish run on the service thread, inside ServiceMain; Stop and Shutdown run on
// the dispatcher's thread at the same time. Nothing is locked: the fields that both write are atomic, and the order of
// the reports is the one that the stop protocol gives them. No exception leaves Start, Stop or Shutdown.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace tavi::service {

// The counter behind the check points of pending reports: one per process, never reset.
class CheckPointCounter {
public:
    std::uint32_t Next() { return next_.fetch_add(1); }

private:
    std::atomic<std::uint32_t> next_{1};
};

class ListenServiceBase {
public:
    // Neither `platform` nor `checkPoints` is owned.
    ListenServiceBase(platform::Platform& platform, CheckPointCounter& checkPoints, std::u16string serviceName);
    ListenServiceBase(const ListenServiceBase&) = delete;
    ListenServiceBase& operator=(const ListenServiceBase&) = delete;
    virtual ~ListenServiceBase() = default;

    virtual void OnStart() = 0;
    virtual void OnStop() = 0;                      // returns when the workers have ended
    virtual void OnShutdown() = 0;                  // likewise
    virtual void WaitForServiceWorkerFinish() = 0;  // likewise

    void Start();
    void Stop();
    void Shutdown();

    // Fills the status record for the state and sends it; pending states get the next check point.
    void ReportStatus(std::uint32_t state);
    void SetStatusHandle(platform::StatusHandle handle) { statusHandle_.store(handle); }

    const std::u16string& serviceName() const { return serviceName_; }
    platform::ServiceStatus status() const;

protected:
    // Stopped, exit code 0, check point 0, wait hint 0.
    void SendStopped() { ReportStatus(platform::kServiceStopped); }

    platform::Platform& platform_;

private:
    std::string NarrowName() const;

    CheckPointCounter& checkPoints_;
    const std::u16string serviceName_;
    std::atomic<std::uint32_t> currentState_{platform::kServiceStartPending};
    std::atomic<std::uint32_t> checkPoint_{0};
    std::atomic<platform::StatusHandle> statusHandle_{platform::kNoStatusHandle};
};

}  // namespace tavi::service
