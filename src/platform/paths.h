// Files and directories by their path, without a handle (kernel32, shell32, shlwapi, the C runtime). A call that fails
// returns false, an invalid handle or the documented code, and leaves its code in the calling thread's last error
// unless said otherwise. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Paths {
public:
    virtual ~Paths() = default;

    virtual int Waccess(const std::u16string& path, int mode) = 0;  // _waccess: 0 or -1; sets errno, not the last error
    virtual bool PathFileExistsW(const std::u16string& path) = 0;
    virtual std::uint32_t GetFileAttributesW(const std::u16string& path) = 0;  // kInvalidFileAttributes on failure
    virtual bool DeleteFileW(const std::u16string& path) = 0;
    // The first entry that the pattern matches. kInvalidFindHandle on failure; otherwise closed with FindClose.
    virtual FindHandle FindFirstFileW(const std::u16string& pattern, FindData& data) = 0;
    virtual bool FindNextFileW(FindHandle handle, FindData& data) = 0;
    virtual bool FindClose(FindHandle handle) = 0;
    // Creates the directory with all missing parents; returns 0 or the error code.
    virtual int SHCreateDirectoryExW(const std::u16string& path) = 0;
    // The folder of the account that the process runs under; returns an HRESULT.
    virtual std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) = 0;
};

}  // namespace tavi::platform
