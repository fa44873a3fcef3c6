// Files, directories, volumes and device controls on Windows.
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
    int Waccess(const std::u16string& path, int mode) override;
    bool PathFileExistsW(const std::u16string& path) override;
    std::uint32_t GetFileAttributesW(const std::u16string& path) override;
    bool DeleteFileW(const std::u16string& path) override;
    FindHandle FindFirstFileW(const std::u16string& pattern, FindData& data) override;
    bool FindNextFileW(FindHandle handle, FindData& data) override;
    bool FindClose(FindHandle handle) override;
    int SHCreateDirectoryExW(const std::u16string& path) override;
    std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) override;
    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override;
    std::string WideCharToMultiByteAcp(const std::u16string& text) override;
    bool DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override;
    std::int32_t NtCreateFile(ProcAddress function, const NtOpenById& request, Handle& opened) override;
    std::int32_t NtQueryInformationFile(ProcAddress function, Handle handle, std::span<std::byte> buffer,
                                        std::uint32_t informationClass) override;
    std::int32_t CfGetPlaceholderInfo(ProcAddress function, Handle handle, std::uint32_t informationClass,
                                      std::span<std::byte> buffer) override;
};

}  // namespace tavi::platform
