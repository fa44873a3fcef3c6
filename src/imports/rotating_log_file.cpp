#include "imports/rotating_log_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>

namespace Drive {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kGrowthLimit = 2;          // times the file's bound
constexpr std::size_t kRotationAttempts = 8;     // while the file grows by its bound
constexpr std::size_t kCopiedAtOnce = 1u << 16;  // bytes

fs::path ToPath(const spdlog::filename_t& name) {
    return {name};
}

// Where the first line begins that lies wholly behind `offset`; nothing when there is none or it cannot be read.
std::optional<std::streamoff> LineAfter(std::fstream& file, std::streamoff offset) {
    file.seekg(offset);
    for (char unit = 0; file.get(unit);) {
        if (unit == '\n') {
            return static_cast<std::streamoff>(file.tellg());
        }
    }
    return std::nullopt;
}

// Moves everything from `from` on to the file's beginning; returns how much that is, nothing when it failed. Whatever
// interrupts it, what was newest is still at the end.
std::optional<std::size_t> MoveToBeginning(std::fstream& file, std::streamoff from) {
    std::array<char, kCopiedAtOnce> bytes{};
    std::size_t moved = 0;
    for (;;) {
        file.clear();
        file.seekg(from + static_cast<std::streamoff>(moved));
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        const std::streamsize count = file.gcount();
        if (file.bad() || count == 0) {
            return file.bad() ? std::nullopt : std::optional(moved);
        }
        file.clear();
        file.seekp(static_cast<std::streamoff>(moved));
        if (!file.write(bytes.data(), count).flush()) {
            return std::nullopt;
        }
        moved += static_cast<std::size_t>(count);
    }
}

}  // namespace

RotatingLogFile::RotatingLogFile(spdlog::filename_t path, std::size_t fileBytes, std::size_t olderFiles)
    : path_(std::move(path)), fileBytes_(fileBytes), olderFiles_(olderFiles), nextRotationAt_(fileBytes) {
    Open();
}

void RotatingLogFile::Write(const spdlog::memory_buf_t& entry) {
    if (!open_) {
        Open();
    }
    MakeRoomFor(entry.size());
    file_.write(entry);
    size_ += entry.size();
    file_.flush();
}

void RotatingLogFile::Open() {
    file_.open(path_);
    open_ = true;
    size_ = file_.size();
}

void RotatingLogFile::MakeRoomFor(std::size_t entryBytes) {
    if (size_ == 0 || size_ + entryBytes <= nextRotationAt_) {
        return;
    }
    if (Rotate()) {
        nextRotationAt_ = fileBytes_;
        return;
    }
    if (size_ + entryBytes > kGrowthLimit * fileBytes_) {
        DropOldestHalf();
    }
    // Whoever holds the file may let go of it soon; asking with every entry would make them all slow.
    nextRotationAt_ = std::max(size_ + entryBytes, fileBytes_) + fileBytes_ / kRotationAttempts;
    nextRotationAt_ = std::min(nextRotationAt_, kGrowthLimit * fileBytes_);
}

// The file is closed for it: nobody, this process included, may have it open. What it is afterwards is asked, since a
// second process may have done the same at the same time.
bool RotatingLogFile::Rotate() {
    file_.close();
    open_ = false;
    const bool renamed = RenameAll();
    Open();
    return renamed || size_ == 0;
}

bool RotatingLogFile::RenameAll() const {
    std::error_code failure;
    for (std::size_t age = olderFiles_; age > 0; --age) {
        const fs::path newer = ToPath(age == 1 ? path_ : OlderFile(age - 1));
        if (!fs::exists(newer, failure)) {
            continue;
        }
        fs::rename(newer, ToPath(OlderFile(age)), failure);
        if (failure) {
            return false;
        }
    }
    return true;
}

void RotatingLogFile::DropOldestHalf() {
    std::fstream file(ToPath(path_), std::ios::in | std::ios::out | std::ios::binary);
    const std::size_t dropped = size_ > fileBytes_ ? size_ - fileBytes_ : 0;
    const std::optional<std::streamoff> line = LineAfter(file, static_cast<std::streamoff>(dropped));
    std::optional<std::size_t> kept = 0;  // GCC 12 takes an empty one for uninitialised
    kept = line ? MoveToBeginning(file, *line) : std::nullopt;
    file.close();
    if (!kept) {
        throw std::system_error(std::make_error_code(std::errc::io_error), "the log file cannot be made smaller");
    }
    fs::resize_file(ToPath(path_), *kept);
    size_ = *kept;
}

spdlog::filename_t RotatingLogFile::OlderFile(std::size_t age) const {
    const auto [stem, extension] = spdlog::details::file_helper::split_by_extension(path_);
    const std::string number = "." + std::to_string(age);
    spdlog::filename_t name = stem;
    name.append(number.begin(), number.end());
    return name.append(extension);
}

}  // namespace Drive
