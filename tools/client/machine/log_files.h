// The service's log files, read while it writes them. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace tavi::client {

// At most the last `bytes` of a file; nothing when it cannot be read.
std::optional<std::string> ReadTail(platform::Platform& platform, const std::u16string& path, std::uint64_t bytes);
// All of it.
std::optional<std::string> ReadAll(platform::Platform& platform, const std::u16string& path);

// The last lines, oldest first, without line ends; empty ones do not count. Looks at the last 64 KiB only.
std::vector<std::string> LastLines(platform::Platform& platform, const std::u16string& path, std::size_t count);

// "sync.log" and its older parts "sync.1.log", "sync.2.log", ... as far as they are there, the oldest first, each as a
// full path.
std::vector<std::u16string> PartsOfLog(platform::Platform& platform, const std::u16string& folder,
                                       std::u16string_view name);

}  // namespace tavi::client
