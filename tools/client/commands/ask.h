// What the commands that ask the service have in common: their options, the conversation, and saying how it ended.
#pragma once

#include <cstdint>

#include "client.h"
#include "protocol/request.h"

namespace CLI {
class App;
}

namespace tavi::client {

struct AskOptions {
    std::uint32_t timeoutSeconds = 60;  // starting a task may take the service this long
    bool exitWithReply = false;
};

// `options` outlives the parsing.
void AddAskOptions(CLI::App& command, AskOptions& options);

// Sends the frame, prints the reply as words and number (or, on the error stream, why there is none), and returns the
// exit code.
int AskAndReport(const Surroundings& surroundings, Command command, const Frame& frame, const AskOptions& options);

}  // namespace tavi::client
