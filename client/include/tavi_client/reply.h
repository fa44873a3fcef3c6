// The service's reply, decoded and put into words; protocol.h has its bytes and its numbers. What a status means
// depends on the request it answers. Pure functions, callable on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tavi_client/protocol.h"
#include "tavi_client/request.h"

namespace tavi::client {

using namespace protocol;  // kReply...: the statuses

// Empty for anything but the eight bytes of a reply.
std::optional<std::uint32_t> DecodeReply(std::span<const std::uint8_t> bytes);

// In words; empty for a status that does not answer this command.
std::string_view DescribeReply(Command command, std::uint32_t status);

}  // namespace tavi::client
