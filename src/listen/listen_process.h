// What the threads of the service share, one set per process: the four flags that coordinate them, the threads
// themselves, the current listening task, and the database. StartupSyncFileListenService creates and owns it and passes
// it down by reference; it outlives everything that gets it. The threads coordinate by the flags and by joining. Each
// member says who writes it. Nothing here fails.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "db/sqlite3_operator.h"
#include "listen/worker_thread.h"
#include "platform/platform.h"

namespace tavi::listen {

// What to listen to, and from which position: the user row is the record.
using ListenTaskRecord = db::UserRecord;

// The listening task that is running, as others may see it. The listen thread sets it when its cycle is initialised and
// clears it when it ends; the IPC thread reads it. A reader owns a share of the record, which therefore lives for as
// long as the reader looks at it.
class CurrentListenTask {
public:
    void Set(std::shared_ptr<const ListenTaskRecord> task) {
        const std::scoped_lock lock(mutex_);
        task_ = std::move(task);
    }
    void Clear() { Set(nullptr); }
    // Null when no task is running.
    std::shared_ptr<const ListenTaskRecord> Get() const {
        const std::scoped_lock lock(mutex_);
        return task_;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const ListenTaskRecord> task_;  // guarded by mutex_
};

struct ListenProcess {
    explicit ListenProcess(platform::Platform& platform)
        : ipcThread(platform.threads),
          mainThread(platform.threads),
          listenThread(platform.threads),
          database(platform) {}

    // Set by the main thread on stop, by the IPC thread when its pipe is gone, and by a start that failed; cleared by
    // the start of the service.
    std::atomic<bool> stopIpcThread{false};
    // Set by whoever wants the whole service to end, the IPC thread without a pipe among them; cleared by the start.
    std::atomic<bool> stopService{false};
    // Set by whoever ends the listening task, the listen thread on its own fatal errors among them; cleared by the
    // start handler before it starts a listen thread.
    std::atomic<bool> stopListenTask{false};
    // Set by the main thread at its end and for the time of a client's finish request: the stopped state is reported
    // elsewhere, and the cycle in progress gives up its batch. Cleared by the start.
    std::atomic<bool> suppressStoppedReport{false};

    WorkerThread ipcThread;
    WorkerThread mainThread;
    WorkerThread listenThread;

    CurrentListenTask currentTask;
    std::u16string databaseBasePath;  // the IPC thread's; the last start request's
    db::SqLite3Operator database;     // its path is set by the IPC thread while no listen thread runs
};

}  // namespace tavi::listen
