// The listening task's thread: one processing cycle every 500 ms until it is told to stop, fails four times in a row or
// loses its position.
//
// Threads: Start and FinishCurrentListenTask are called on the IPC thread, and at the service's end by whoever ends it.
// ServiceWorkerListenThread is the thread's body; RunIteration is one turn of its loop, which tests call on their own.
// Owner: the thread owns its task's record and the cycle that it builds, and frees both at its end. Platform, process
// and factory outlive the worker. Failure: a task that fails ends by itself, with a line of the error log and
// stopListenTask set. The thread then waits to be joined. No standard exception leaves the thread's body.
#pragma once

#include <cstdint>
#include <memory>

#include "listen/listen_cycle.h"
#include "listen/listen_process.h"
#include "platform/platform.h"

namespace tavi::listen {

class ListenWorker {
public:
    enum class Next { kGoOn, kEnd };

    ListenWorker(platform::Platform& platform, ListenProcess& process, ListenCycleFactory cycles);

    // Clears stopListenTask and starts the thread. False when none was started: stopListenTask stays clear then, and
    // the caller sets it again. Only after FinishCurrentListenTask: starting while a thread is held ends the process.
    bool Start(ListenTaskRecord task);
    // Sets stopListenTask and waits for the thread, if there is one: for the cycle in progress and a pause at most. No
    // task is the current one afterwards.
    void FinishCurrentListenTask();

    void ServiceWorkerListenThread(const std::shared_ptr<const ListenTaskRecord>& task);
    // One turn of the thread's loop: a cycle and the pause after it. `failuresInARow` is the loop's own count.
    Next RunIteration(ListenCycle& cycle, std::uint32_t& failuresInARow);

private:
    void RunTask(const std::shared_ptr<const ListenTaskRecord>& task);

    platform::Platform& platform_;
    ListenProcess& process_;
    ListenCycleFactory cycles_;
};

}  // namespace tavi::listen
