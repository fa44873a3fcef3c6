#include "listen/listen_service_impl.h"

#include <memory>
#include <utility>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "listen/journal_access.h"

namespace tavi::listen {
namespace {

constexpr std::uint32_t kStopPollMs = 1000;
constexpr std::uint32_t kCancelIntervalMs = 50;

void Trace(const std::string& message) {
    Drive::SyncPanelLog::WriteTraceLog(message);
}

}  // namespace

ListenServiceImpl::ListenServiceImpl(platform::Platform& platform, service::CheckPointCounter& checkPoints,
                                     ListenProcess& process, ListenCycleFactory cycles, std::u16string serviceName,
                                     std::u16string publisher)
    : ListenServiceBase(platform, checkPoints, std::move(serviceName)),
      process_(process),
      listenWorker_(platform, process, std::move(cycles)),
      startHandler_(platform, process, listenWorker_),
      ipcWorker_(platform, process, *this, std::move(publisher)) {}

ListenServiceImpl::~ListenServiceImpl() {
    RequestEnd();
    if (process_.mainThread.Joinable()) {
        process_.mainThread.Join();
    }
    process_.stopIpcThread.exchange(true);
    EndWorkersWithoutMainThread();
}

void ListenServiceImpl::OnStart() {
    Drive::SyncPanelLog::ListenServiceLogInit();
    Drive::SyncPanelLog::WriteNetLog("{ListenServiceImpl.OnStart}Creating IPC Thread and Main Thread");
    process_.stopIpcThread.exchange(false);
    process_.stopService.exchange(false);
    process_.suppressStoppedReport.exchange(false);
    if (endRequested_.load()) {
        process_.stopService.exchange(true);
    }
    if (StartThreads()) {
        return;
    }
    const std::uint32_t code = platform_.errors.GetLastError();
    process_.stopIpcThread.exchange(true);
    process_.stopService.exchange(true);
    Drive::kListenServiceImplLog.Error("OnStart", "Failed to initialize the service, error code is ", code);
    // Without memory for that, the destructor ends whoever is left.
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, {}, {}, [this] { EndWorkersWithoutMainThread(); });
}

bool ListenServiceImpl::StartThreads() {
    return process_.ipcThread.Start([this] { ipcWorker_.ServiceWorkerIPCThread(); }) &&
           process_.mainThread.Start([this] { ServiceWorkerMainThread(); });
}

// Nobody else ends an IPC thread that was started, or a listening task that a quick client has started through it. A
// main thread that ran to its end has left neither.
void ListenServiceImpl::EndWorkersWithoutMainThread() {
    JoinIpcThread();
    if (process_.listenThread.Joinable()) {
        const ipc::FinishingScope finishing(*this);
        FinishCurrentListenTask();
    }
}

void ListenServiceImpl::OnStop() {
    DisableService(u"The service is stopping, wait to ServiceWorkerMainThread ends");
}

void ListenServiceImpl::OnShutdown() {
    DisableService(u"The system is shutting down, wait to ServiceWorkerMainThread ends");
}

void ListenServiceImpl::RequestEnd() {
    endRequested_.store(true);
    process_.stopService.exchange(true);
}

void ListenServiceImpl::DisableService(const std::u16string& message) {
    Trace("{ListenServiceImpl.DisableService}starts");
    RequestEnd();
    if (process_.mainThread.Joinable()) {
        Trace(TypeConvert::WStringToString(message));
        process_.mainThread.Join();
    }
    Trace("{ListenServiceImpl.DisableService}ends");
}

void ListenServiceImpl::WaitForServiceWorkerFinish() {
    Trace("{ListenServiceImpl.WaitForServiceWorkerFinish}Wait until ServiceWorkerMainThread ends.");
    if (process_.mainThread.Joinable()) {
        process_.mainThread.Join();
    }
    // Set by a main thread that ran to its end: the stop or the shutdown reports then.
    if (!process_.suppressStoppedReport.load()) {
        SendStopped();
    }
}

void ListenServiceImpl::ServiceWorkerMainThread() {
    Trace("ServiceWorkerMainThread starts");
    while (PollForStop() == MainNext::kGoOn) {
    }
    TearDownWorkers();
    Trace("ServiceWorkerMainThread ends");
}

ListenServiceImpl::MainNext ListenServiceImpl::PollForStop() {
    if (process_.stopService.load()) {
        return MainNext::kTearDown;
    }
    platform_.threads.Sleep(kStopPollMs);
    return MainNext::kGoOn;
}

void ListenServiceImpl::TearDownWorkers() {
    process_.stopIpcThread.exchange(true);
    CancelWaitingForNamedPipe();
    process_.stopListenTask.exchange(true);
    process_.suppressStoppedReport.exchange(true);
    if (process_.ipcThread.Joinable()) {
        Trace("ServiceWorkerMainThread is about to exit. Wait until ServiceWorkerIPCTThread ends.");
        JoinIpcThread();
    }
    // A request that was being served has cleared them again: a start before its thread, a finish after it.
    process_.stopListenTask.exchange(true);
    process_.suppressStoppedReport.exchange(true);
    if (process_.listenThread.Joinable()) {
        Trace("ServiceWorkerMainThread is about to exit. Wait until ServiceWorkerListenThread ends.");
        process_.listenThread.Join();
    }
}

void ListenServiceImpl::CancelWaitingForNamedPipe() {
    Trace("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO");
    CancelBlockingCall();
}

// Ends calls that wait for a client or for its executable, and no other: what a request does to the database or the
// journal ends by itself.
void ListenServiceImpl::CancelBlockingCall() {
    ipcWorker_.CancelBlockingCall([this] { process_.ipcThread.CancelSynchronousIo(); });
}

// Again and again: a cancellation meets only a call that has reached the system, and several may follow.
void ListenServiceImpl::JoinIpcThread() {
    while (!process_.ipcThread.HasEnded()) {
        CancelBlockingCall();
        platform_.threads.Sleep(kCancelIntervalMs);
    }
    process_.ipcThread.Join();
}

std::uint32_t ListenServiceImpl::HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams& params) {
    std::uint32_t reply = protocol::kReplyStartFailed;
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, "HandleSyncFileMsgForBeginningListenTask",
                                 {.standard = Drive::kStdException},
                                 [&] { reply = startHandler_.HandleSyncFileMsgForBeginningListenTask(params); });
    return reply;
}

void ListenServiceImpl::FinishCurrentListenTask() {
    listenWorker_.FinishCurrentListenTask();
}

void ListenServiceImpl::SetFinishing(bool finishing) {
    process_.suppressStoppedReport.exchange(finishing);
}

ipc::ClientCommands::UsnStatus ListenServiceImpl::DetectUsnStatus() {
    const auto task = process_.listenThread.Joinable() ? process_.currentTask.Get() : nullptr;
    if (task == nullptr) {
        return UsnStatus::kNoTask;
    }
    return JournalIsUsable(platform_, task->listenPath) ? UsnStatus::kUsable : UsnStatus::kUnusable;
}

}  // namespace tavi::listen
