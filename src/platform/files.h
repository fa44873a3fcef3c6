// Open handles of files, directories, volumes and pipes (kernel32): opening them by name, reading, writing, closing. A
// call that fails returns false or an invalid handle and leaves its code in the calling thread's last error. Any
// thread; a handle is closed once, by whoever opened it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Files {
public:
    virtual ~Files() = default;

    // No security attributes, no template. kInvalidHandle on failure.
    virtual Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                               std::uint32_t disposition, std::uint32_t flagsAndAttributes) = 0;
    virtual bool CloseHandle(Handle handle) = 0;
    // Synchronous; blocks on a pipe until a message, or a part of one that fills the buffer, arrives.
    virtual bool ReadFile(Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) = 0;
    virtual bool WriteFile(Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) = 0;
    virtual bool FlushFileBuffers(Handle handle) = 0;
    virtual bool GetFileSizeEx(Handle handle, std::int64_t& bytes) = 0;
    virtual bool SetFilePointerEx(Handle handle, std::int64_t distance, std::uint32_t method) = 0;
    virtual bool GetFileInformationByHandle(Handle handle, FileInformation& information) = 0;
};

}  // namespace tavi::platform
