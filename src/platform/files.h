// Files, directories, volumes and the change journal's control codes (kernel32, shell32, shlwapi, ntdll, cldapi). A
// call that fails returns false, an invalid handle or the documented code, and leaves its code in the calling thread's
// last error unless said otherwise. Any thread; a handle is closed once, by whoever opened it.
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

    virtual int Waccess(const std::u16string& path, int mode) = 0;  // _waccess: 0 or -1; sets errno, not the last error
    virtual bool PathFileExistsW(const std::u16string& path) = 0;
    virtual std::uint32_t GetFileAttributesW(const std::u16string& path) = 0;  // kInvalidFileAttributes on failure
    virtual bool DeleteFileW(const std::u16string& path) = 0;
    virtual FindHandle FindFirstFileW(const std::u16string& pattern, FindData& data) = 0;
    virtual bool FindNextFileW(FindHandle handle, FindData& data) = 0;
    virtual bool FindClose(FindHandle handle) = 0;
    // Creates the directory with all missing parents; returns 0 or the error code.
    virtual int SHCreateDirectoryExW(const std::u16string& path) = 0;
    // The folder of the account that the process runs under; returns an HRESULT.
    virtual std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) = 0;
    virtual bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                                       std::u16string& fileSystemName) = 0;

    // WideCharToMultiByte(CP_ACP): the text in the system's ANSI code page, with the system's stand-in for what that
    // page lacks. Empty on failure.
    virtual std::string WideCharToMultiByteAcp(const std::u16string& text) = 0;

    // An empty span is passed as a null buffer of length 0.
    virtual bool DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                                 std::span<std::byte> output, std::uint32_t& bytesReturned) = 0;
    // `function` is ntdll's export of that name. Returns the NTSTATUS; opened is valid when it is not negative.
    virtual std::int32_t NtCreateFile(ProcAddress function, const NtOpenById& request, Handle& opened) = 0;
    virtual std::int32_t NtQueryInformationFile(ProcAddress function, Handle handle, std::span<std::byte> buffer,
                                                std::uint32_t informationClass) = 0;
    // `function` is cldapi's export of that name. Returns the HRESULT.
    virtual std::int32_t CfGetPlaceholderInfo(ProcAddress function, Handle handle, std::uint32_t informationClass,
                                              std::span<std::byte> buffer) = 0;
};

}  // namespace tavi::platform
