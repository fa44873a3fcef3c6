#include "client.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "commands/commands.h"

namespace tavi::client {

namespace {

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0  done: the task listens (start), has ended (finish), or runs with a usable journal (status)\n"
    "  1  the service answered that it could not start the task\n"
    "  2  wrong arguments\n"
    "  3  the service is not there\n"
    "  4  the service does not accept this client\n"
    "  5  no answer within the time limit\n"
    "  6  the conversation broke down, or the answer was not understood\n"
    "  7  status: no listening task is running\n"
    "  8  status: the change journal of the running task cannot be used\n"
    "With --exit-with-reply, 10 plus the reply's number whenever the service replied.";

}  // namespace

int RunClient(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    CLI::App app("Talks to TaviLumbraService over its named pipe.", "TaviListenClient");
    app.footer(kFooter);
    app.require_subcommand(1);
    int exitCode = kExitDone;
    AddStartCommand(app, surroundings, exitCode);
    AddFinishCommand(app, surroundings, exitCode);
    AddStatusCommand(app, surroundings, exitCode);
    try {
        // The library takes them last first.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& stop) {
        const bool helped = app.exit(stop, surroundings.out, surroundings.err) == 0;
        return helped ? kExitDone : kExitUsage;
    }
    return exitCode;
}

}  // namespace tavi::client
