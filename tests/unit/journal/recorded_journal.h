// Journals recorded on real machines, with listings that other tools made of them. The files are not part of the
// repository; a test that needs them says so when they are not there. Test data layout: a stream ("NAME.J") from
// position 0, records with zero-filled gaps, and a table ("NAME.tsv") with a header line and a line per record.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace tavi::journal::testing {

inline std::filesystem::path RecordedFile(const std::string& name) {
    return std::filesystem::path(TAVI_RECORDED_JOURNALS) / name;
}

inline std::vector<std::byte> RecordedStream(const std::string& name) {
    std::ifstream file(RecordedFile(name + ".J"), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<std::byte> bytes(text.size());
    std::transform(text.begin(), text.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
    return bytes;
}

// The stream without its gaps: what reads of it would return, one after the other. A record that the end cuts off is
// left out.
inline std::vector<std::byte> WithoutGaps(const std::vector<std::byte>& stream) {
    constexpr std::size_t kAlignment = 8;
    std::vector<std::byte> records;
    for (std::size_t at = 0; at + kAlignment <= stream.size();) {
        std::uint32_t length = 0;
        std::memcpy(&length, stream.data() + at, sizeof length);
        if (length == 0) {
            at += kAlignment;
            continue;
        }
        if (length > stream.size() - at) {
            break;
        }
        const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
        records.insert(records.end(), begin, begin + static_cast<std::ptrdiff_t>(length));
        at += length;
    }
    return records;
}

// The table's lines as columns, without the header.
inline std::vector<std::vector<std::string>> RecordedTable(const std::string& name) {
    std::ifstream file(RecordedFile(name));
    std::vector<std::vector<std::string>> rows;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::vector<std::string>& row = rows.emplace_back();
        std::istringstream columns(line);
        for (std::string column; std::getline(columns, column, '\t');) {
            row.push_back(column);
        }
    }
    return rows;
}

}  // namespace tavi::journal::testing
