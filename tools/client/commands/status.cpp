#include <CLI/CLI.hpp>
#include <memory>

#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

void AddStatusCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command =
        app.add_subcommand("status", "Ask whether a task is running and its change journal can be used");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->callback([options, surroundings, &exitCode] {
        exitCode = AskAndReport(surroundings, Command::kStatus, BuildFrame(Command::kStatus), *options);
    });
}

}  // namespace tavi::client
