#include "platform/windows/windows_cloud_files.h"

#include <windows.h>

#include "platform/windows/native_handle.h"

namespace tavi::platform {

std::int32_t WindowsCloudFiles::CfGetPlaceholderInfo(ProcAddress function, Handle handle,
                                                     std::uint32_t informationClass, std::span<std::byte> buffer) {
    // Declared here: not every edition of the headers has cfapi.h. The class is an enumeration, an int in C.
    using Function = HRESULT(WINAPI*)(HANDLE, int, PVOID, DWORD, PDWORD);
    DWORD returned = 0;
    return ToNative<Function>(function)(ToNative<HANDLE>(handle), static_cast<int>(informationClass), buffer.data(),
                                        ByteCount(buffer.size()), &returned);
}

}  // namespace tavi::platform
