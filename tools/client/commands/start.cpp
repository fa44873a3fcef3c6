#include <optional>
#include <ostream>

#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

int Start(const StartOptions& options, const Surroundings& surroundings) {
    const std::optional<Frame> frame = BuildStartFrame(options.request);
    if (!frame) {
        surroundings.err << "start: " << CheckStartRequest(options.request) << ".\n";
        return kExitUsage;
    }
    if (!HasTheRights(surroundings, "start")) {
        return kExitNotElevated;
    }
    return AskForStartAndReport(surroundings, *frame, options);
}

}  // namespace tavi::client
