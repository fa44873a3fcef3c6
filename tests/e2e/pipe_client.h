// The client's side of the pipe, byte by byte, for requests that a proper client would not send. The service serves it
// only when the test program is signed by the test publisher.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavi::e2e {

class PipeClient {
public:
    PipeClient() = default;
    ~PipeClient() { Close(); }
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    // Waits for the one instance to be free.
    bool Connect(unsigned timeoutMs = 10000);
    bool Send(const std::string& bytes);
    // The next message; nothing when the service hung up or did not answer in time.
    std::optional<std::string> Receive(unsigned timeoutMs = 60000);
    void Close();

private:
    void* pipe_ = nullptr;
};

std::string Frame(std::uint32_t command, const std::u16string& json = {});
// The status of a reply frame of 8 bytes; -1 for anything else.
int ReplyStatus(const std::optional<std::string>& reply);
// One request on a connection of its own; the reply's status, or -1. Comes again once when it was dropped.
int Request(std::uint32_t command, const std::u16string& json = {});

}  // namespace tavi::e2e
