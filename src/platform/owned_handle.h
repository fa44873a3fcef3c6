// Owns a Handle that Files closes (file, directory, volume, pipe or process). A null handle and an invalid one are both
// none. The Files object outlives the owner.
#pragma once

#include "platform/files.h"
#include "platform/owned.h"

namespace tavi::platform {

class OwnedHandle : public Owned<Handle, kInvalidHandle, kNullHandle> {
public:
    OwnedHandle() : Owned(nullptr) {}
    OwnedHandle(Files& files, Handle handle) : Owned(handle, [&files](Handle owned) { files.CloseHandle(owned); }) {}

    bool IsValid() const { return static_cast<bool>(*this); }
    Handle Get() const { return get(); }
    void Close() { Reset(); }
};

}  // namespace tavi::platform
