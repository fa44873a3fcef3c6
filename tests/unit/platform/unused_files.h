// Files of which no call is expected: each is a test failure. A test's fake derives from it and overrides the calls
// that the code under test may make, so that any other one shows.
#pragma once

#include <gtest/gtest.h>

#include "platform/constants.h"
#include "platform/files.h"

namespace tavi::platform {

class UnusedFiles : public Files {
public:
    Handle CreateFileW(const std::u16string&, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) override {
        return Unexpected("CreateFileW", kInvalidHandle);
    }
    bool CloseHandle(Handle) override { return Unexpected("CloseHandle", false); }
    bool ReadFile(Handle, std::span<std::byte>, std::uint32_t&) override { return Unexpected("ReadFile", false); }
    bool WriteFile(Handle, std::span<const std::byte>, std::uint32_t&) override {
        return Unexpected("WriteFile", false);
    }
    bool FlushFileBuffers(Handle) override { return Unexpected("FlushFileBuffers", false); }
    bool GetFileSizeEx(Handle, std::int64_t&) override { return Unexpected("GetFileSizeEx", false); }
    bool SetFilePointerEx(Handle, std::int64_t, std::uint32_t) override {
        return Unexpected("SetFilePointerEx", false);
    }
    bool GetFileInformationByHandle(Handle, FileInformation&) override {
        return Unexpected("GetFileInformationByHandle", false);
    }
    int Waccess(const std::u16string&, int) override { return Unexpected("Waccess", -1); }
    bool PathFileExistsW(const std::u16string&) override { return Unexpected("PathFileExistsW", false); }
    std::uint32_t GetFileAttributesW(const std::u16string&) override {
        return Unexpected("GetFileAttributesW", kInvalidFileAttributes);
    }
    bool DeleteFileW(const std::u16string&) override { return Unexpected("DeleteFileW", false); }
    FindHandle FindFirstFileW(const std::u16string&, FindData&) override {
        return Unexpected("FindFirstFileW", kInvalidFindHandle);
    }
    bool FindNextFileW(FindHandle, FindData&) override { return Unexpected("FindNextFileW", false); }
    bool FindClose(FindHandle) override { return Unexpected("FindClose", false); }
    int SHCreateDirectoryExW(const std::u16string&) override { return Unexpected("SHCreateDirectoryExW", -1); }
    std::int32_t SHGetFolderPathW(std::int32_t, std::u16string&) override { return Unexpected("SHGetFolderPathW", -1); }
    std::string WideCharToMultiByteAcp(const std::u16string&) override {
        return Unexpected("WideCharToMultiByteAcp", std::string());
    }
    bool GetVolumeInformationW(const std::u16string&, std::uint32_t&, std::u16string&) override {
        return Unexpected("GetVolumeInformationW", false);
    }
    bool DeviceIoControl(Handle, std::uint32_t, std::span<const std::byte>, std::span<std::byte>,
                         std::uint32_t&) override {
        return Unexpected("DeviceIoControl", false);
    }
    std::int32_t NtCreateFile(ProcAddress, const NtOpenById&, Handle&) override {
        return Unexpected("NtCreateFile", -1);
    }
    std::int32_t NtQueryInformationFile(ProcAddress, Handle, std::span<std::byte>, std::uint32_t) override {
        return Unexpected("NtQueryInformationFile", -1);
    }
    std::int32_t CfGetPlaceholderInfo(ProcAddress, Handle, std::uint32_t, std::span<std::byte>) override {
        return Unexpected("CfGetPlaceholderInfo", -1);
    }

protected:
    template <typename Result>
    static Result Unexpected(const char* call, Result result) {
        ADD_FAILURE() << "unexpected call of " << call;
        return result;
    }
};

}  // namespace tavi::platform
