// Files and directories by their path, on Windows.
#pragma once

#include "platform/paths.h"

namespace tavi::platform {

class WindowsPaths final : public Paths {
public:
    int Waccess(const std::u16string& path, int mode) override;
    bool PathFileExistsW(const std::u16string& path) override;
    std::uint32_t GetFileAttributesW(const std::u16string& path) override;
    bool DeleteFileW(const std::u16string& path) override;
    FindHandle FindFirstFileW(const std::u16string& pattern, FindData& data) override;
    bool FindNextFileW(FindHandle handle, FindData& data) override;
    bool FindClose(FindHandle handle) override;
    int SHCreateDirectoryExW(const std::u16string& path) override;
    std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) override;
};

}  // namespace tavi::platform
