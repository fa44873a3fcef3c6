// One worker thread of the service: empty, or holding a thread that runs or has ended and waits to be joined.
//
// Threads: one at a time starts it; any number ask and join, all of them wait, and the thread is taken out once.
// Owner: owns the thread's handle until the join, shared with whoever is waiting for it. The thread must be joined
// before this object goes. Failure: Start returns false. A join of an empty object, or from the thread itself, does
// nothing and returns false. Starting while a thread is held ends the process, as assigning to a joinable std::thread
// does: it would lose that thread.
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
    // Returns when the thread has ended, and leaves the object empty.
    bool Join();
    // True when the thread has done its work, or none is held.
    bool HasEnded() const;
    // Cancels the system call in which the thread waits; false when it is in none, or the system refuses.
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
