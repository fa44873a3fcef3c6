#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "commands/ask.h"
#include "commands/commands.h"

namespace tavi::client {

namespace {

struct StartOptions {
    StartRequest request;
    AskOptions ask;
};

int Start(const StartOptions& options, const Surroundings& surroundings) {
    const std::optional<Frame> frame = BuildStartFrame(options.request);
    if (!frame) {
        surroundings.err << "start: " << CheckStartRequest(options.request) << ".\n";
        return kExitUsage;
    }
    return AskAndReport(surroundings, Command::kStart, *frame, options.ask);
}

}  // namespace

void AddStartCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
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

}  // namespace tavi::client
