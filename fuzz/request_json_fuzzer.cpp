// The start command's text, every two bytes one UTF-16 code unit: whatever it is, parsing ends, throws nothing, and
// says either that it is invalid or gives parameters within their limits.
#include <cstdlib>
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
    std::u16string text;
    for (std::size_t i = 0; i + 1 < size && i < tavi::protocol::kLargestFrameBytes; i += 2) {
        text.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
    }
    const ListenTaskParams params = ParseClientJson(tavi::protocol::kStartListenTask, text);
    Require(params.command == tavi::protocol::kStartListenTask);
    if (params.valid) {
        Require(!params.userId.empty() && params.userId.size() <= tavi::protocol::kLongestUserId);
        Require(!params.listenPath.empty() && params.listenPath.size() <= tavi::protocol::kLongestListenPath);
        Require(!params.databasePath.empty());
        Require((params.userId + params.listenPath + params.databasePath).find(u'\0') == std::u16string::npos);
    }
    return 0;
}
