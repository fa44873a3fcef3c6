// Owns a buffer of the process heap and frees it once. The Heap outlives the owner.
#pragma once

#include <cstddef>

#include "platform/heap.h"
#include "platform/owned.h"

namespace tavi::platform {

class OwnedMemory : public Owned<void*, nullptr> {
public:
    explicit OwnedMemory(Heap& heap) : Owned([&heap](void* memory) { heap.HeapFree(memory); }) {}
    // False, and empty, when the heap has no room.
    OwnedMemory(Heap& heap, std::size_t bytes) : OwnedMemory(heap) { Reset(heap.HeapAlloc(bytes)); }
};

}  // namespace tavi::platform
