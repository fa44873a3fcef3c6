// The numbers of the conversation between a client and the service: the pipe's name, the lengths of a frame, the
// commands and the statuses of a reply. The service, this library and all tests take them from here. Constants only:
// usable on any thread, and this header includes nothing of the library.
//
// A conversation is one request and one reply on one connection.
//
//   request   bytes 0 to 3   total length of the frame, header included (8 to 4096)
//             bytes 4 to 7   command
//             then           UTF-16LE text without terminator: one JSON object for a start request, else nothing
//   reply     bytes 0 to 3   total length, always 8
//             bytes 4 to 7   status
//
// All numbers are little-endian and unsigned.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavi::protocol {

inline constexpr char16_t kPipeName[] = u"\\\\.\\pipe\\TaviListenServiceNamePipe";

inline constexpr std::size_t kFrameHeaderBytes = 8;
inline constexpr std::size_t kLargestFrameBytes = 4096;  // one pipe message that the service's buffer takes
inline constexpr std::size_t kReplyFrameBytes = 8;

// In UTF-16 code units; none of the texts may be empty or hold U+0000.
inline constexpr std::size_t kLongestUserId = 60;
inline constexpr std::size_t kLongestListenPath = 300;

// Commands.
inline constexpr std::uint32_t kStartListenTask = 0;
inline constexpr std::uint32_t kFinishListenTasks = 1;
inline constexpr std::uint32_t kDetectUsnStatus = 2;
inline constexpr std::uint32_t kLastCommand = kDetectUsnStatus;

// What a status means depends on the command that it answers. docs/replies.md says what a client does about each.
//
// Statuses of a start request.
inline constexpr std::uint32_t kReplyContinues = 0;
inline constexpr std::uint32_t kReplyJournalRecreated = 1;
inline constexpr std::uint32_t kReplyPositionExpired = 2;
inline constexpr std::uint32_t kReplyTaskReplaced = 3;
inline constexpr std::uint32_t kReplyFirstLogin = 4;
inline constexpr std::uint32_t kReplyStartFailed = 5;
// The status of a finish request.
inline constexpr std::uint32_t kReplyFinished = 6;
// Statuses of a status request.
inline constexpr std::uint32_t kReplyNoTask = 0;
inline constexpr std::uint32_t kReplyJournalUnusable = 1;
inline constexpr std::uint32_t kReplyJournalUsable = 2;

}  // namespace tavi::protocol
