// From a checked request to its answer: which command runs, what is logged, and the reply, on the one connection that
// the request came over. What the commands do is the listening task's affair, reached through ClientCommands. Called on
// the IPC thread, one request at a time.
#pragma once

#include <cstdint>

#include "ipc/client_message.h"
#include "ipc/named_pipe.h"

namespace tavi::ipc {

// What the client's commands ask of the service. Called on the IPC thread; must not throw.
class ClientCommands {
public:
    enum class UsnStatus { kNoTask, kUnusable, kUsable };

    virtual ~ClientCommands() = default;

    // Starts or resumes the task; returns the reply's status, 0 to 5.
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

// `params` is a valid request. Answers it and ends the connection, whatever came of it.
void DispatchClientMessage(ListenServiceNamedPipe& pipe, ClientCommands& commands, const ListenTaskParams& params);

bool SendReply(ListenServiceNamedPipe& pipe, std::uint32_t status);

}  // namespace tavi::ipc
