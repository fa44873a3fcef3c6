#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

int Finish(const AskOptions& options, const Surroundings& surroundings) {
    return AskAndReport(surroundings, Command::kFinish, BuildFrame(Command::kFinish), options);
}

}  // namespace tavi::client
