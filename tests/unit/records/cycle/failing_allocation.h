// The program's operator new, which a test can make fail once: the n-th allocation from now on the calling thread
// throws std::bad_alloc.
#pragma once

#include <cstdint>

namespace tavi::records::testing {

class FailingAllocation {
public:
    explicit FailingAllocation(std::uint64_t nth);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    bool Fired() const;
};

}  // namespace tavi::records::testing
