// Threads on Windows. A thread starts through the C runtime, so that its runtime state is set up and released.
#pragma once

#include "platform/threads.h"

namespace tavi::platform {

class WindowsThreads final : public Threads {
public:
    Handle StartThread(std::function<void()> entry) override;
    bool WaitForThread(Handle thread, std::uint32_t milliseconds) override;
    void CloseThread(Handle thread) override;
    bool CancelSynchronousIo(Handle thread) override;
    std::uint32_t GetCurrentThreadId() override;
    void Sleep(std::uint32_t milliseconds) override;
};

}  // namespace tavi::platform
