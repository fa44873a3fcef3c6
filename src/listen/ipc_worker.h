// The IPC thread: creates the pipe, then serves one client at a time until it is told to stop. A pipe that cannot be
// created, or is lost, ends the whole service.
//
// Threads: ServiceWorkerIPCThread is the thread's body; ServeOneClient is one turn of its loop, which tests call on
// their own. Only CancelBlockingCall is for another thread. Owner: owns the pipe and the memory for requests; platform,
// process and commands outlive it. Failure: a client that cannot be served is logged and disconnected, and the next one
// is awaited. No standard exception leaves ServeOneClient.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "imports/digital_signature.h"
#include "ipc/client_dispatch.h"
#include "ipc/named_pipe.h"
#include "listen/listen_process.h"
#include "platform/owned_handle.h"
#include "platform/platform.h"

namespace tavi::listen {

class IpcWorker {
public:
    // A client's executable must be signed by `publisher`.
    IpcWorker(platform::Platform& platform, ListenProcess& process, ipc::ClientCommands& commands,
              std::u16string publisher);

    void ServiceWorkerIPCThread();
    // Waits for a client, checks it and its request, and answers. Whatever goes wrong is logged, and ends this client's
    // connection only.
    void ServeOneClient();

    // Calls `cancel` when the thread may be waiting for somebody: on the pipe, or in the check of a client, whose
    // executable somebody may hold. Never while a request is carried out.
    void CancelBlockingCall(const std::function<void()>& cancel) { pipe_.blockingCalls().CancelUnderWay(cancel); }
    ipc::ListenServiceNamedPipe& pipe() { return pipe_; }

private:
    bool WaitForClient();
    bool ServeConnected();
    bool AcceptClient(platform::OwnedHandle& client);

    platform::Platform& platform_;
    ListenProcess& process_;
    ipc::ClientCommands& commands_;
    ipc::BoundedMemory receiveMemory_;
    ipc::ListenServiceNamedPipe pipe_;
    DigitalSignature::ClientCheck clientCheck_;
    platform::FileTime connectedAt_ = 0;
    std::uint32_t failedConnectsInARow_ = 0;
};

}  // namespace tavi::listen
