#include "platform/windows/windows_files.h"

#include <windows.h>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

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

}  // namespace tavi::platform
