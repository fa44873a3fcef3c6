#include "unit/records/memory/counted_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> bytesInUse{0};
std::atomic<std::size_t> peak{0};

// In front of every block, so that its size is known when it is freed.
constexpr std::size_t kHeader = alignof(std::max_align_t);
static_assert(kHeader >= sizeof(std::size_t));

void Count(std::size_t bytes) {
    const std::size_t now = bytesInUse.fetch_add(bytes) + bytes;
    std::size_t before = peak.load();
    while (now > before && !peak.compare_exchange_weak(before, now)) {
    }
}

}  // namespace

void* operator new(std::size_t bytes) {
    void* const memory = std::malloc(kHeader + bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    new (memory) std::size_t(bytes);
    Count(bytes);
    return static_cast<std::byte*>(memory) + kHeader;
}

void operator delete(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    void* const begin = static_cast<std::byte*>(memory) - kHeader;
    bytesInUse.fetch_sub(*static_cast<std::size_t*>(begin));
    std::free(begin);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace tavi::records::testing {

std::size_t BytesInUse() {
    return bytesInUse.load();
}

std::size_t PeakOfBytesInUse() {
    return peak.load();
}

void ResetPeak() {
    peak.store(bytesInUse.load());
}

}  // namespace tavi::records::testing
