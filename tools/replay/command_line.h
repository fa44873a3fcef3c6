// The command line of TaviReplay, apart from where its arguments and streams come from.
#pragma once

#include <string>
#include <vector>

#include "replay/records_command.h"

namespace tavi::replay {

// `arguments` without the program's name, in UTF-8. `standard` are the process's own streams. Gives the exit code.
int RunCommandLine(std::vector<std::string> arguments, const Streams& standard, bool errorsAreTerminal);

}  // namespace tavi::replay
