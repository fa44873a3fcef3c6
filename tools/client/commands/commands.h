// The commands of TaviListenClient, one source file each. Each function declares its command with its options; the
// command runs while the arguments are parsed and leaves its exit code in `exitCode`, which outlives the parsing.
#pragma once

#include "client.h"

namespace CLI {
class App;
}

namespace tavi::client {

void AddStartCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode);
void AddFinishCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode);
void AddStatusCommand(CLI::App& app, const Surroundings& surroundings, int& exitCode);

}  // namespace tavi::client
