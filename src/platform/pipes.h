// Named pipes and the security objects they are created with (kernel32, advapi32). Reading, writing, flushing and
// closing a pipe's handle are calls of Files. A call that fails returns false or an empty value and leaves its code in
// the calling thread's last error.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Pipes {
public:
    virtual ~Pipes() = default;

    // At most 8 sub-authorities. The SID is freed by the caller with FreeSid.
    virtual bool AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                          std::span<const std::uint32_t> subAuthorities, Sid& sid) = 0;
    virtual void FreeSid(Sid sid) = 0;
    // Returns 0 or the error code, which is also left in the last error. The list is freed with FreeAcl.
    virtual std::uint32_t SetEntriesInAclW(std::span<const ExplicitAccess> entries, Acl& acl) = 0;
    virtual void FreeAcl(Acl acl) = 0;  // LocalFree
    virtual LocalMemory LocalAlloc(std::uint32_t flags, std::size_t bytes) = 0;
    virtual void LocalFree(LocalMemory memory) = 0;
    virtual bool InitializeSecurityDescriptor(LocalMemory descriptor, std::uint32_t revision) = 0;
    virtual bool SetSecurityDescriptorDacl(LocalMemory descriptor, bool present, Acl acl, bool defaulted) = 0;

    virtual Handle CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                    std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                    std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                    const SecurityAttributes& attributes) = 0;
    virtual bool ConnectNamedPipe(Handle pipe) = 0;  // no overlapped structure: blocks
    virtual bool DisconnectNamedPipe(Handle pipe) = 0;
    virtual bool GetNamedPipeClientProcessId(Handle pipe, std::uint32_t& processId) = 0;
    // Which end the handle is (kPipeServerEnd), and how many instances the pipe's name may have. Whoever creates the
    // first instance decides that for all.
    virtual bool GetNamedPipeInfo(Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) = 0;
};

}  // namespace tavi::platform
