#include "platform/windows/windows_threads.h"

#include <windows.h>

#include <process.h>

#include <memory>
#include <utility>

#include "platform/windows/native_handle.h"

namespace tavi::platform {

namespace {

unsigned __stdcall RunEntry(void* argument) {
    const std::unique_ptr<std::function<void()>> entry(static_cast<std::function<void()>*>(argument));
    try {
        (*entry)();
    } catch (...) {
        // An entry catches and logs its own exceptions; one that leaves it must not end the whole process.
        return 1;
    }
    return 0;
}

}  // namespace

Handle WindowsThreads::StartThread(std::function<void()> entry) {
    auto argument = std::make_unique<std::function<void()>>(std::move(entry));
    const std::uintptr_t thread = ::_beginthreadex(nullptr, 0, &RunEntry, argument.get(), 0, nullptr);
    if (thread != 0) {
        static_cast<void>(argument.release());  // the thread owns it now
    }
    return Handle{thread};
}

bool WindowsThreads::WaitForThread(Handle thread, std::uint32_t milliseconds) {
    return ::WaitForSingleObject(ToNative<HANDLE>(thread), milliseconds) == WAIT_OBJECT_0;
}

void WindowsThreads::CloseThread(Handle thread) {
    ::CloseHandle(ToNative<HANDLE>(thread));
}

bool WindowsThreads::CancelSynchronousIo(Handle thread) {
    return ::CancelSynchronousIo(ToNative<HANDLE>(thread)) != FALSE;
}

std::uint32_t WindowsThreads::GetCurrentThreadId() {
    return ::GetCurrentThreadId();
}

void WindowsThreads::Sleep(std::uint32_t milliseconds) {
    ::Sleep(milliseconds);
}

}  // namespace tavi::platform
