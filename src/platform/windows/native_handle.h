// The seam's opaque handles as the system's, and back. Only for the sources of platform/windows.
#pragma once

#include <windows.h>

#include <cstdint>

#include "platform/types.h"

namespace tavi::platform {

// For every handle type of the seam and its system type: ToNative<HANDLE>(handle), FromNative<Handle>(native).
template <typename Native, typename Opaque>
Native ToNative(Opaque handle) {
    static_assert(sizeof(Native) == sizeof(Opaque));
    return reinterpret_cast<Native>(handle);
}

template <typename Opaque, typename Native>
Opaque FromNative(Native handle) {
    static_assert(sizeof(Native) == sizeof(Opaque));
    return static_cast<Opaque>(reinterpret_cast<std::uintptr_t>(handle));
}

// Buffers above 4 GiB do not occur: the seam's users read and write in pieces.
inline DWORD ByteCount(std::size_t bytes) {
    return static_cast<DWORD>(bytes);
}

}  // namespace tavi::platform
