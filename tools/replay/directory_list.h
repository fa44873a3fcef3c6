// What `TaviReplay journal` reads besides the journal: the list of the volume's directories.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace tavi::replay {

struct Directory {
    std::uint64_t frn = 0;
    std::uint64_t parentFrn = 0;
    std::u16string name;
};

// Lines of frn, parent frn and name, tab-separated, decimal, UTF-8; the root is its own parent. Nothing when a line is
// otherwise, a number stands twice, or there is not exactly one root; `error` begins with the line's number.
std::optional<std::vector<Directory>> ReadDirectoryList(std::istream& input, std::string& error);

}  // namespace tavi::replay
