// Hands every file call on to another implementation, so that a test can answer a single one itself.
#pragma once

#include "platform/files.h"

namespace tavi::sim {

class ForwardingFiles : public platform::Files {
public:
    explicit ForwardingFiles(platform::Files& real) : real_(real) {}

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override {
        return real_.CreateFileW(path, access, shareMode, disposition, flagsAndAttributes);
    }
    bool CloseHandle(platform::Handle handle) override { return real_.CloseHandle(handle); }
    bool ReadFile(platform::Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) override {
        return real_.ReadFile(handle, buffer, bytesRead);
    }
    bool WriteFile(platform::Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override {
        return real_.WriteFile(handle, bytes, bytesWritten);
    }
    bool FlushFileBuffers(platform::Handle handle) override { return real_.FlushFileBuffers(handle); }
    bool GetFileSizeEx(platform::Handle handle, std::int64_t& bytes) override {
        return real_.GetFileSizeEx(handle, bytes);
    }
    bool SetFilePointerEx(platform::Handle handle, std::int64_t distance, std::uint32_t method) override {
        return real_.SetFilePointerEx(handle, distance, method);
    }
    bool GetFileInformationByHandle(platform::Handle handle, platform::FileInformation& information) override {
        return real_.GetFileInformationByHandle(handle, information);
    }
    int Waccess(const std::u16string& path, int mode) override { return real_.Waccess(path, mode); }
    bool PathFileExistsW(const std::u16string& path) override { return real_.PathFileExistsW(path); }
    std::uint32_t GetFileAttributesW(const std::u16string& path) override { return real_.GetFileAttributesW(path); }
    bool DeleteFileW(const std::u16string& path) override { return real_.DeleteFileW(path); }
    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override {
        return real_.FindFirstFileW(pattern, data);
    }
    bool FindNextFileW(platform::FindHandle handle, platform::FindData& data) override {
        return real_.FindNextFileW(handle, data);
    }
    bool FindClose(platform::FindHandle handle) override { return real_.FindClose(handle); }
    int SHCreateDirectoryExW(const std::u16string& path) override { return real_.SHCreateDirectoryExW(path); }
    std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) override {
        return real_.SHGetFolderPathW(folder, path);
    }
    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override {
        return real_.GetVolumeInformationW(root, maximumComponentLength, fileSystemName);
    }
    std::string WideCharToMultiByteAcp(const std::u16string& text) override {
        return real_.WideCharToMultiByteAcp(text);
    }
    bool DeviceIoControl(platform::Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override {
        return real_.DeviceIoControl(handle, controlCode, input, output, bytesReturned);
    }
    std::int32_t NtCreateFile(platform::ProcAddress function, const platform::NtOpenById& request,
                              platform::Handle& opened) override {
        return real_.NtCreateFile(function, request, opened);
    }
    std::int32_t NtQueryInformationFile(platform::ProcAddress function, platform::Handle handle,
                                        std::span<std::byte> buffer, std::uint32_t informationClass) override {
        return real_.NtQueryInformationFile(function, handle, buffer, informationClass);
    }
    std::int32_t CfGetPlaceholderInfo(platform::ProcAddress function, platform::Handle handle,
                                      std::uint32_t informationClass, std::span<std::byte> buffer) override {
        return real_.CfGetPlaceholderInfo(function, handle, informationClass, buffer);
    }

private:
    platform::Files& real_;
};

}  // namespace tavi::sim
