#include "service/lifecycle/service_dispatch.h"

#include <atomic>
#include <string>

#include "imports/class_log.h"
#include "imports/logger_utility.h"
#include "imports/sync_panel_log.h"

namespace tavi::service {
namespace {

constexpr std::uint32_t kCallbackPollMs = 10;

struct CurrentPointers {
    platform::Platform* platform = nullptr;
    ListenServiceBase* service = nullptr;
};

// The system gives the two functions below no context. `current` is null or points to `pointers`. That is written
// before it is published, and not again until nobody can be reading it.
CurrentPointers pointers;
std::atomic<CurrentPointers*> current{nullptr};
std::atomic<int> callbacksRunning{0};

// Counts a callback before it looks at `current`, so that whoever takes the service away either sees the callback in
// the count or is seen by it.
class RunningCallback {
public:
    RunningCallback() { callbacksRunning.fetch_add(1); }
    ~RunningCallback() { callbacksRunning.fetch_sub(1); }
    RunningCallback(const RunningCallback&) = delete;
    RunningCallback& operator=(const RunningCallback&) = delete;
};

void RunService(platform::Platform& platform, ListenServiceBase& service) {
    const platform::StatusHandle handle =
        platform.services.RegisterServiceCtrlHandlerW(service.serviceName(), &ControlHandler);
    if (handle == platform::kNoStatusHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        Drive::kListenServiceBaseLog.Error(
            "ServiceMain", "Failed to register the service control handler, error code is ",
            std::to_string(code) + ",reason:" + Drive::LoggerUtility::GetErrorMessage(platform.errors, code));
        return;
    }
    service.SetStatusHandle(handle);
    service.Start();
    service.WaitForServiceWorkerFinish();
}

}  // namespace

CurrentService::CurrentService(platform::Platform& platform, ListenServiceBase& service) : platform_(platform) {
    pointers = {&platform, &service};
    current.store(&pointers);
}

void CurrentService::Leave() {
    current.store(nullptr);
    while (callbacksRunning.load() != 0) {
        platform_.threads.Sleep(kCallbackPollMs);
    }
}

void ServiceMain() {
    const RunningCallback running;
    Drive::SyncPanelLog::WriteTraceLog("The ServiceMain function starts");
    CurrentPointers* const now = current.load();
    if (now == nullptr || now->service == nullptr) {
        Drive::kListenServiceBaseLog.Error("ServiceMain", "null pointer");
        return;
    }
    RunService(*now->platform, *now->service);
}

void ControlHandler(std::uint32_t control) {
    const RunningCallback running;
    CurrentPointers* const now = current.load();
    if (now == nullptr) {
        return;
    }
    if (control == platform::kServiceControlStop) {
        now->service->Stop();
    } else if (control == platform::kServiceControlShutdown) {
        now->service->Shutdown();
    }
}

}  // namespace tavi::service
