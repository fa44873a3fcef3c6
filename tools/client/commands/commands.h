// The commands of TaviListenClient, one source file each: what they do once their options are known. client.cpp
// declares the options. Each returns the exit code.
#pragma once

#include <cstdint>

#include "client.h"
#include "tavi_client/request.h"

namespace tavi::client {

// What the commands that ask the service have in common.
struct AskOptions {
    std::uint32_t timeoutSeconds = 60;  // starting a task may take the service this long
    bool exitWithReply = false;
};

struct StartOptions {
    StartRequest request;
    AskOptions ask;
};

int Start(const StartOptions& options, const Surroundings& surroundings);
int Finish(const AskOptions& options, const Surroundings& surroundings);
int Status(const AskOptions& options, const Surroundings& surroundings);

}  // namespace tavi::client
