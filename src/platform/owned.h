// The owner of everything that the system hands out and takes back: handles of every kind, security objects, heap
// memory. What it owns is closed once, when the owner is destroyed, reset or assigned to. One alias or class per kind,
// with the values that stand for none of it; the closer is the seam's call that takes it back. It is not called for
// those values, and may be empty when nothing will be owned. Movable, not copyable, used by one thread at a time.
#pragma once

#include <functional>
#include <utility>

namespace tavi::platform {

template <typename HandleType, HandleType kEmpty, HandleType... kAlsoEmpty>
class Owned {
public:
    using Closer = std::function<void(HandleType)>;

    explicit Owned(Closer closer) : closer_(std::move(closer)) {}
    Owned(HandleType handle, Closer closer) : handle_(handle), closer_(std::move(closer)) {}
    Owned(Owned&& other) noexcept : handle_(std::exchange(other.handle_, kEmpty)), closer_(std::move(other.closer_)) {}
    Owned& operator=(Owned&& other) noexcept {
        if (this != &other) {
            Reset();
            handle_ = std::exchange(other.handle_, kEmpty);
            closer_ = std::move(other.closer_);
        }
        return *this;
    }
    ~Owned() { Reset(); }

    // Takes over `handle`; what was owned before is closed first.
    void Reset(HandleType handle = kEmpty) {
        const HandleType old = std::exchange(handle_, handle);
        if (IsOne(old)) {
            closer_(old);
        }
    }

    HandleType get() const { return handle_; }
    explicit operator bool() const { return IsOne(handle_); }

private:
    static bool IsOne(HandleType handle) { return handle != kEmpty && ((handle != kAlsoEmpty) && ...); }

    HandleType handle_ = kEmpty;
    Closer closer_;
};

}  // namespace tavi::platform
