// Whether a folder lies on a volume that has a change journal. Called on the IPC thread.
#pragma once

#include <string_view>

#include "platform/platform.h"

namespace tavi::util {

// True only when the volume of the path's drive letter names its file system exactly "NTFS". Every outcome, the good
// one too, leaves a line in the error log.
bool IsNtfsFileSystemBasedOnPath(platform::Platform& platform, std::u16string_view path);

}  // namespace tavi::util
