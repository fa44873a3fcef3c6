#include "machine/real_name.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "platform/constants.h"

namespace tavi::client {

namespace {

constexpr std::uint32_t kNameSurrogate = 0x20000000;  // a reparse tag that stands for another name
constexpr std::size_t kDriveUnits = 2;

std::optional<platform::FindData> LookUp(platform::Platform& platform, const std::u16string& path) {
    platform::FindData data;
    const platform::FindHandle find = platform.paths.FindFirstFileW(path, data);
    if (find == platform::kInvalidFindHandle) {
        return std::nullopt;
    }
    platform.paths.FindClose(find);
    return data;
}

}  // namespace

RealName LookUpRealName(platform::Platform& platform, const std::u16string& folder) {
    RealName real;
    const std::size_t drive = folder.find(u':');
    real.path = folder.substr(drive - 1, kDriveUnits);
    bool known = true;
    for (std::size_t at = drive + 1; at < folder.size();) {
        const std::size_t end = std::min(folder.find(u'\\', at), folder.size());
        const std::u16string component = folder.substr(at, end - at);
        at = end + 1;
        if (component.empty()) {
            continue;
        }
        const std::u16string given = real.path + u'\\' + component;
        const auto data = known ? LookUp(platform, given) : std::nullopt;
        known = data.has_value();
        real.path += u'\\' + (known ? data->fileName : component);
        const bool isLink = known && (data->fileAttributes & platform::kFileAttributeReparsePoint) != 0 &&
                            (data->reparseTag & kNameSurrogate) != 0;
        if (isLink && real.link.empty()) {
            real.link = real.path;
        }
    }
    return real;
}

}  // namespace tavi::client
