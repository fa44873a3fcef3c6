// What `TaviReplay journal` reads: the raw bytes of a change journal's stream, and the list of the volume's
// directories.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace tavi::replay {

struct JournalStream {
    std::vector<std::byte> bytes;
    std::int64_t firstUsn = 0;  // position of the first byte, on a page boundary
};

// Reads a "$J" extract. Whole pages of zeros at its beginning (the part that the file system has given back) are
// skipped, and the position is taken from the first record, because an extract need not begin at position 0. Nothing
// when there is no record, or its position does not fit its place; `error` says which.
std::optional<JournalStream> ReadJournalStream(std::istream& input, std::string& error);

struct Directory {
    std::uint64_t frn = 0;
    std::uint64_t parentFrn = 0;
    std::u16string name;
};

// Lines of frn, parent frn and name, tab-separated, decimal, UTF-8; the root is its own parent. Nothing when a line is
// otherwise, a number stands twice, or there is not exactly one root; `error` begins with the line's number.
std::optional<std::vector<Directory>> ReadDirectoryList(std::istream& input, std::string& error);

}  // namespace tavi::replay
