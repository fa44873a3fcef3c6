// The machine's files, threads and pipes with a hook before single calls, for what its faults cannot do: a call that
// waits for somebody, or that throws. Hooks run on the thread that calls; set them before it does.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::test {

class HookedFiles final : public ForwardingFiles {
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

class HookedThreads final : public ForwardingThreads {
public:
    explicit HookedThreads(sim::Machine& machine) : ForwardingThreads(machine.platform().threads) {}

    platform::Handle StartThread(std::function<void()> entry) override {
        if (beforeStart) {
            beforeStart();
        }
        return ForwardingThreads::StartThread(std::move(entry));
    }

    std::function<void()> beforeStart;
};

class HookedPipes final : public ForwardingPipes {
public:
    explicit HookedPipes(sim::Machine& machine) : ForwardingPipes(machine.pipes()) {}

    void FreeSid(platform::Sid sid) override {
        if (beforeFreeSid) {
            beforeFreeSid();
        }
        ForwardingPipes::FreeSid(sid);
    }

    std::function<void()> beforeFreeSid;
};

}  // namespace tavi::test
