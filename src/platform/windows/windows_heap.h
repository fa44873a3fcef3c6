// The process heap on Windows.
#pragma once

#include "platform/heap.h"

namespace tavi::platform {

class WindowsHeap final : public Heap {
public:
    void* HeapAlloc(std::size_t bytes) override;
    std::size_t HeapSize(void* memory) override;
    void HeapFree(void* memory) override;
};

}  // namespace tavi::platform
