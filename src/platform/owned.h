// A handle with its owner: closed once, when the owner is destroyed, reset or assigned to. One alias per kind of handle
// and empty value; the closer is the seam's call that releases it. Movable, not copyable, used by one thread at a time.
#pragma once

#include <functional>
#include <utility>

namespace tavi::platform {

template <typename HandleType, HandleType kEmpty>
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
        if (old != kEmpty) {
            closer_(old);
        }
    }

    HandleType get() const { return handle_; }
    explicit operator bool() const { return handle_ != kEmpty; }

private:
    HandleType handle_ = kEmpty;
    Closer closer_;
};

}  // namespace tavi::platform
