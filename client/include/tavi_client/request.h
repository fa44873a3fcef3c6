// The requests a client sends to the service, as the bytes of one pipe message.
//
// protocol.h has the layout of a frame and its limits. The service answers no request that breaks its rules, so they
// are checked here first. Texts are UTF-8; lengths are counted in UTF-16 code units. Pure functions, callable on any
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tavi_client/protocol.h"

namespace tavi::client {

enum class Command : std::uint32_t {
    kStart = protocol::kStartListenTask,
    kFinish = protocol::kFinishListenTasks,
    kStatus = protocol::kDetectUsnStatus,
};

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
