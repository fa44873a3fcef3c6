// What a client sends and what it is answered: the request frame and its checks, the start command's parameters, and
// the reply frame. tavi_client/protocol.h has the layout of both frames, their limits and their numbers.
//
// Pure functions on bytes and text: nothing here waits or touches the pipe, and nothing is kept between calls. The IPC
// thread calls them. A request that fails a check is a result without `valid` and one line of the log; std::bad_alloc
// is the only exception.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "tavi_client/protocol.h"

namespace tavi::ipc {

// A decoded request. Without `valid` nobody may look at the other fields: some may have been filled before the check
// that failed.
struct ListenTaskParams {
    bool valid = false;
    std::uint32_t command = 0;
    std::u16string userId;                  // 1 to 60 code units
    std::u16string listenPath;              // 1 to 300 code units
    std::u16string databasePath;            // base folder of the databases, with or without a trailing backslash
    std::uint32_t recordSplitInterval = 0;  // seconds

    friend bool operator==(const ListenTaskParams&, const ListenTaskParams&) = default;
};

// `frame` is everything that was received for one request, and is not changed. Checks in this order: the header is
// there, the length field, the command, the length of the text, and for a start request its parameters.
ListenTaskParams GetSyncFileMessageAndCheck(std::span<const std::byte> frame);

// Reads `text` for the start command only. None of its three texts may be empty, too long or hold U+0000; a member of
// another type counts as missing, and a missing interval as 0.
ListenTaskParams ParseClientJson(std::uint32_t command, std::u16string_view text);

std::array<std::byte, protocol::kReplyFrameBytes> MakeReplyFrame(std::uint32_t status);

}  // namespace tavi::ipc
