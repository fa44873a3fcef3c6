// What a client sends and what it is answered: the request frame, its checks, the start command's parameters, and the
// reply frame. Pure functions on bytes and text; nothing here waits, throws or touches the pipe. Called on the IPC
// thread.
//
// tavi_client/protocol.h has the layout of both frames, their limits and their numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "tavi_client/protocol.h"

namespace tavi::ipc {

// A decoded request. Without `valid` the other fields say nothing.
struct ListenTaskParams {
    bool valid = false;
    std::uint32_t command = 0;
    std::u16string userId;                  // 1 to 60 code units
    std::u16string listenPath;              // 1 to 300 code units
    std::u16string databasePath;            // base folder of the databases, with or without a trailing backslash
    std::uint32_t recordSplitInterval = 0;  // seconds

    friend bool operator==(const ListenTaskParams&, const ListenTaskParams&) = default;
};

// `frame` is everything that was received for one request. A failed check is logged and leaves `valid` false.
ListenTaskParams GetSyncFileMessageAndCheck(std::span<const std::byte> frame);

// `text` is looked at for the start command only.
ListenTaskParams ParseClientJson(std::uint32_t command, std::u16string_view text);

std::array<std::byte, protocol::kReplyFrameBytes> MakeReplyFrame(std::uint32_t status);

}  // namespace tavi::ipc
