// The conversation that several commands consist of, and how it ended in words.
#pragma once

#include "commands/commands.h"

namespace tavi::client {

// Sends the frame, prints the reply as words and number (or, on the error stream, why there is none), and returns the
// exit code.
int AskAndReport(const Surroundings& surroundings, Command command, const Frame& frame, const AskOptions& options);

// The same for a start request, whose reply means more after a start that was cut short.
int AskForStartAndReport(const Surroundings& surroundings, const Frame& frame, const StartOptions& options);

// False, and said on the error stream, when the command was not run from an elevated prompt. There is one task for all
// users of a machine, and the service cannot tell whose it is to end: the program asks for the rights that the service
// does not.
bool HasTheRights(const Surroundings& surroundings, const char* command);

}  // namespace tavi::client
