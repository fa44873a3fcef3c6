// What a client sends and what it is answered: the request frame, its checks, the start command's parameters, and the
// reply frame. Pure functions on bytes and text; nothing here waits, throws or touches the pipe. Called on the IPC
// thread.
//
// Request, all integers little-endian: 4 bytes total length (of the whole frame, 8 to 4096), 4 bytes command, then
// JSON text as UTF-16LE code units without a terminator. Reply: 4 bytes total length (always 8), 4 bytes status.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tavi::ipc {

inline constexpr std::size_t kFrameHeaderBytes = 8;
inline constexpr std::size_t kLargestFrameBytes = 4096;
inline constexpr std::size_t kReplyFrameBytes = 8;
inline constexpr std::size_t kLongestUserId = 60;       // code units
inline constexpr std::size_t kLongestListenPath = 300;  // code units

// The command numbers of the frame.
inline constexpr std::uint32_t kStartListenTask = 0;
inline constexpr std::uint32_t kFinishListenTasks = 1;
inline constexpr std::uint32_t kDetectUsnStatus = 2;

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

std::array<std::byte, kReplyFrameBytes> MakeReplyFrame(std::uint32_t status);

}  // namespace tavi::ipc
