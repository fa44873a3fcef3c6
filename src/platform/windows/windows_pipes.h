// Named pipes and their security objects on Windows.
#pragma once

#include "platform/pipes.h"

namespace tavi::platform {

class WindowsPipes final : public Pipes {
public:
    bool AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                  std::span<const std::uint32_t> subAuthorities, Sid& sid) override;
    void FreeSid(Sid sid) override;
    std::uint32_t SetEntriesInAclW(std::span<const ExplicitAccess> entries, Acl& acl) override;
    void FreeAcl(Acl acl) override;
    LocalMemory LocalAlloc(std::uint32_t flags, std::size_t bytes) override;
    void LocalFree(LocalMemory memory) override;
    bool InitializeSecurityDescriptor(LocalMemory descriptor, std::uint32_t revision) override;
    bool SetSecurityDescriptorDacl(LocalMemory descriptor, bool present, Acl acl, bool defaulted) override;
    Handle CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                            std::uint32_t maximumInstances, std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                            std::uint32_t defaultTimeout, const SecurityAttributes& attributes) override;
    bool ConnectNamedPipe(Handle pipe) override;
    bool DisconnectNamedPipe(Handle pipe) override;
    bool GetNamedPipeClientProcessId(Handle pipe, std::uint32_t& processId) override;
    bool GetNamedPipeInfo(Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) override;
};

}  // namespace tavi::platform
