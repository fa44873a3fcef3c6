// The real system as a world of the contract tests: a folder of its own per test, removed at the end.
#pragma once

#include <string>

#include "platform/windows/windows_platform.h"

namespace tavi::contract {

class WindowsWorld {
public:
    WindowsWorld();
    ~WindowsWorld();
    WindowsWorld(const WindowsWorld&) = delete;
    WindowsWorld& operator=(const WindowsWorld&) = delete;

    platform::Platform Parts() { return windows_.Parts(); }
    std::u16string Folder() const { return folder_; }
    std::u16string LongFolder() const;
    // The volume itself needs an administrator, and Wine opens nothing by number below it; the drive's root directory
    // serves the same purpose on both.
    platform::Handle OpenVolume();

private:
    platform::WindowsPlatform windows_;
    std::u16string folder_;
};

// The folder of the running program, without a trailing backslash.
std::u16string ProgramFolder();

}  // namespace tavi::contract
