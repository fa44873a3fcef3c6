// The service itself: its three worker threads, their order of start and stop, and what a client's commands do. One
// object per process, created by StartupSyncFileListenService and living until the dispatcher has returned.
//
// Threads: OnStart and WaitForServiceWorkerFinish run on the service thread, OnStop and OnShutdown on the dispatcher's,
// the commands on the IPC thread, ServiceWorkerMainThread on the main thread. They meet in ListenProcess only. Owner:
// owns the workers' logic; the threads themselves are ListenProcess's, which outlives this object. Failure: threads
// that cannot be started are logged, and the service reports running without them. A command that throws (out of
// memory) is logged by the IPC thread; a start that throws is answered with 5.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "ipc/client_dispatch.h"
#include "listen/ipc_worker.h"
#include "listen/listen_process.h"
#include "listen/listen_worker.h"
#include "listen/start_handler.h"
#include "platform/platform.h"
#include "service/lifecycle/listen_service_base.h"

namespace tavi::listen {

class ListenServiceImpl final : public service::ListenServiceBase, private ipc::ClientCommands {
public:
    enum class MainNext { kGoOn, kTearDown };

    ListenServiceImpl(platform::Platform& platform, service::CheckPointCounter& checkPoints, ListenProcess& process,
                      ListenCycleFactory cycles, std::u16string serviceName, std::u16string publisher);
    // Ends the workers and waits for them, if the dispatcher returned without a stop.
    ~ListenServiceImpl() override;

    void OnStart() override;
    void OnStop() override;
    void OnShutdown() override;
    void WaitForServiceWorkerFinish() override;

    // Asks the whole service to end and waits for it. `message` says why, in the trace.
    void DisableService(const std::u16string& message);
    // Asks the whole service to end, once and for all, and does not wait.
    void RequestEnd();

    // The main thread's body, one turn of its loop, and what it does at its end.
    void ServiceWorkerMainThread();
    MainNext PollForStop();
    void TearDownWorkers();

    ipc::ClientCommands& commands() { return *this; }
    IpcWorker& ipcWorker() { return ipcWorker_; }
    ListenWorker& listenWorker() { return listenWorker_; }

private:
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams& params) override;
    void FinishCurrentListenTask() override;
    void SetFinishing(bool finishing) override;
    UsnStatus DetectUsnStatus() override;

    bool StartThreads();
    void EndWorkersWithoutMainThread();
    void CancelWaitingForNamedPipe();
    void CancelBlockingCall();
    void JoinIpcThread();

    ListenProcess& process_;
    ListenWorker listenWorker_;
    StartHandler startHandler_;
    IpcWorker ipcWorker_;
    std::atomic<bool> endRequested_{false};  // never cleared: a stop may come before the start has cleared the flags
};

}  // namespace tavi::listen
