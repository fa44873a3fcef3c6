#include "listen/listen_worker.h"

#include <utility>

#include "db/standby_connection.h"
#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"

namespace tavi::listen {
namespace {

constexpr std::uint32_t kPauseBetweenCyclesMs = 500;
constexpr std::uint32_t kMostFailuresInARow = 3;
constexpr std::uint32_t kMillisecondsPerSecond = 1000;

constexpr const char* kThread = "ServiceWorkerListenThread";

records::FileChangeRecord::Task CycleTask(const ListenTaskRecord& task) {
    return {.userId = task.userId,
            .listenPath = task.listenPath,
            .startUsn = task.usnLocation,
            // In 32 bits: an interval of more than 49 days wraps around.
            .splitIntervalMs = task.recordSplitInterval * kMillisecondsPerSecond};
}

// Takes the task away from those who ask for it, however its thread ends.
class CurrentTaskGuard {
public:
    CurrentTaskGuard(CurrentListenTask& current, std::shared_ptr<const ListenTaskRecord> task) : current_(current) {
        current_.Set(std::move(task));
    }
    ~CurrentTaskGuard() { current_.Clear(); }
    CurrentTaskGuard(const CurrentTaskGuard&) = delete;
    CurrentTaskGuard& operator=(const CurrentTaskGuard&) = delete;

private:
    CurrentListenTask& current_;
};

}  // namespace

ListenWorker::ListenWorker(platform::Platform& platform, ListenProcess& process, ListenCycleFactory cycles)
    : platform_(platform), process_(process), cycles_(std::move(cycles)) {}

bool ListenWorker::Start(ListenTaskRecord task) {
    process_.stopListenTask.exchange(false);
    bool started = false;  // without memory it is as if the system had started none
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, {}, {}, [&] {
        auto shared = std::make_shared<const ListenTaskRecord>(std::move(task));
        started =
            process_.listenThread.Start([this, record = std::move(shared)] { ServiceWorkerListenThread(record); });
    });
    return started;
}

void ListenWorker::FinishCurrentListenTask() {
    Drive::SyncPanelLog::WriteTraceLog("{ListenServiceImpl.FinishCurrentListenTask}Stopping the listening task.");
    process_.stopListenTask.exchange(true);
    if (process_.listenThread.Joinable())
        process_.listenThread.Join();
    Drive::SyncPanelLog::WriteTraceLog(
        "{ListenServiceImpl.FinishCurrentListenTask}Succeeded in stopping the listening task.");
}

void ListenWorker::ServiceWorkerListenThread(const std::shared_ptr<const ListenTaskRecord>& task) {
    Drive::SyncPanelLog::WriteTraceLog("ServiceWorkerListenThread starts");
    if (!Drive::EndStandardExceptions(Drive::kListenServiceImplLog, kThread, {.standard = Drive::kStdException},
                                      [&] { RunTask(task); })) {
        process_.stopListenTask.exchange(true);  // the task ends; the service goes on
    }
    Drive::SyncPanelLog::WriteTraceLog("ServiceWorkerListenThread ends");
}

void ListenWorker::RunTask(const std::shared_ptr<const ListenTaskRecord>& task) {
    const std::unique_ptr<ListenCycle> cycle = cycles_(CycleTask(*task));
    if (!cycle->Init()) {
        process_.stopListenTask.exchange(true);
        Drive::kListenServiceImplLog.Error(kThread, "Failed to initialize the interception function");
        return;
    }
    const CurrentTaskGuard guard(process_.currentTask, task);
    db::StandbyConnection standby(process_.database);
    std::uint32_t failuresInARow = 0;
    do {
        standby.Hold();
    } while (RunIteration(*cycle, failuresInARow) == Next::kGoOn);
}

ListenWorker::Next ListenWorker::RunIteration(ListenCycle& cycle, std::uint32_t& failuresInARow) {
    if (process_.stopListenTask.load())
        return Next::kEnd;
    failuresInARow = cycle.RunOnce() ? 0 : failuresInARow + 1;
    if (failuresInARow > kMostFailuresInARow) {
        process_.stopListenTask.exchange(true);
        Drive::kListenServiceImplLog.Error(kThread,
                                           "Failed to read records, process records, or write to the database");
        return Next::kEnd;
    }
    if (cycle.positionLost()) {
        process_.stopListenTask.exchange(true);
        Drive::kListenServiceImplLog.Error(kThread, "A parameter error occurred while reading changeJournal");
        return Next::kEnd;
    }
    platform_.threads.Sleep(kPauseBetweenCyclesMs);
    return Next::kGoOn;
}

}  // namespace tavi::listen
