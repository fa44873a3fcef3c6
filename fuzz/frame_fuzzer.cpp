// Frame bytes as a client sends them: whatever they are, decoding ends, reads nothing outside them, and says either
// that the frame is invalid or gives parameters within their limits.
#include <cstdlib>
#include <span>
#include <string>

#include "ipc/client_message.h"

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tavi::ipc;
    const ListenTaskParams params = GetSyncFileMessageAndCheck(std::as_bytes(std::span(data, size)));
    if (!params.valid) {
        return 0;
    }
    Require(size >= tavi::protocol::kFrameHeaderBytes && size <= tavi::protocol::kLargestFrameBytes &&
            params.command <= tavi::protocol::kDetectUsnStatus);
    const bool start = params.command == tavi::protocol::kStartListenTask;
    Require(start == !params.userId.empty() && params.userId.size() <= tavi::protocol::kLongestUserId);
    Require(start == !params.listenPath.empty() && params.listenPath.size() <= tavi::protocol::kLongestListenPath);
    Require(start == !params.databasePath.empty());
    const std::u16string texts = params.userId + params.listenPath + params.databasePath;
    Require(texts.find(u'\0') == std::u16string::npos);
    return 0;
}
