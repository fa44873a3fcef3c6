// The service's end of the channel to the client: one instance of one named pipe, open to local programs and
// administrators only.
//
// Order of calls: Create; then for each client Connect, GetClientProcessId, Read, Write and FlushAndDisconnect; at last
// Close. FlushAndDisconnect also comes after a failed Connect, since the pipe is ready for the next client only then.
//
// Thread: the IPC thread's alone. Connect, Read, Write and FlushAndDisconnect wait in the system for the client,
// without a time limit. Only blockingCalls() is for another thread as well: whoever wants the IPC thread to end cancels
// its calls there, and a cancelled call is a failed one (code 995).
//
// Owner: the pipe owns its handle and the security objects that it was created with, and releases them in Close or at
// its own end. What a Create that failed has built stays until then.
//
// Failure: a false result, and one line of the network log with the system's code, except where a function says
// otherwise. No standard exception leaves: it is a failure too, with a line of the error log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <new>
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
// Far above the largest frame that passes the checks.
inline constexpr std::size_t kLargestReceiveAllocation = std::size_t{1} << 20;  // bytes

using FrameBuffer = std::pmr::vector<std::byte>;

// Memory for what a client sends. A frame announces its own length, up to 4 GiB, before anything about it has been
// checked. An allocation above the limit fails as if there were no memory left, so no client can make the service take
// more.
class BoundedMemory final : public std::pmr::memory_resource {
public:
    explicit BoundedMemory(std::size_t largestAllocation = kLargestReceiveAllocation)
        : largestAllocation_(largestAllocation) {}

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        if (bytes > largestAllocation_)
            throw std::bad_alloc();
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* memory, std::size_t bytes, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(memory, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    std::size_t largestAllocation_;
};

class ListenServiceNamedPipe {
public:
    // `platform` outlives the pipe.
    explicit ListenServiceNamedPipe(platform::Platform& platform);

    // Only while the pipe is not valid: a second instance would be refused. Fails as well when another program has made
    // the pipe's name first and left room for this instance. After a failure the pipe is not valid, and Create may be
    // called again.
    bool Create();
    // Waits for a client. One that came between Create, or the last disconnect, and this call is a failure (code 535):
    // the system connects it without a wait, and it has to come again.
    bool Connect();
    // Reads one whole request into `frame`, emptying it first; it may come in several messages. `frame`'s memory
    // resource decides how much a client may announce: what cannot be reserved ends the read. More bytes than announced
    // are kept and end the read as well. After a failure `frame` is empty. No line is written when the system has no
    // memory for the scratch buffer.
    bool Read(FrameBuffer& frame);
    // In pieces of at most 1024 bytes, each a message of its own. After a failure some of them may have gone. Nothing
    // to write is a success.
    bool Write(std::span<const std::byte> bytes);
    // The id, and whether the call succeeded; 0 when it did not. Nobody holds the process: the id may change hands.
    std::pair<std::uint32_t, bool> GetClientProcessId();
    // Waits until the client has read what was written, or is gone, then ends its connection. Writes no line when the
    // system refuses either: there is nothing to do about it.
    void FlushAndDisconnect();
    // May be called again.
    void Close();

    // True between a Create that succeeded and Close.
    bool IsValid() const { return static_cast<bool>(handle_); }
    BlockingCalls& blockingCalls() { return blockingCalls_; }

    static constexpr const char16_t* PipeName = protocol::kPipeName;

private:
    template <class Operation>
    bool Guarded(const Operation& operation);
    bool BuildSecurityDescriptor();
    bool BuildAccessList();
    bool CreateInstance();
    bool OwnsTheName();
    bool FailWithCode(const char* prefix, const char* message);
    bool Fail(const char* prefix, const char* message, std::uint32_t code);
    template <class MakeCall>
    std::optional<std::uint32_t> FailureOf(const MakeCall& call);
    bool AppendChunk(FrameBuffer& frame, std::span<const std::byte> chunk);
    bool ReadFrame(FrameBuffer& frame, std::span<std::byte> scratch);
    bool WritePieces(std::span<const std::byte> bytes);

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
