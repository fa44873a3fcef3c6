// Open handles on Windows.
#pragma once

#include "platform/files.h"

namespace tavi::platform {

class WindowsFiles final : public Files {
public:
    Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                       std::uint32_t disposition, std::uint32_t flagsAndAttributes) override;
    bool CloseHandle(Handle handle) override;
    bool ReadFile(Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) override;
    bool WriteFile(Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override;
    bool FlushFileBuffers(Handle handle) override;
    bool GetFileSizeEx(Handle handle, std::int64_t& bytes) override;
    bool SetFilePointerEx(Handle handle, std::int64_t distance, std::uint32_t method) override;
    bool GetFileInformationByHandle(Handle handle, FileInformation& information) override;
};

}  // namespace tavi::platform
