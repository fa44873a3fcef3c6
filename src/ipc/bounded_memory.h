// Memory for what a client sends. A frame announces its own length, up to 4 GiB, before anything about it has been
// checked: an allocation above the limit fails as if there were no memory left, so that no client can make the service
// take more. The limit is far above the largest frame that passes the checks.
#pragma once

#include <cstddef>
#include <memory_resource>
#include <new>

namespace tavi::ipc {

inline constexpr std::size_t kLargestReceiveAllocation = std::size_t{1} << 20;  // bytes

class BoundedMemory final : public std::pmr::memory_resource {
public:
    explicit BoundedMemory(std::size_t largestAllocation = kLargestReceiveAllocation)
        : largestAllocation_(largestAllocation) {}

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        if (bytes > largestAllocation_)
            throw std::bad_alloc();
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* memory, std::size_t bytes, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(memory, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    std::size_t largestAllocation_;
};

}  // namespace tavi::ipc
