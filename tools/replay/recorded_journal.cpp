#include "replay/recorded_journal.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "replay/json_names.h"

namespace tavi::replay {
namespace {

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kVersion2UsnOffset = 24;  // USN_RECORD_V2.Usn; two 128-bit numbers in later versions
constexpr std::size_t kLaterUsnOffset = 40;
constexpr std::size_t kShortestRecord = 56;

bool IsZero(const char* bytes, std::size_t count) {
    return std::all_of(bytes, bytes + count, [](char byte) { return byte == 0; });
}

template <typename Number>
Number Load(const std::vector<std::byte>& bytes, std::size_t offset) {
    Number number{};
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

// The position that the first record of the bytes says it has, less its offset.
std::optional<std::int64_t> FirstPosition(const std::vector<std::byte>& bytes) {
    std::size_t offset = 0;
    while (offset + kShortestRecord <= bytes.size() && Load<std::uint32_t>(bytes, offset) == 0) {
        offset += sizeof(std::uint64_t);
    }
    if (offset + kShortestRecord > bytes.size()) {
        return std::nullopt;
    }
    const std::size_t field = Load<std::uint16_t>(bytes, offset + 4) == 2 ? kVersion2UsnOffset : kLaterUsnOffset;
    return Load<std::int64_t>(bytes, offset + field) - static_cast<std::int64_t>(offset);
}

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

std::optional<JournalStream> ReadJournalStream(std::istream& input, std::string& error) {
    JournalStream stream;
    std::vector<char> page(kPageBytes);
    while (input.read(page.data(), static_cast<std::streamsize>(page.size())), input.gcount() > 0) {
        const auto count = static_cast<std::size_t>(input.gcount());
        if (stream.bytes.empty() && IsZero(page.data(), count)) {
            continue;
        }
        const auto* bytes = reinterpret_cast<const std::byte*>(page.data());
        stream.bytes.insert(stream.bytes.end(), bytes, bytes + count);
    }
    if (input.bad()) {
        error = "cannot be read";
        return std::nullopt;
    }
    const std::optional<std::int64_t> position = FirstPosition(stream.bytes);
    if (!position) {
        error = "holds no journal record";
        return std::nullopt;
    }
    if (*position < 0 || *position % static_cast<std::int64_t>(kPageBytes) != 0) {
        error = "its first record's position does not fit its place: not the beginning of a page of a journal";
        return std::nullopt;
    }
    stream.firstUsn = *position;
    return stream;
}

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
