#include "platform/windows/windows_services.h"

#include <windows.h>

#include <atomic>
#include <bit>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

std::atomic<ServiceMainFunction> serviceMainFunction{nullptr};
std::atomic<ControlHandlerFunction> controlHandlerFunction{nullptr};

void WINAPI CallServiceMain(DWORD, LPWSTR*) {
    serviceMainFunction.load()();
}

void WINAPI CallControlHandler(DWORD control) {
    controlHandlerFunction.load()(control);
}

}  // namespace

bool WindowsServices::StartServiceCtrlDispatcherW(const std::u16string& serviceName, ServiceMainFunction serviceMain) {
    serviceMainFunction.store(serviceMain);
    std::wstring name = ToWide(serviceName);
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), &CallServiceMain}, {nullptr, nullptr}};
    return ::StartServiceCtrlDispatcherW(table) != FALSE;
}

StatusHandle WindowsServices::RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                                          ControlHandlerFunction handler) {
    controlHandlerFunction.store(handler);
    return FromNative<StatusHandle>(::RegisterServiceCtrlHandlerW(ToWide(serviceName).c_str(), &CallControlHandler));
}

bool WindowsServices::SetServiceStatus(StatusHandle handle, const ServiceStatus& status) {
    SERVICE_STATUS native = std::bit_cast<SERVICE_STATUS>(status);
    return ::SetServiceStatus(ToNative<SERVICE_STATUS_HANDLE>(handle), &native) != FALSE;
}

ServiceHandle WindowsServices::OpenSCManagerW(std::uint32_t access) {
    return FromNative<ServiceHandle>(::OpenSCManagerW(nullptr, nullptr, access));
}

ServiceHandle WindowsServices::CreateServiceW(ServiceHandle manager, const ServiceDefinition& definition) {
    return FromNative<ServiceHandle>(::CreateServiceW(
        ToNative<SC_HANDLE>(manager), ToWide(definition.serviceName).c_str(), ToWide(definition.displayName).c_str(),
        definition.desiredAccess, definition.serviceType, definition.startType, definition.errorControl,
        ToWide(definition.binaryPath).c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
}

ServiceHandle WindowsServices::OpenServiceW(ServiceHandle manager, const std::u16string& serviceName,
                                            std::uint32_t access) {
    return FromNative<ServiceHandle>(::OpenServiceW(ToNative<SC_HANDLE>(manager), ToWide(serviceName).c_str(), access));
}

bool WindowsServices::ControlService(ServiceHandle service, std::uint32_t control, ServiceStatus& status) {
    SERVICE_STATUS native{};
    const BOOL done = ::ControlService(ToNative<SC_HANDLE>(service), control, &native);
    status = std::bit_cast<ServiceStatus>(native);
    return done != FALSE;
}

bool WindowsServices::QueryServiceStatus(ServiceHandle service, ServiceStatus& status) {
    SERVICE_STATUS native{};
    const BOOL done = ::QueryServiceStatus(ToNative<SC_HANDLE>(service), &native);
    status = std::bit_cast<ServiceStatus>(native);
    return done != FALSE;
}

bool WindowsServices::DeleteService(ServiceHandle service) {
    return ::DeleteService(ToNative<SC_HANDLE>(service)) != FALSE;
}

bool WindowsServices::ChangeServiceConfig2W(ServiceHandle service, std::uint32_t infoLevel,
                                            const std::u16string& description) {
    std::wstring text = ToWide(description);
    SERVICE_DESCRIPTIONW native{text.data()};
    return ::ChangeServiceConfig2W(ToNative<SC_HANDLE>(service), infoLevel, &native) != FALSE;
}

bool WindowsServices::CloseServiceHandle(ServiceHandle handle) {
    return ::CloseServiceHandle(ToNative<SC_HANDLE>(handle)) != FALSE;
}

}  // namespace tavi::platform
