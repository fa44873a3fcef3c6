// From a checked request to its answer: runs the command, logs it, and replies on the connection that the request came
// over. What the commands do is the listening task's business, reached through ClientCommands.
//
// Called on the IPC thread, one request at a time. Owns nothing. A reply that cannot be written is logged by the pipe
// and changes nothing else: the command has been carried out, and the client has to ask again.
#pragma once

#include <cstdint>

#include "ipc/client_message.h"
#include "ipc/named_pipe.h"

namespace tavi::ipc {

// What the client's commands ask of the service. Called on the IPC thread.
class ClientCommands {
public:
    enum class UsnStatus { kNoTask, kUnusable, kUsable };

    virtual ~ClientCommands() = default;

    // Starts or resumes the task; returns the reply's status, 0 to 5. Any running task has ended when it returns.
    virtual std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ListenTaskParams& params) = 0;
    // Returns when the task's thread has ended, or at once when there is none.
    virtual void FinishCurrentListenTask() = 0;
    // While a client's finish request is served, the cycle in progress gives up its batch.
    virtual void SetFinishing(bool finishing) = 0;
    // Whether the running task's journal can be opened and queried.
    virtual UsnStatus DetectUsnStatus() = 0;
};

// Says for its lifetime that a listening task is being finished, however its scope is left.
class FinishingScope {
public:
    explicit FinishingScope(ClientCommands& commands) : commands_(commands) { commands_.SetFinishing(true); }
    ~FinishingScope() { commands_.SetFinishing(false); }
    FinishingScope(const FinishingScope&) = delete;
    FinishingScope& operator=(const FinishingScope&) = delete;

private:
    ClientCommands& commands_;
};

// `params` is a valid request. Answers it, then flushes and disconnects the pipe. An exception of a command leaves:
// then the pipe is still connected, and the caller disconnects it.
void DispatchClientMessage(ListenServiceNamedPipe& pipe, ClientCommands& commands, const ListenTaskParams& params);

// Returns whether the reply was written. Whether the client has read it nobody knows before the flush.
bool SendReply(ListenServiceNamedPipe& pipe, std::uint32_t status);

}  // namespace tavi::ipc
