#include "platform/windows/windows_paths.h"

#include <windows.h>

#include <io.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

FindData FromNativeFindData(const WIN32_FIND_DATAW& native) {
    const bool isReparsePoint = (native.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    FindData data;
    data.fileAttributes = native.dwFileAttributes;
    data.reparseTag = isReparsePoint ? native.dwReserved0 : 0;
    data.fileName = FromWide(native.cFileName);
    return data;
}

}  // namespace

int WindowsPaths::Waccess(const std::u16string& path, int mode) {
    return ::_waccess(ToWide(path).c_str(), mode);
}

bool WindowsPaths::PathFileExistsW(const std::u16string& path) {
    return ::PathFileExistsW(ToWide(path).c_str()) != FALSE;
}

std::uint32_t WindowsPaths::GetFileAttributesW(const std::u16string& path) {
    return ::GetFileAttributesW(ToWide(path).c_str());
}

bool WindowsPaths::DeleteFileW(const std::u16string& path) {
    return ::DeleteFileW(ToWide(path).c_str()) != FALSE;
}

FindHandle WindowsPaths::FindFirstFileW(const std::u16string& pattern, FindData& data) {
    WIN32_FIND_DATAW native{};
    const HANDLE handle = ::FindFirstFileW(ToWide(pattern).c_str(), &native);
    data = FromNativeFindData(native);
    return FromNative<FindHandle>(handle);
}

bool WindowsPaths::FindNextFileW(FindHandle handle, FindData& data) {
    WIN32_FIND_DATAW native{};
    const BOOL done = ::FindNextFileW(ToNative<HANDLE>(handle), &native);
    data = FromNativeFindData(native);
    return done != FALSE;
}

bool WindowsPaths::FindClose(FindHandle handle) {
    return ::FindClose(ToNative<HANDLE>(handle)) != FALSE;
}

int WindowsPaths::SHCreateDirectoryExW(const std::u16string& path) {
    return ::SHCreateDirectoryExW(nullptr, ToWide(path).c_str(), nullptr);
}

std::int32_t WindowsPaths::SHGetFolderPathW(std::int32_t folder, std::u16string& path) {
    std::array<wchar_t, MAX_PATH> buffer{};
    const HRESULT result = ::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, buffer.data());
    path = FromWide(buffer.data());
    return result;
}

}  // namespace tavi::platform
