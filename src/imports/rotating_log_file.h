// One log file and the older ones beside it ("error.log", then "error.1.log", "error.2.log"), bounded in size and
// number. Entries are whole; each is handed to the system before Write returns.
//
// A file that is full becomes the newest of the older ones, and the oldest goes. Somebody may hold one of them, a
// viewer or a second process, so that it cannot be renamed. Then the present file goes on growing, to twice its size at
// most; after that the oldest half of it goes, at a line's end, and what is newest always stays.
//
// Not thread-safe. Failures are thrown (spdlog's exception, std::exception); the entry is lost then, and the next one
// finds the file as usable as it can be.
#pragma once

#include <spdlog/details/file_helper.h>

#include <cstddef>

namespace Drive {

class RotatingLogFile {
public:
    // Opens the file, with what is in it already. At least one older file.
    RotatingLogFile(spdlog::filename_t path, std::size_t fileBytes, std::size_t olderFiles);

    void Write(const spdlog::memory_buf_t& entry);

private:
    void Open();
    void MakeRoomFor(std::size_t entryBytes);
    bool Rotate();
    bool RenameAll() const;
    void DropOldestHalf();
    spdlog::filename_t OlderFile(std::size_t age) const;

    const spdlog::filename_t path_;
    const std::size_t fileBytes_;
    const std::size_t olderFiles_;
    spdlog::details::file_helper file_;
    bool open_ = false;
    std::size_t size_ = 0;
    std::size_t nextRotationAt_;  // bytes; above fileBytes_ after a rotation that failed
};

}  // namespace Drive
