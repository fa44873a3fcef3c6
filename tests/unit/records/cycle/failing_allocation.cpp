#include "unit/records/cycle/failing_allocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t failingIn = 0;  // 0: none fails

}  // namespace

void* operator new(std::size_t bytes) {
    if (failingIn != 0 && --failingIn == 0) {
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(bytes == 0 ? 1 : bytes)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace tavi::records::testing {

FailingAllocation::FailingAllocation(std::uint64_t nth) {
    failingIn = nth;
}

FailingAllocation::~FailingAllocation() {
    failingIn = 0;
}

bool FailingAllocation::Fired() const {
    return failingIn == 0;
}

}  // namespace tavi::records::testing
