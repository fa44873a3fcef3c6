#include "listen/ipc_worker.h"

#include <utility>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "ipc/client_message.h"

namespace tavi::listen {
namespace {

// One failed wait is ordinary: a client that was too quick, or gone again. When the system refuses time and again, the
// thread must not spin.
constexpr std::uint32_t kOrdinaryFailedConnects = 2;
constexpr std::uint32_t kPauseAfterFailedConnectMs = 100;

void Trace(const char* message) {
    Drive::SyncPanelLog::WriteTraceLog(message);
}

}  // namespace

IpcWorker::IpcWorker(platform::Platform& platform, ListenProcess& process, ipc::ClientCommands& commands,
                     std::u16string publisher)
    : platform_(platform),
      process_(process),
      commands_(commands),
      pipe_(platform),
      clientCheck_(platform, std::move(publisher),
                   [this](const std::function<bool()>& calls) { return pipe_.blockingCalls().Run(calls); }) {}

void IpcWorker::ServiceWorkerIPCThread() {
    Trace("ServiceWorkerIPCThread starts");
    while (!process_.stopIpcThread.load()) {
        pipe_.Create();
        while (pipe_.IsValid() && !process_.stopIpcThread.load()) {
            ServeOneClient();
        }
        pipe_.Close();
        process_.stopIpcThread.exchange(true);
        process_.stopService.exchange(true);
    }
    Trace("ServiceWorkerIPCThread ends");
}

void IpcWorker::ServeOneClient() {
    bool disconnected = false;
    // Without memory for it, a client gets no answer.
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, "ServiceWorkerIPCThread",
                                 {.standard = Drive::kStdException},
                                 [&] { disconnected = WaitForClient() && ServeConnected(); });
    if (!disconnected) {
        pipe_.FlushAndDisconnect();
    }
    const std::uint32_t pause =
        failedConnectsInARow_ > kOrdinaryFailedConnects ? kPauseAfterFailedConnectMs : clientCheck_.PauseMs();
    if (pause != 0) {
        platform_.threads.Sleep(pause);
    }
}

bool IpcWorker::WaitForClient() {
    if (pipe_.Connect()) {
        connectedAt_ = platform_.clock.GetSystemTimePreciseAsFileTime();
        failedConnectsInARow_ = 0;
        return true;
    }
    Trace("Failed to wait for the client to connect.");
    ++failedConnectsInARow_;
    return false;
}

// True when the dispatcher has answered the client and ended its connection.
bool IpcWorker::ServeConnected() {
    platform::OwnedHandle client;  // held to the end: no other process gets its id
    if (!AcceptClient(client)) {
        Trace("The client connection is invalid.");
        return false;
    }
    ipc::FrameBuffer frame(&receiveMemory_);
    if (!pipe_.Read(frame)) {
        Trace("Failed to read the data sent by the client.");
        return false;
    }
    const ipc::ListenTaskParams params = ipc::GetSyncFileMessageAndCheck(frame);
    if (!params.valid) {
        Trace("The format of the data sent from the client is incorrect.");
        return false;
    }
    ipc::DispatchClientMessage(pipe_, commands_, params);
    return true;
}

bool IpcWorker::AcceptClient(platform::OwnedHandle& client) {
    const auto [processId, ok] = pipe_.GetClientProcessId();
    if (!ok) {
        Trace("Failed to obtain the client process ID");
        return false;
    }
    if (!clientCheck_.IsValidClient({.processId = processId, .acceptedAt = connectedAt_}, client)) {
        Trace("Invalid client connection");
        return false;
    }
    return true;
}

}  // namespace tavi::listen
