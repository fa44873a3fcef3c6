// The machine's files, threads and pipes with a hook before single calls, for what its faults cannot do: a call that
// waits for somebody, or that throws. Hooks run on the thread that calls; set them before it does.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "sim/forwarding_files.h"
#include "sim/machine.h"

namespace tavi::test {

class HookedFiles final : public sim::ForwardingFiles {
public:
    explicit HookedFiles(sim::Machine& machine) : ForwardingFiles(machine.platform().files) {}

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override {
        if (instead) {
            if (const std::optional<platform::Handle> handle = instead(path)) {
                return *handle;
            }
        }
        return ForwardingFiles::CreateFileW(path, access, shareMode, disposition, flagsAndAttributes);
    }
    bool WriteFile(platform::Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override {
        if (beforeWrite) {
            beforeWrite();
        }
        return ForwardingFiles::WriteFile(handle, bytes, bytesWritten);
    }
    bool CloseHandle(platform::Handle handle) override {
        if (beforeClose) {
            beforeClose(handle);
        }
        return ForwardingFiles::CloseHandle(handle);
    }

    std::function<std::optional<platform::Handle>(const std::u16string& path)> instead;  // of opening
    std::function<void()> beforeWrite;
    std::function<void(platform::Handle)> beforeClose;
};

class HookedThreads final : public platform::Threads {
public:
    explicit HookedThreads(sim::Machine& machine) : real_(machine.platform().threads) {}

    platform::Handle StartThread(std::function<void()> entry) override {
        if (beforeStart) {
            beforeStart();
        }
        return real_.StartThread(std::move(entry));
    }
    bool WaitForThread(platform::Handle thread, std::uint32_t milliseconds) override {
        return real_.WaitForThread(thread, milliseconds);
    }
    void CloseThread(platform::Handle thread) override { real_.CloseThread(thread); }
    bool CancelSynchronousIo(platform::Handle thread) override { return real_.CancelSynchronousIo(thread); }
    std::uint32_t GetCurrentThreadId() override { return real_.GetCurrentThreadId(); }
    void Sleep(std::uint32_t milliseconds) override { real_.Sleep(milliseconds); }

    std::function<void()> beforeStart;

private:
    platform::Threads& real_;
};

class HookedPipes final : public platform::Pipes {
public:
    explicit HookedPipes(sim::Machine& machine) : real_(machine.pipes()) {}

    bool AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                  std::span<const std::uint32_t> subAuthorities, platform::Sid& sid) override {
        return real_.AllocateAndInitializeSid(authority, subAuthorities, sid);
    }
    void FreeSid(platform::Sid sid) override {
        if (beforeFreeSid) {
            beforeFreeSid();
        }
        real_.FreeSid(sid);
    }
    std::uint32_t SetEntriesInAclW(std::span<const platform::ExplicitAccess> entries, platform::Acl& acl) override {
        return real_.SetEntriesInAclW(entries, acl);
    }
    void FreeAcl(platform::Acl acl) override { real_.FreeAcl(acl); }
    platform::LocalMemory LocalAlloc(std::uint32_t flags, std::size_t bytes) override {
        return real_.LocalAlloc(flags, bytes);
    }
    void LocalFree(platform::LocalMemory memory) override { real_.LocalFree(memory); }
    bool InitializeSecurityDescriptor(platform::LocalMemory descriptor, std::uint32_t revision) override {
        return real_.InitializeSecurityDescriptor(descriptor, revision);
    }
    bool SetSecurityDescriptorDacl(platform::LocalMemory descriptor, bool present, platform::Acl acl,
                                   bool defaulted) override {
        return real_.SetSecurityDescriptorDacl(descriptor, present, acl, defaulted);
    }
    platform::Handle CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                      std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                      std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                      const platform::SecurityAttributes& attributes) override {
        return real_.CreateNamedPipeW(name, openMode, pipeMode, maximumInstances, outBufferSize, inBufferSize,
                                      defaultTimeout, attributes);
    }
    bool ConnectNamedPipe(platform::Handle pipe) override { return real_.ConnectNamedPipe(pipe); }
    bool DisconnectNamedPipe(platform::Handle pipe) override { return real_.DisconnectNamedPipe(pipe); }
    bool GetNamedPipeClientProcessId(platform::Handle pipe, std::uint32_t& processId) override {
        return real_.GetNamedPipeClientProcessId(pipe, processId);
    }

    std::function<void()> beforeFreeSid;

private:
    platform::Pipes& real_;
};

inline platform::Platform WithPipes(sim::Machine& machine, HookedPipes& pipes) {
    const platform::Platform real = machine.platform();
    return {real.errors, real.services, real.modules, real.files,  pipes,      real.threads,
            real.clock,  real.heap,     real.trust,   real.sqlite, real.digest};
}

inline platform::Platform WithHooks(sim::Machine& machine, HookedFiles& files, HookedThreads& threads) {
    const platform::Platform real = machine.platform();
    return {real.errors, real.services, real.modules, files,       real.pipes, threads,
            real.clock,  real.heap,     real.trust,   real.sqlite, real.digest};
}

}  // namespace tavi::test
