#include <CLI/CLI.hpp>
#include <memory>

#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

void AddFinishCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("finish", "End the listening task");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->callback([options, surroundings, &exitCode] {
        exitCode = AskAndReport(surroundings, Command::kFinish, BuildFrame(Command::kFinish), *options);
    });
}

}  // namespace tavi::client
