// One worker thread of the service: empty, or holding a thread that runs or has ended and waits to be joined. Started
// by one thread at a time; asked and joined by any number: all of them wait, and the thread is taken out once.
//
// A join of an empty object, or from the thread itself, does nothing and says so. Starting while a thread is still held
// ends the process, as assigning to a joinable std::thread does: it would lose that thread.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "platform/platform.h"

namespace tavi::listen {

class WorkerThread {
public:
    explicit WorkerThread(platform::Threads& threads) : threads_(threads) {}
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;
    ~WorkerThread();  // the thread has been joined

    // False when the system starts none (the last error says why) or there is no memory for one. `entry` must not
    // throw.
    bool Start(std::function<void()> entry);
    bool Joinable() const;
    bool Join();
    // True when the thread has done its work, or none is held.
    bool HasEnded() const;
    // Breaks the call in which the thread is stuck, if it is in one.
    bool CancelSynchronousIo();

private:
    struct Progress;
    struct Running;
    class WorkScope;

    std::shared_ptr<Running> StartRunning(std::function<void()> entry);
    std::shared_ptr<Running> Held() const;

    platform::Threads& threads_;
    mutable std::mutex mutex_;          // never held across a system call
    std::shared_ptr<Running> running_;  // guarded by mutex_
};

}  // namespace tavi::listen
