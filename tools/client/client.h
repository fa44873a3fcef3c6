// TaviListenClient without the system around it: arguments in, texts and an exit code out. What the commands need of
// the outside world they are given. Runs on one thread.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "tavi_client/service_pipe.h"

namespace tavi::platform {
struct Platform;
}

namespace tavi::client {

// Exit codes; scripts rely on them, --help lists them.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitNotThere = 3;
inline constexpr int kExitRefused = 4;
inline constexpr int kExitNoAnswer = 5;
inline constexpr int kExitBroken = 6;
inline constexpr int kExitNoTask = 7;
inline constexpr int kExitJournalUnusable = 8;
inline constexpr int kExitUnreadable = 9;
inline constexpr int kExitNotElevated = 50;
inline constexpr int kExitReplyBase = 10;  // --exit-with-reply adds the reply to this

class InstalledService;

struct Surroundings {
    ServicePipe& pipe;  // also the clock
    std::ostream& out;
    std::ostream& err;
    platform::Platform* platform = nullptr;  // for the commands that look at the machine: show, doctor, explain
    InstalledService* installedService = nullptr;
    bool outIsTerminal = false;  // one that shows colours
    bool elevated = true;        // runs with an administrator's rights
};

// `arguments` are UTF-8, without the program's name. Returns the exit code.
int RunClient(const std::vector<std::string>& arguments, const Surroundings& surroundings);

}  // namespace tavi::client
