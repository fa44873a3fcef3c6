#include "windows/windows_pipe.h"

namespace tavi::client {

namespace {

constexpr std::size_t kMaxMessageBytes = 64;

}  // namespace

WindowsPipe::~WindowsPipe() {
    Close();
}

std::uint32_t WindowsPipe::Open() {
    Close();
    event_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event_ == nullptr) {
        return GetLastError();
    }
    pipe_ = CreateFileW(name_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                        FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
    if (pipe_ == INVALID_HANDLE_VALUE) {
        return GetLastError();
    }
    DWORD mode = PIPE_READMODE_MESSAGE;
    return SetNamedPipeHandleState(pipe_, &mode, nullptr, nullptr) ? ERROR_SUCCESS : GetLastError();
}

std::uint32_t WindowsPipe::WaitForInstance(std::uint32_t timeout) {
    return WaitNamedPipeW(name_.c_str(), timeout) ? ERROR_SUCCESS : GetLastError();
}

std::uint32_t WindowsPipe::Write(std::span<const std::uint8_t> message, std::uint32_t timeout) {
    OVERLAPPED operation{};
    operation.hEvent = event_;
    DWORD bytes = 0;
    const bool begun =
        WriteFile(pipe_, message.data(), static_cast<DWORD>(message.size()), nullptr, &operation) != FALSE;
    return Complete(begun, operation, timeout, bytes);
}

std::uint32_t WindowsPipe::Read(std::vector<std::uint8_t>& message, std::uint32_t timeout) {
    message.resize(kMaxMessageBytes);
    OVERLAPPED operation{};
    operation.hEvent = event_;
    DWORD bytes = 0;
    const bool begun =
        ReadFile(pipe_, message.data(), static_cast<DWORD>(message.size()), nullptr, &operation) != FALSE;
    const std::uint32_t error = Complete(begun, operation, timeout, bytes);
    message.resize(error == ERROR_SUCCESS ? bytes : 0);
    return error;
}

// Called directly after the operation was begun. Does not return before the system is done with `operation`.
std::uint32_t WindowsPipe::Complete(bool begun, OVERLAPPED& operation, std::uint32_t timeout, DWORD& bytes) {
    if (!begun) {
        const DWORD error = GetLastError();
        if (error != ERROR_IO_PENDING) {
            return error;
        }
    }
    bool late = false;
    if (WaitForSingleObject(event_, timeout) == WAIT_TIMEOUT) {
        late = true;
        CancelIoEx(pipe_, &operation);
    }
    if (GetOverlappedResult(pipe_, &operation, &bytes, TRUE)) {
        return ERROR_SUCCESS;  // also when it was over just before it was cancelled
    }
    const DWORD error = GetLastError();
    return late && error == ERROR_OPERATION_ABORTED ? WAIT_TIMEOUT : error;
}

void WindowsPipe::Close() {
    if (pipe_ != INVALID_HANDLE_VALUE) {
        CloseHandle(pipe_);
        pipe_ = INVALID_HANDLE_VALUE;
    }
    if (event_ != nullptr) {
        CloseHandle(event_);
        event_ = nullptr;
    }
}

std::uint64_t WindowsPipe::NowMilliseconds() {
    return GetTickCount64();
}

void WindowsPipe::Sleep(std::uint32_t milliseconds) {
    ::Sleep(milliseconds);
}

std::unique_ptr<ServicePipe> MakeServicePipe() {
    return std::make_unique<WindowsPipe>();
}

}  // namespace tavi::client
