#include "e2e/pipe_client.h"

#include <windows.h>

#include <cstring>
#include <iterator>

#include "tavi_client/protocol.h"

namespace tavi::e2e {
namespace {

const std::wstring kPipeName(std::begin(protocol::kPipeName), std::end(protocol::kPipeName) - 1);

}  // namespace

bool PipeClient::Connect(unsigned timeoutMs) {
    Close();
    for (const ULONGLONG end = GetTickCount64() + timeoutMs;;) {
        HANDLE pipe = CreateFileW(kPipeName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_OVERLAPPED, nullptr);
        if (pipe != INVALID_HANDLE_VALUE) {
            DWORD mode = PIPE_READMODE_MESSAGE;
            SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
            pipe_ = pipe;
            return true;
        }
        if (GetTickCount64() >= end) {
            return false;
        }
        Sleep(10);
    }
}

bool PipeClient::Send(const std::string& bytes) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD written = 0;
    const bool sent = WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped) ||
                      GetLastError() == ERROR_IO_PENDING;
    const bool done = sent && GetOverlappedResult(pipe_, &overlapped, &written, TRUE);
    CloseHandle(overlapped.hEvent);
    return done && written == bytes.size();
}

std::optional<std::string> PipeClient::Receive(unsigned timeoutMs) {
    std::string message(4096, '\0');
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD read = 0;
    bool done = ReadFile(pipe_, message.data(), static_cast<DWORD>(message.size()), nullptr, &overlapped) ||
                GetLastError() == ERROR_IO_PENDING;
    if (done && WaitForSingleObject(overlapped.hEvent, timeoutMs) != WAIT_OBJECT_0) {
        CancelIo(pipe_);
    }
    done = done && GetOverlappedResult(pipe_, &overlapped, &read, TRUE);
    CloseHandle(overlapped.hEvent);
    if (!done) {
        return std::nullopt;
    }
    message.resize(read);
    return message;
}

void PipeClient::Close() {
    if (pipe_ != nullptr) {
        CloseHandle(pipe_);
        pipe_ = nullptr;
    }
}

std::string Frame(std::uint32_t command, const std::u16string& json) {
    const auto length = static_cast<std::uint32_t>(protocol::kFrameHeaderBytes + 2 * json.size());
    std::string frame(length, '\0');
    std::memcpy(frame.data(), &length, 4);
    std::memcpy(frame.data() + 4, &command, 4);
    std::memcpy(frame.data() + protocol::kFrameHeaderBytes, json.data(), 2 * json.size());
    return frame;
}

int ReplyStatus(const std::optional<std::string>& reply) {
    std::uint32_t words[2] = {};
    if (!reply || reply->size() != sizeof words) {
        return -1;
    }
    std::memcpy(words, reply->data(), sizeof words);
    return words[0] == protocol::kReplyFrameBytes ? static_cast<int>(words[1]) : -1;
}

int Request(std::uint32_t command, const std::u16string& json) {
    constexpr DWORD kPauseMs = 200;
    for (const bool last : {false, true}) {
        PipeClient client;
        if (!client.Connect()) {
            return -1;
        }
        const auto reply = client.Send(Frame(command, json)) ? client.Receive() : std::nullopt;
        if (reply || last) {
            return ReplyStatus(reply);
        }
        // The service drops a client that comes in the moment before it begins to wait for one: it comes again.
        client.Close();
        Sleep(kPauseMs);
    }
    return -1;
}

}  // namespace tavi::e2e
