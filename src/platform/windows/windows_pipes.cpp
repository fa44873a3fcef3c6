#include "platform/windows/windows_pipes.h"

#include <windows.h>

#include <accctrl.h>
#include <aclapi.h>

#include <algorithm>
#include <vector>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

EXPLICIT_ACCESS_W ToNativeEntry(const ExplicitAccess& entry) {
    EXPLICIT_ACCESS_W native{};
    native.grfAccessPermissions = entry.accessPermissions;
    native.grfAccessMode = static_cast<ACCESS_MODE>(entry.accessMode);
    native.grfInheritance = entry.inheritance;
    native.Trustee.TrusteeForm = static_cast<TRUSTEE_FORM>(entry.trusteeForm);
    native.Trustee.TrusteeType = static_cast<TRUSTEE_TYPE>(entry.trusteeType);
    native.Trustee.ptstrName = ToNative<LPWSTR>(entry.sid);  // a SID's address, as the trustee form says
    return native;
}

}  // namespace

bool WindowsPipes::AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                            std::span<const std::uint32_t> subAuthorities, Sid& sid) {
    SID_IDENTIFIER_AUTHORITY nativeAuthority{};
    std::copy(authority.begin(), authority.end(), nativeAuthority.Value);
    std::array<DWORD, 8> sub{};
    std::copy(subAuthorities.begin(), subAuthorities.end(), sub.begin());
    PSID native = nullptr;
    const BOOL done = ::AllocateAndInitializeSid(&nativeAuthority, static_cast<BYTE>(subAuthorities.size()), sub[0],
                                                 sub[1], sub[2], sub[3], sub[4], sub[5], sub[6], sub[7], &native);
    sid = FromNative<Sid>(native);
    return done != FALSE;
}

void WindowsPipes::FreeSid(Sid sid) {
    ::FreeSid(ToNative<PSID>(sid));
}

std::uint32_t WindowsPipes::SetEntriesInAclW(std::span<const ExplicitAccess> entries, Acl& acl) {
    std::vector<EXPLICIT_ACCESS_W> natives(entries.size());
    std::transform(entries.begin(), entries.end(), natives.begin(), &ToNativeEntry);
    PACL native = nullptr;
    const DWORD result = ::SetEntriesInAclW(static_cast<ULONG>(natives.size()), natives.data(), nullptr, &native);
    acl = FromNative<Acl>(native);
    ::SetLastError(result);  // the system only returns it; this seam's callers read it like any other code
    return result;
}

void WindowsPipes::FreeAcl(Acl acl) {
    ::LocalFree(ToNative<HLOCAL>(acl));
}

LocalMemory WindowsPipes::LocalAlloc(std::uint32_t flags, std::size_t bytes) {
    return FromNative<LocalMemory>(::LocalAlloc(flags, bytes));
}

void WindowsPipes::LocalFree(LocalMemory memory) {
    ::LocalFree(ToNative<HLOCAL>(memory));
}

bool WindowsPipes::InitializeSecurityDescriptor(LocalMemory descriptor, std::uint32_t revision) {
    return ::InitializeSecurityDescriptor(ToNative<PSECURITY_DESCRIPTOR>(descriptor), revision) != FALSE;
}

bool WindowsPipes::SetSecurityDescriptorDacl(LocalMemory descriptor, bool present, Acl acl, bool defaulted) {
    return ::SetSecurityDescriptorDacl(ToNative<PSECURITY_DESCRIPTOR>(descriptor), present, ToNative<PACL>(acl),
                                       defaulted) != FALSE;
}

Handle WindowsPipes::CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                      std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                      std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                      const SecurityAttributes& attributes) {
    SECURITY_ATTRIBUTES native{sizeof native, ToNative<LPVOID>(attributes.securityDescriptor),
                               attributes.inheritHandle};
    return FromNative<Handle>(::CreateNamedPipeW(ToWide(name).c_str(), openMode, pipeMode, maximumInstances,
                                                 outBufferSize, inBufferSize, defaultTimeout, &native));
}

bool WindowsPipes::ConnectNamedPipe(Handle pipe) {
    return ::ConnectNamedPipe(ToNative<HANDLE>(pipe), nullptr) != FALSE;
}

bool WindowsPipes::DisconnectNamedPipe(Handle pipe) {
    return ::DisconnectNamedPipe(ToNative<HANDLE>(pipe)) != FALSE;
}

bool WindowsPipes::GetNamedPipeClientProcessId(Handle pipe, std::uint32_t& processId) {
    ULONG native = 0;
    const BOOL done = ::GetNamedPipeClientProcessId(ToNative<HANDLE>(pipe), &native);
    processId = native;
    return done != FALSE;
}

bool WindowsPipes::GetNamedPipeInfo(Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) {
    DWORD nativeFlags = 0;
    DWORD instances = 0;
    const BOOL done = ::GetNamedPipeInfo(ToNative<HANDLE>(pipe), &nativeFlags, nullptr, nullptr, &instances);
    flags = nativeFlags;
    maximumInstances = instances;
    return done != FALSE;
}

}  // namespace tavi::platform
