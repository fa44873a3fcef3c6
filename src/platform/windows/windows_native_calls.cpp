#include "platform/windows/windows_native_calls.h"

#include <windows.h>

#include <winternl.h>

#include <array>
#include <bit>

#include "platform/windows/native_handle.h"

namespace tavi::platform {

std::int32_t WindowsNativeCalls::NtCreateFile(ProcAddress function, const NtOpenById& request, Handle& opened) {
    // With FILE_OPEN_BY_FILE_ID the object's name is the eight bytes of the file reference number.
    auto id = std::bit_cast<std::array<wchar_t, 4>>(request.fileReferenceNumber);
    UNICODE_STRING name{sizeof id, sizeof id, id.data()};
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.RootDirectory = ToNative<HANDLE>(request.rootDirectory);
    attributes.ObjectName = &name;
    attributes.Attributes = request.objectAttributes;
    IO_STATUS_BLOCK status{};
    HANDLE handle = INVALID_HANDLE_VALUE;
    const NTSTATUS result = ToNative<decltype(&::NtCreateFile)>(function)(
        &handle, request.desiredAccess, &attributes, &status, nullptr, request.fileAttributes, request.shareAccess,
        request.createDisposition, request.createOptions, nullptr, 0);
    opened = FromNative<Handle>(handle);
    return result;
}

std::int32_t WindowsNativeCalls::NtQueryInformationFile(ProcAddress function, Handle handle,
                                                        std::span<std::byte> buffer, std::uint32_t informationClass) {
    // Declared here: not every edition of the headers has the function.
    using Function = NTSTATUS(NTAPI*)(HANDLE, PIO_STATUS_BLOCK, PVOID, ULONG, FILE_INFORMATION_CLASS);
    IO_STATUS_BLOCK status{};
    return ToNative<Function>(function)(ToNative<HANDLE>(handle), &status, buffer.data(), ByteCount(buffer.size()),
                                        static_cast<FILE_INFORMATION_CLASS>(informationClass));
}

}  // namespace tavi::platform
