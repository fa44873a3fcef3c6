// The service's reply: eight bytes, two little-endian 32-bit numbers, the length (always 8) and the status. What a
// status means depends on the request it answers. Pure functions, callable on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tavi_client/request.h"

namespace tavi::client {

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

// Empty for anything but the eight bytes of a reply.
std::optional<std::uint32_t> DecodeReply(std::span<const std::uint8_t> bytes);

// In words; empty for a status that does not answer this command.
std::string_view DescribeReply(Command command, std::uint32_t status);

}  // namespace tavi::client
