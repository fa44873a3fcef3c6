// The listening task's thread: one processing cycle every 500 ms until it is told to stop, fails four times in a row or
// loses its position. Start and FinishCurrentListenTask are called on the IPC thread; ServiceWorkerListenThread is the
// thread's body, which calls Init-like and one-iteration functions that tests can call on their own.
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

    // Clears stopListenTask and starts the thread; false when the system starts none. No other one may be held.
    bool Start(ListenTaskRecord task);
    // Ends the task, if there is one, and waits for its thread.
    void FinishCurrentListenTask();

    void ServiceWorkerListenThread(const std::shared_ptr<const ListenTaskRecord>& task);
    // One turn of the thread's loop. `failuresInARow` is the loop's own count.
    Next RunIteration(ListenCycle& cycle, std::uint32_t& failuresInARow);

private:
    void RunTask(const std::shared_ptr<const ListenTaskRecord>& task);

    platform::Platform& platform_;
    ListenProcess& process_;
    ListenCycleFactory cycles_;
};

}  // namespace tavi::listen
