#include "util/volume_check.h"

#include <cstdint>
#include <string>

#include "imports/exception_edge.h"

namespace tavi::util {
namespace {

constexpr std::string_view kFunction = "IsNtfsFileSystemBasedOnPath:";

bool HasNtfs(platform::Volumes& volumes, std::u16string_view path) {
    const std::size_t colon = path.find(u':');
    if (colon == std::u16string_view::npos) {
        Drive::kUtilLog.Error(kFunction, "not find the colon");
        return false;
    }
    const std::u16string root = std::u16string(path.substr(0, colon + 1)) + u'\\';
    std::uint32_t maximumComponentLength = 0;
    std::u16string fileSystemName;
    if (!volumes.GetVolumeInformationW(root, maximumComponentLength, fileSystemName)) {
        Drive::kUtilLog.Error(kFunction, "get disk info error");
        return false;
    }
    if (fileSystemName != u"NTFS") {
        Drive::kUtilLog.Error(kFunction, "the file system is not NTFS");
        return false;
    }
    Drive::kUtilLog.Error(kFunction, "the file system is NTFS");
    return true;
}

}  // namespace

bool IsNtfsFileSystemBasedOnPath(platform::Platform& platform, std::u16string_view path) {
    bool ntfs = false;  // without memory nothing is known about the volume
    Drive::EndExceptions([&] { ntfs = HasNtfs(platform.volumes, path); });
    return ntfs;
}

}  // namespace tavi::util
