#include "util/volume_check.h"

#include <cstdint>
#include <string>

#include "util/util_log.h"

namespace tavi::util {
namespace {

constexpr std::string_view kFunction = "IsNtfsFileSystemBasedOnPath:";

bool HasNtfs(platform::Files& files, std::u16string_view path) {
    const std::size_t colon = path.find(u':');
    if (colon == std::u16string_view::npos) {
        LogError(kFunction, "not find the colon");
        return false;
    }
    const std::u16string root = std::u16string(path.substr(0, colon + 1)) + u'\\';
    std::uint32_t maximumComponentLength = 0;
    std::u16string fileSystemName;
    if (!files.GetVolumeInformationW(root, maximumComponentLength, fileSystemName)) {
        LogError(kFunction, "get disk info error");
        return false;
    }
    if (fileSystemName != u"NTFS") {
        LogError(kFunction, "the file system is not NTFS");
        return false;
    }
    LogError(kFunction, "the file system is NTFS");
    return true;
}

}  // namespace

bool IsNtfsFileSystemBasedOnPath(platform::Platform& platform, std::u16string_view path) {
    try {
        return HasNtfs(platform.files, path);
    } catch (...) {  // out of memory: nothing is known about the volume
        return false;
    }
}

}  // namespace tavi::util
