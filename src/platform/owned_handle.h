// Owns a Handle of the Files role (file, directory, volume, pipe or process) and closes it once. Move-only; moving into
// an owner closes what it held. Null and invalid handles are never closed. The Files object outlives the owner.
#pragma once

#include <utility>

#include "platform/files.h"

namespace tavi::platform {

class OwnedHandle {
public:
    OwnedHandle() = default;
    OwnedHandle(Files& files, Handle handle) : files_(&files), handle_(handle) {}
    OwnedHandle(OwnedHandle&& other) noexcept
        : files_(other.files_), handle_(std::exchange(other.handle_, kInvalidHandle)) {}
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        if (this != &other) {
            Close();
            files_ = other.files_;
            handle_ = std::exchange(other.handle_, kInvalidHandle);
        }
        return *this;
    }
    ~OwnedHandle() { Close(); }

    bool IsValid() const { return handle_ != kInvalidHandle && handle_ != kNullHandle; }
    Handle Get() const { return handle_; }
    void Close() {
        const Handle handle = std::exchange(handle_, kInvalidHandle);
        if (handle != kInvalidHandle && handle != kNullHandle) {
            files_->CloseHandle(handle);
        }
    }

private:
    Files* files_ = nullptr;
    Handle handle_ = kInvalidHandle;
};

}  // namespace tavi::platform
