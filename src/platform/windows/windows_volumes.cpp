#include "platform/windows/windows_volumes.h"

#include <windows.h>

#include <array>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

bool WindowsVolumes::GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                                           std::u16string& fileSystemName) {
    std::array<wchar_t, MAX_PATH + 1> name{};
    DWORD componentLength = 0;
    const BOOL done = ::GetVolumeInformationW(ToWide(root).c_str(), nullptr, 0, nullptr, &componentLength, nullptr,
                                              name.data(), static_cast<DWORD>(name.size()));
    maximumComponentLength = componentLength;
    fileSystemName = FromWide(name.data());
    return done != FALSE;
}

bool WindowsVolumes::DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
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
