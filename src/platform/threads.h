// Threads, sleeping, and cancelling a thread's blocking call (kernel32).
#pragma once

#include <cstdint>
#include <functional>

#include "platform/types.h"

namespace tavi::platform {

class Threads {
public:
    virtual ~Threads() = default;

    // Starts a thread that runs `entry`, which must not throw. kNullHandle on failure (last error says why). The handle
    // is closed by the caller with CloseThread, after the thread has ended or not.
    virtual Handle StartThread(std::function<void()> entry) = 0;
    // WaitForSingleObject: true when the thread has ended within that time. Several threads may wait for one.
    virtual bool WaitForThread(Handle thread, std::uint32_t milliseconds) = 0;
    virtual void CloseThread(Handle thread) = 0;
    // False with ERROR_NOT_FOUND when the thread is in no synchronous call at that moment.
    virtual bool CancelSynchronousIo(Handle thread) = 0;
    // A number that is the same for every call on one thread and differs between threads that live at the same time.
    virtual std::uint32_t GetCurrentThreadId() = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

}  // namespace tavi::platform
