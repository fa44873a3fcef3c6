#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

int Status(const AskOptions& options, const Surroundings& surroundings) {
    return AskAndReport(surroundings, Command::kStatus, BuildFrame(Command::kStatus), options);
}

}  // namespace tavi::client
