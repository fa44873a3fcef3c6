// File names from the command line, which are UTF-8 on every system.
#pragma once

#include <filesystem>
#include <string>

namespace tavi::replay {

inline std::filesystem::path ToPath(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace tavi::replay
