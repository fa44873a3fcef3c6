// The service's pipe on Windows. Reads and writes are overlapped, so that they can be given up when their time is over.
// Opens with identification only: the service may ask who the client is but never act as it.
#pragma once

#include <windows.h>

#include <iterator>
#include <string>

#include "tavi_client/protocol.h"
#include "tavi_client/service_pipe.h"

namespace tavi::client {

class WindowsPipe final : public ServicePipe {
public:
    explicit WindowsPipe(std::wstring name = ServiceName()) : name_(std::move(name)) {}
    ~WindowsPipe() override;
    WindowsPipe(const WindowsPipe&) = delete;
    WindowsPipe& operator=(const WindowsPipe&) = delete;

    std::uint32_t Open() override;
    std::uint32_t WaitForInstance(std::uint32_t timeout) override;
    std::uint32_t Write(std::span<const std::uint8_t> message, std::uint32_t timeout) override;
    std::uint32_t Read(std::vector<std::uint8_t>& message, std::uint32_t timeout) override;
    void Close() override;
    std::uint64_t NowMilliseconds() override;
    void Sleep(std::uint32_t milliseconds) override;

private:
    static std::wstring ServiceName() { return {std::begin(protocol::kPipeName), std::end(protocol::kPipeName) - 1}; }
    std::uint32_t Complete(bool begun, OVERLAPPED& operation, std::uint32_t timeout, DWORD& bytes);

    std::wstring name_;
    HANDLE pipe_ = INVALID_HANDLE_VALUE;
    HANDLE event_ = nullptr;  // signalled when the operation under way is over; closed with the pipe
};

}  // namespace tavi::client
