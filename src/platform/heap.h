// The process heap (kernel32): buffers whose allocation may fail without an exception.
#pragma once

#include <cstddef>

namespace tavi::platform {

class Heap {
public:
    virtual ~Heap() = default;

    virtual void* HeapAlloc(std::size_t bytes) = 0;  // zeroed; null on failure
    virtual std::size_t HeapSize(void* memory) = 0;
    virtual void HeapFree(void* memory) = 0;  // null is allowed
};

}  // namespace tavi::platform
