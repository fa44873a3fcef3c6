// The service's end of the channel to the client: one instance of one named pipe, open to local processes and
// administrators only. Driven by the IPC thread alone; the calls are synchronous and sit in the system until something
// happens. Only blockingCalls may be used from another thread: whoever wants the IPC thread to end cancels its calls
// there.
//
// Every failure is one line of the network log, with the system's code, and a false result; nothing is thrown. The pipe
// owns its handle and the security objects it was created with until Close or its end; those built before a step of
// Create that failed stay until then, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ipc/blocking_calls.h"
#include "platform/owned.h"
#include "platform/platform.h"
#include "tavi_client/protocol.h"

namespace tavi::ipc {

inline constexpr std::size_t kReadChunkBytes = 4096;
inline constexpr std::size_t kWriteChunkBytes = 1024;

using FrameBuffer = std::pmr::vector<std::byte>;

class ListenServiceNamedPipe {
public:
    explicit ListenServiceNamedPipe(platform::Platform& platform);

    bool Create();
    bool Connect();
    // Reads one whole request into `frame`, emptying it first. Its memory resource decides how much a client may
    // announce: what cannot be reserved ends the read.
    bool Read(FrameBuffer& frame);
    bool Write(std::span<const std::byte> bytes);
    std::pair<std::uint32_t, bool> GetClientProcessId();
    // Waits until the client has read what was written, then ends its connection. Results are of no use to anybody.
    void FlushAndDisconnect();
    void Close();  // may be called again

    bool IsValid() const { return static_cast<bool>(handle_); }
    bool InBlockingCall() const { return blockingCalls_.UnderWay(); }
    BlockingCalls& blockingCalls() { return blockingCalls_; }

    static constexpr const char16_t* PipeName = protocol::kPipeName;

private:
    bool BuildSecurityDescriptor();
    bool BuildAccessList();
    bool FailWithCode(const char* prefix, const char* message);
    bool Fail(const char* prefix, const char* message, std::uint32_t code);
    template <class MakeCall>
    std::optional<std::uint32_t> FailureOf(const MakeCall& call);
    bool AppendChunk(FrameBuffer& frame, std::span<const std::byte> chunk);
    bool ReadFrame(FrameBuffer& frame, std::span<std::byte> scratch);

    platform::Platform& platform_;
    // In the reverse of the order of release: what a descriptor points to goes after it.
    platform::Owned<platform::LocalMemory, platform::kNoLocalMemory> descriptor_;
    platform::Owned<platform::Acl, platform::kNoAcl> acl_;
    platform::Owned<platform::Sid, platform::kNoSid> administratorsSid_;
    platform::Owned<platform::Sid, platform::kNoSid> localSid_;
    platform::Owned<platform::Handle, platform::kInvalidHandle> handle_;
    BlockingCalls blockingCalls_;
};

}  // namespace tavi::ipc
