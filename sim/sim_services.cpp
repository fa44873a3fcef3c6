#include "sim/sim_services.h"

#include <memory>
#include <utility>

#include "platform/constants.h"
#include "sim/ntfs_volume.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::int64_t kHandlerPatienceMs = 30000;

class ServiceObject final : public Object {
public:
    std::u16string key;  // empty: the manager itself
    std::uint32_t access = 0;
};

std::uintptr_t Raw(ServiceHandle handle) {
    return static_cast<std::uintptr_t>(handle);
}

}  // namespace

bool SimServices::StartServiceCtrlDispatcherW(const std::u16string& serviceName, ServiceMainFunction serviceMain) {
    Call call(core_, "Services.StartServiceCtrlDispatcherW", kErrorFailedServiceControllerConnect);
    if (call.failed() || byHand_) {
        return call.Fail(byHand_ ? kErrorFailedServiceControllerConnect : call.code(), false);
    }
    dispatching_ = true;
    givenUp_ = false;
    dispatched_ = NtfsVolume::Fold(serviceName);
    state_ = kServiceStartPending;
    handler_ = nullptr;
    core_.scheduler.Start(call.lock(), "service main", Side::kProduct, [serviceMain] { serviceMain(); });
    const auto ended = [this] { return state_ == kServiceStopped || givenUp_; };
    const std::function<bool()> toDo = [&] { return !controls_.empty() || ended(); };
    while (!ended() || !controls_.empty()) {
        if (!toDo() && core_.scheduler.Wait(call.lock(), "a control of the service control manager", kForEver, toDo,
                                            Cancellable::kByDeath) != WaitResult::kReady) {
            dispatching_ = false;
            call.DieIfDead();
            return call.Fail(kErrorOperationAborted, false);
        }
        if (controls_.empty()) {
            continue;
        }
        const Posted posted = controls_.front();
        controls_.pop_front();
        const ControlHandlerFunction handler = handler_;
        call.lock().unlock();
        if (handler != nullptr) {
            handler(posted.control);
        }
        call.lock().lock();
        handled_ = posted.number;
        core_.scheduler.Changed();
    }
    dispatching_ = false;
    handler_ = nullptr;
    core_.scheduler.Changed();
    return true;
}

StatusHandle SimServices::RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                                      ControlHandlerFunction handler) {
    Call call(core_, "Services.RegisterServiceCtrlHandlerW", kErrorServiceDoesNotExist);
    if (call.failed()) {
        return call.Fail(kNoStatusHandle);
    }
    if (dispatching_ && NtfsVolume::Fold(serviceName) != dispatched_) {
        return call.Fail(kErrorServiceDoesNotExist, kNoStatusHandle);
    }
    handler_ = handler;
    core_.scheduler.Changed();
    return StatusHandle{0x5E41};  // never closed, so it is no entry among the open handles
}

bool SimServices::SetServiceStatus(StatusHandle handle, const ServiceStatus& status) {
    Call call(core_, "Services.SetServiceStatus", kErrorInvalidHandle);
    if (call.failed() || handle != StatusHandle{0x5E41}) {
        return call.Fail(false);
    }
    statuses_.push_back(status);
    state_ = status.currentState;
    if (const auto service = registry_.find(dispatched_); service != registry_.end()) {
        service->second.status = status;
    }
    core_.scheduler.Changed();
    return true;
}

ServiceHandle SimServices::OpenSCManagerW(std::uint32_t access) {
    Call call(core_, "Services.OpenSCManagerW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(kNoServiceHandle);
    }
    auto object = std::make_shared<ServiceObject>();
    object->access = access;
    return ServiceHandle{core_.Open("service handle", "the manager", std::move(object))};
}

ServiceHandle SimServices::CreateServiceW(ServiceHandle manager, const ServiceDefinition& definition) {
    Call call(core_, "Services.CreateServiceW", kErrorAccessDenied);
    const auto object = core_.GetAs<ServiceObject>(Raw(manager));
    if (call.failed() || !object) {
        return call.Fail(object ? call.code() : kErrorInvalidHandle, kNoServiceHandle);
    }
    if ((object->access & kScManagerCreateService) == 0) {
        return call.Fail(kErrorAccessDenied, kNoServiceHandle);
    }
    const std::u16string key = NtfsVolume::Fold(definition.serviceName);
    if (const auto existing = registry_.find(key); existing != registry_.end()) {
        return call.Fail(existing->second.markedForDelete ? kErrorServiceMarkedForDelete : kErrorServiceExists,
                         kNoServiceHandle);
    }
    registry_[key].definition = definition;
    auto service = std::make_shared<ServiceObject>();
    service->key = key;
    service->access = definition.desiredAccess;
    return ServiceHandle{core_.Open("service handle", Narrow(definition.serviceName), std::move(service))};
}

ServiceHandle SimServices::OpenServiceW(ServiceHandle manager, const std::u16string& serviceName,
                                        std::uint32_t access) {
    Call call(core_, "Services.OpenServiceW", kErrorAccessDenied);
    if (call.failed() || !core_.GetAs<ServiceObject>(Raw(manager))) {
        return call.Fail(call.failed() ? call.code() : kErrorInvalidHandle, kNoServiceHandle);
    }
    const std::u16string key = NtfsVolume::Fold(serviceName);
    if (!registry_.contains(key)) {
        return call.Fail(kErrorServiceDoesNotExist, kNoServiceHandle);
    }
    auto service = std::make_shared<ServiceObject>();
    service->key = key;
    service->access = access;
    return ServiceHandle{core_.Open("service handle", Narrow(serviceName), std::move(service))};
}

RegisteredService* SimServices::Service(ServiceHandle handle, std::uint32_t access, std::uint32_t& code) {
    const auto object = core_.GetAs<ServiceObject>(Raw(handle));
    const auto found = object ? registry_.find(object->key) : registry_.end();
    if (found == registry_.end()) {
        code = kErrorInvalidHandle;
        return nullptr;
    }
    if ((object->access & access) == 0) {
        code = kErrorAccessDenied;
        return nullptr;
    }
    return &found->second;
}

bool SimServices::ControlService(ServiceHandle handle, std::uint32_t control, ServiceStatus& status) {
    Call call(core_, "Services.ControlService", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(false);
    }
    std::uint32_t code = 0;
    RegisteredService* service = Service(handle, kServiceStop, code);
    if (service == nullptr) {
        return call.Fail(code, false);
    }
    if (onControl_) {
        code = onControl_(*service, control);
        status = service->status;
        return code == 0 || call.Fail(code, false);
    }
    std::uint64_t number = 0;
    if (service->status.currentState == kServiceStopped || !Post(control, number)) {
        return call.Fail(kErrorServiceNotActive, false);
    }
    const std::function<bool()> handled = [&] { return handled_ >= number || !dispatching_; };
    if (!handled() &&
        core_.scheduler.Wait(call.lock(), "the control handler", kHandlerPatienceMs, handled) != WaitResult::kReady) {
        return call.Fail(kErrorServiceRequestTimeout, false);
    }
    service = Service(handle, kServiceStop, code);
    if (service == nullptr) {
        return call.Fail(code, false);
    }
    status = service->status;
    return true;
}

bool SimServices::QueryServiceStatus(ServiceHandle handle, ServiceStatus& status) {
    Call call(core_, "Services.QueryServiceStatus", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(false);
    }
    std::uint32_t code = 0;
    RegisteredService* service = Service(handle, kServiceQueryStatus, code);
    if (service == nullptr) {
        return call.Fail(code, false);
    }
    if (!service->nextStatuses.empty()) {
        service->status = service->nextStatuses.front();
        service->nextStatuses.pop_front();
    }
    status = service->status;
    return true;
}

// A service that still runs, or that somebody holds open, is only marked; it goes with its last handle.
bool SimServices::DeleteService(ServiceHandle handle) {
    Call call(core_, "Services.DeleteService", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(false);
    }
    std::uint32_t code = 0;
    RegisteredService* service = Service(handle, kDelete, code);
    if (service == nullptr) {
        return call.Fail(code, false);
    }
    if (service->markedForDelete) {
        return call.Fail(kErrorServiceMarkedForDelete, false);
    }
    service->markedForDelete = true;
    return true;
}

bool SimServices::ChangeServiceConfig2W(ServiceHandle handle, std::uint32_t infoLevel,
                                        const std::u16string& description) {
    Call call(core_, "Services.ChangeServiceConfig2W", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(false);
    }
    std::uint32_t code = 0;
    RegisteredService* service = Service(handle, kServiceChangeConfig, code);
    if (service == nullptr) {
        return call.Fail(code, false);
    }
    if (infoLevel != kServiceConfigDescription) {
        return call.Fail(kErrorInvalidParameter, false);
    }
    service->description = description;
    return true;
}

bool SimServices::CloseServiceHandle(ServiceHandle handle) {
    Call call(core_, "Services.CloseServiceHandle", kErrorInvalidHandle, CallKind::kReleases);
    const auto object = core_.GetAs<ServiceObject>(Raw(handle));
    if (call.dead() || !core_.Close("service handle", Raw(handle))) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    const auto service = object ? registry_.find(object->key) : registry_.end();
    if (service != registry_.end() && service->second.markedForDelete &&
        service->second.status.currentState == kServiceStopped) {
        registry_.erase(service);
    }
    return !call.failed() || call.Fail(false);
}

void SimServices::SetStartedByHand(bool byHand) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    byHand_ = byHand;
}

bool SimServices::Post(std::uint32_t control, std::uint64_t& number) {
    if (!dispatching_ || handler_ == nullptr) {
        return false;
    }
    number = ++posted_;
    controls_.push_back({control, number});
    core_.scheduler.Changed();
    return true;
}

bool SimServices::PostControl(std::uint32_t control) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.Current(lock);
    std::uint64_t number = 0;
    return Post(control, number);
}

bool SimServices::SendControl(std::uint32_t control, std::int64_t milliseconds) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.Current(lock);
    const std::function<bool()> registered = [this] { return dispatching_ && handler_ != nullptr; };
    if (!registered()) {
        core_.scheduler.Wait(lock, "a control handler", milliseconds, registered);
    }
    std::uint64_t number = 0;
    if (!Post(control, number)) {
        return false;
    }
    const std::function<bool()> handled = [&] { return handled_ >= number || !dispatching_; };
    return handled() || core_.scheduler.Wait(lock, "the control handler", kForEver, handled) == WaitResult::kReady;
}

void SimServices::EndDispatcher() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    givenUp_ = true;
    core_.scheduler.Changed();
}

std::vector<ServiceStatus> SimServices::statuses() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return statuses_;
}

std::uint32_t SimServices::state() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return state_;
}

bool SimServices::WaitForState(std::uint32_t state, std::int64_t milliseconds) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.Current(lock);
    const std::function<bool()> reached = [&] { return state_ == state; };
    return reached() || core_.scheduler.Wait(lock, "a service state", milliseconds, reached) == WaitResult::kReady;
}

RegisteredService* SimServices::Registered(std::u16string_view name) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    const auto found = registry_.find(NtfsVolume::Fold(name));
    return found == registry_.end() ? nullptr : &found->second;
}

void SimServices::Register(ServiceDefinition definition) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    registry_[NtfsVolume::Fold(definition.serviceName)].definition = std::move(definition);
}

void SimServices::OnControl(std::function<std::uint32_t(RegisteredService&, std::uint32_t)> handler) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    onControl_ = std::move(handler);
}

void SimServices::ForgetProcess() {
    handler_ = nullptr;
    dispatching_ = false;
    controls_.clear();
    state_ = kServiceStopped;
    if (const auto service = registry_.find(dispatched_); service != registry_.end()) {
        service->second.status = ServiceStatus{0x10, kServiceStopped, 0, 1067, 0, 0, 0};
    }
}

}  // namespace tavi::sim
