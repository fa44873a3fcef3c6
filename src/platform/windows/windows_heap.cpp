#include "platform/windows/windows_heap.h"

#include <windows.h>

namespace tavi::platform {

void* WindowsHeap::HeapAlloc(std::size_t bytes) {
    return ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, bytes);
}

std::size_t WindowsHeap::HeapSize(void* memory) {
    return ::HeapSize(::GetProcessHeap(), 0, memory);
}

void WindowsHeap::HeapFree(void* memory) {
    if (memory != nullptr) {
        ::HeapFree(::GetProcessHeap(), 0, memory);
    }
}

}  // namespace tavi::platform
