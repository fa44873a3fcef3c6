// The commands of TaviListenClient, one source file each: what they do once their options are known. client.cpp
// declares the options. Each returns the exit code.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

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
    bool afterCutShort = false;
    AskOptions ask;
};

// Whose database, as the start request named it.
struct DatabaseOptions {
    std::string userId;
    std::string baseFolder;

    bool given() const { return !userId.empty() && !baseFolder.empty(); }
};

enum class Colour { kAuto, kAlways, kNever };

struct WatchOptions {
    DatabaseOptions database;
    std::optional<std::int64_t> after;  // the id behind which to begin; without one: what comes from now on
    bool once = false;                  // what there is, and no waiting
    std::uint32_t seconds = 0;          // how long; 0: until it is interrupted
    bool json = false;
    Colour colour = Colour::kAuto;
};

struct ShowOptions {
    DatabaseOptions database;
};

struct DoctorOptions {
    DatabaseOptions database;
    std::string folder;
    std::uint32_t timeoutSeconds = 10;
};

struct ExplainOptions {
    std::string path;    // of a file or directory, relative to the listened folder or full
    std::string folder;  // the listened folder, for a full path
    std::uint32_t batches = 5;
    std::optional<std::uint64_t> frn;  // tells files apart whose obscured names are the same
    std::string logFolder;             // the service's own when empty
};

int Start(const StartOptions& options, const Surroundings& surroundings);
int Finish(const AskOptions& options, const Surroundings& surroundings);
int Status(const AskOptions& options, const Surroundings& surroundings);
int Watch(const WatchOptions& options, const Surroundings& surroundings);
int Show(const ShowOptions& options, const Surroundings& surroundings);
int Doctor(const DoctorOptions& options, const Surroundings& surroundings);
int ExplainPath(const ExplainOptions& options, const Surroundings& surroundings);

}  // namespace tavi::client
