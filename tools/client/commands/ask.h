// The conversation that several commands consist of, and how it ended in words.
#pragma once

#include "commands/commands.h"

namespace tavi::client {

// Sends the frame, prints the reply as words and number (or, on the error stream, why there is none), and returns the
// exit code.
int AskAndReport(const Surroundings& surroundings, Command command, const Frame& frame, const AskOptions& options);

}  // namespace tavi::client
