#include "platform/windows/windows_files.h"

#include <windows.h>

#include <io.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>
#include <utility>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

constexpr std::size_t kLongestCharacter = 4;  // bytes for one code unit, in any code page

FindData FromNativeFindData(const WIN32_FIND_DATAW& native) {
    const bool isReparsePoint = (native.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    FindData data;
    data.fileAttributes = native.dwFileAttributes;
    data.reparseTag = isReparsePoint ? native.dwReserved0 : 0;
    data.fileName = FromWide(native.cFileName);
    return data;
}

}  // namespace

Handle WindowsFiles::CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) {
    return FromNative<Handle>(
        ::CreateFileW(ToWide(path).c_str(), access, shareMode, nullptr, disposition, flagsAndAttributes, nullptr));
}

bool WindowsFiles::CloseHandle(Handle handle) {
    return ::CloseHandle(ToNative<HANDLE>(handle)) != FALSE;
}

bool WindowsFiles::ReadFile(Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) {
    DWORD count = 0;
    const BOOL done = ::ReadFile(ToNative<HANDLE>(handle), buffer.data(), ByteCount(buffer.size()), &count, nullptr);
    bytesRead = count;
    return done != FALSE;
}

bool WindowsFiles::WriteFile(Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) {
    DWORD count = 0;
    const BOOL done = ::WriteFile(ToNative<HANDLE>(handle), bytes.data(), ByteCount(bytes.size()), &count, nullptr);
    bytesWritten = count;
    return done != FALSE;
}

bool WindowsFiles::FlushFileBuffers(Handle handle) {
    return ::FlushFileBuffers(ToNative<HANDLE>(handle)) != FALSE;
}

bool WindowsFiles::GetFileSizeEx(Handle handle, std::int64_t& bytes) {
    LARGE_INTEGER size{};
    const BOOL done = ::GetFileSizeEx(ToNative<HANDLE>(handle), &size);
    bytes = size.QuadPart;
    return done != FALSE;
}

bool WindowsFiles::SetFilePointerEx(Handle handle, std::int64_t distance, std::uint32_t method) {
    LARGE_INTEGER move{};
    move.QuadPart = distance;
    return ::SetFilePointerEx(ToNative<HANDLE>(handle), move, nullptr, method) != FALSE;
}

bool WindowsFiles::GetFileInformationByHandle(Handle handle, FileInformation& information) {
    BY_HANDLE_FILE_INFORMATION native{};
    const BOOL done = ::GetFileInformationByHandle(ToNative<HANDLE>(handle), &native);
    information.fileAttributes = native.dwFileAttributes;
    information.fileIndex = (std::uint64_t{native.nFileIndexHigh} << 32) | native.nFileIndexLow;
    return done != FALSE;
}

int WindowsFiles::Waccess(const std::u16string& path, int mode) {
    return ::_waccess(ToWide(path).c_str(), mode);
}

bool WindowsFiles::PathFileExistsW(const std::u16string& path) {
    return ::PathFileExistsW(ToWide(path).c_str()) != FALSE;
}

std::uint32_t WindowsFiles::GetFileAttributesW(const std::u16string& path) {
    return ::GetFileAttributesW(ToWide(path).c_str());
}

bool WindowsFiles::DeleteFileW(const std::u16string& path) {
    return ::DeleteFileW(ToWide(path).c_str()) != FALSE;
}

FindHandle WindowsFiles::FindFirstFileW(const std::u16string& pattern, FindData& data) {
    WIN32_FIND_DATAW native{};
    const HANDLE handle = ::FindFirstFileW(ToWide(pattern).c_str(), &native);
    data = FromNativeFindData(native);
    return FromNative<FindHandle>(handle);
}

bool WindowsFiles::FindNextFileW(FindHandle handle, FindData& data) {
    WIN32_FIND_DATAW native{};
    const BOOL done = ::FindNextFileW(ToNative<HANDLE>(handle), &native);
    data = FromNativeFindData(native);
    return done != FALSE;
}

bool WindowsFiles::FindClose(FindHandle handle) {
    return ::FindClose(ToNative<HANDLE>(handle)) != FALSE;
}

int WindowsFiles::SHCreateDirectoryExW(const std::u16string& path) {
    return ::SHCreateDirectoryExW(nullptr, ToWide(path).c_str(), nullptr);
}

std::int32_t WindowsFiles::SHGetFolderPathW(std::int32_t folder, std::u16string& path) {
    std::array<wchar_t, MAX_PATH> buffer{};
    const HRESULT result = ::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, buffer.data());
    path = FromWide(buffer.data());
    return result;
}

bool WindowsFiles::GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                                         std::u16string& fileSystemName) {
    std::array<wchar_t, MAX_PATH + 1> name{};
    DWORD componentLength = 0;
    const BOOL done = ::GetVolumeInformationW(ToWide(root).c_str(), nullptr, 0, nullptr, &componentLength, nullptr,
                                              name.data(), static_cast<DWORD>(name.size()));
    maximumComponentLength = componentLength;
    fileSystemName = FromWide(name.data());
    return done != FALSE;
}

std::string WindowsFiles::WideCharToMultiByteAcp(const std::u16string& text) {
    const std::wstring wide = ToWide(text);
    std::string narrow(wide.size() * kLongestCharacter, '\0');
    const int length = ::WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), narrow.data(),
                                             static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(length));
    return narrow;
}

bool WindowsFiles::DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                                   std::span<std::byte> output, std::uint32_t& bytesReturned) {
    // Not const: the system's parameter is shared by codes that write to their input; those used here only read it.
    void* in = input.empty() ? nullptr : const_cast<std::byte*>(input.data());
    void* out = output.empty() ? nullptr : output.data();
    DWORD count = 0;
    const BOOL done = ::DeviceIoControl(ToNative<HANDLE>(handle), controlCode, in, ByteCount(input.size()), out,
                                        ByteCount(output.size()), &count, nullptr);
    bytesReturned = count;
    return done != FALSE;
}

}  // namespace tavi::platform
