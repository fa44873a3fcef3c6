#include "client.h"

#include <CLI/CLI.hpp>
#include <memory>
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

constexpr std::uint32_t kMaxTimeoutSeconds = 3600;

void AddAskOptions(CLI::App& command, AskOptions& options) {
    command.add_option("--timeout", options.timeoutSeconds, "How long to wait for the service, in seconds")
        ->check(CLI::Range(std::uint32_t{1}, kMaxTimeoutSeconds))
        ->capture_default_str();
    command.add_flag("--exit-with-reply", options.exitWithReply, "Exit with 10 plus the number of the service's reply");
}

void AddStart(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("start", "Start or resume listening to a user's folder");
    const auto options = std::make_shared<StartOptions>();
    command->add_option("--user", options->request.userId, "The user's id, 1 to 60 characters")->required();
    command->add_option("--folder", options->request.listenPath, "The folder to listen to, 1 to 300 characters")
        ->required();
    command->add_option("--database", options->request.databasePath, "The base folder of the databases")->required();
    command
        ->add_option("--split-interval", options->request.recordSplitInterval,
                     "Changes further apart than this many seconds are processed in separate batches")
        ->capture_default_str();
    AddAskOptions(*command, options->ask);
    command->callback([options, surroundings, &exitCode] { exitCode = Start(*options, surroundings); });
}

void AddFinish(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("finish", "End the listening task");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->callback([options, surroundings, &exitCode] { exitCode = Finish(*options, surroundings); });
}

void AddStatus(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command =
        app.add_subcommand("status", "Ask whether a task is running and its change journal can be used");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->callback([options, surroundings, &exitCode] { exitCode = Status(*options, surroundings); });
}

}  // namespace

int RunClient(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    CLI::App app("Talks to TaviLumbraService over its named pipe.", "TaviListenClient");
    app.footer(kFooter);
    app.require_subcommand(1);
    int exitCode = kExitDone;
    AddStart(app, surroundings, exitCode);
    AddFinish(app, surroundings, exitCode);
    AddStatus(app, surroundings, exitCode);
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
