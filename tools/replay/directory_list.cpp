#include "replay/directory_list.h"

#include <charconv>
#include <string_view>
#include <unordered_set>

#include "replay/json_names.h"

namespace tavi::replay {
namespace {

bool ParseNumber(std::string_view text, std::uint64_t& number) {
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), number);
    return code == std::errc() && end == text.data() + text.size() && !text.empty();
}

std::optional<Directory> ParseDirectory(std::string_view line) {
    const std::size_t first = line.find('\t');
    const std::size_t second = first == std::string_view::npos ? first : line.find('\t', first + 1);
    if (second == std::string_view::npos) {
        return std::nullopt;
    }
    Directory directory;
    const std::optional<std::u16string> name = NameFromUtf8(std::string(line.substr(second + 1)));
    if (!name || !ParseNumber(line.substr(0, first), directory.frn) ||
        !ParseNumber(line.substr(first + 1, second - first - 1), directory.parentFrn)) {
        return std::nullopt;
    }
    const bool isRoot = directory.frn == directory.parentFrn;
    if (!isRoot && (name->empty() || name->find(u'\\') != std::u16string::npos)) {
        return std::nullopt;
    }
    directory.name = *name;
    return directory;
}

}  // namespace

std::optional<std::vector<Directory>> ReadDirectoryList(std::istream& input, std::string& error) {
    std::vector<Directory> directories;
    std::unordered_set<std::uint64_t> known;
    std::size_t roots = 0;
    std::size_t number = 0;
    for (std::string line; std::getline(input, line);) {
        ++number;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty()) {
            continue;
        }
        const std::optional<Directory> directory = ParseDirectory(line);
        const std::string place = std::to_string(number) + ": ";
        if (!directory) {
            error = place + "expected number, parent's number and name, separated by tabs";
            return std::nullopt;
        }
        if (!known.insert(directory->frn).second) {
            error = place + "the number " + std::to_string(directory->frn) + " stands there twice";
            return std::nullopt;
        }
        roots += directory->frn == directory->parentFrn ? 1U : 0U;
        directories.push_back(*directory);
    }
    if (roots != 1) {
        error = std::to_string(number) + ": expected one root, its own parent; there are " + std::to_string(roots);
        return std::nullopt;
    }
    return directories;
}

}  // namespace tavi::replay
