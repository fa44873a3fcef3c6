#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

int Finish(const AskOptions& options, const Surroundings& surroundings) {
    if (!HasTheRights(surroundings, "finish")) {
        return kExitNotElevated;
    }
    return AskAndReport(surroundings, Command::kFinish, BuildFrame(Command::kFinish), options);
}

}  // namespace tavi::client
