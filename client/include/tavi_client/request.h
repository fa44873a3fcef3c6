// The requests a client sends to the service, as the bytes of one pipe message.
//
// A frame is a header of two little-endian 32-bit numbers, the total length in bytes (header included) and the command,
// followed by UTF-16LE text without terminator: for a start request one JSON object, for the others nothing. A frame is
// at most 4096 bytes long. The service answers no request that breaks its rules, so they are checked here first.
// Texts are UTF-8; lengths are counted in UTF-16 code units. Pure functions, callable on any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavi::client {

enum class Command : std::uint32_t { kStart = 0, kFinish = 1, kStatus = 2 };

inline constexpr std::size_t kFrameHeaderBytes = 8;
inline constexpr std::size_t kMaxFrameBytes = 4096;
inline constexpr std::size_t kMaxUserIdUnits = 60;
inline constexpr std::size_t kMaxListenPathUnits = 300;

using Frame = std::vector<std::uint8_t>;

struct StartRequest {
    std::string userId;                     // 1 to 60 code units
    std::string listenPath;                 // 1 to 300 code units: the folder to listen to
    std::string databasePath;               // not empty: the base folder of the databases
    std::uint32_t recordSplitInterval = 0;  // seconds
};

// What is wrong with the request, in words for its sender; empty when nothing is.
std::string CheckStartRequest(const StartRequest& request);

// Empty when the request breaks a rule or does not fit into a frame.
std::optional<Frame> BuildStartFrame(const StartRequest& request);

// A frame without parameters, for kFinish and kStatus.
Frame BuildFrame(Command command);

}  // namespace tavi::client
