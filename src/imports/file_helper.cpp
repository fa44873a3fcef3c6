#include "imports/file_helper.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "platform/constants.h"
#include "platform/owned_handle.h"

namespace FileHepler {

namespace {

// Directories must leave room for a file name of the old form below them: MAX_PATH - 12.
constexpr std::size_t kLongPath = 248;

bool IsLetter(char16_t unit) {
    return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

bool IsDrivePath(std::u16string_view path) {
    return path.size() >= 3 && IsLetter(path[0]) && path[1] == u':' && path[2] == u'\\';
}

// "\\server\...", but neither "\\?\..." nor "\\.\...", which the system takes literally.
bool IsUncPath(std::u16string_view path) {
    return path.size() > 2 && path.starts_with(u"\\\\") && path[2] != u'?' && path[2] != u'.' && path[2] != u'\\';
}

bool IsDotComponent(std::u16string_view component) {
    return component == u"." || component == u"..";
}

// A blank or point at a component's end, which the system would drop from a path without the prefix.
bool EndsInDroppedCharacter(std::u16string_view component) {
    return !component.empty() && !IsDotComponent(component) && (component.back() == u' ' || component.back() == u'.');
}

std::vector<std::u16string_view> SplitComponents(std::u16string_view text) {
    std::vector<std::u16string_view> components;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(u'\\', begin), text.size());
        components.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return components;
}

// Behind the prefix the system no longer resolves "." and ".." nor joins backslashes, so it is done here. The first
// `fixed` components (a drive, or server and share) cannot be left with "..".
std::u16string JoinResolved(std::u16string prefix, const std::vector<std::u16string_view>& components,
                            std::size_t fixed) {
    std::vector<std::u16string_view> kept;
    for (const std::u16string_view component : components) {
        if (component == u"..") {
            if (kept.size() > fixed) {
                kept.pop_back();
            }
        } else if (!component.empty() && component != u".") {
            kept.push_back(component);
        }
    }
    for (std::size_t i = 0; i < kept.size(); ++i) {
        prefix.append(i == 0 ? u"" : u"\\").append(kept[i]);
    }
    const bool directoryForm = components.back().empty() || kept.size() <= 1;
    return directoryForm ? prefix + u"\\" : prefix;
}

}  // namespace

std::u16string FormatLongFileName(std::u16string_view path) {
    std::u16string plain(path);
    if (plain.starts_with(u"\\\\?\\")) {
        return plain;
    }
    std::replace(plain.begin(), plain.end(), u'/', u'\\');
    const bool drive = IsDrivePath(plain);
    if (!drive && !IsUncPath(plain)) {
        return plain;
    }
    const auto components = SplitComponents(std::u16string_view(plain).substr(drive ? 0 : 2));
    if (plain.size() < kLongPath && std::ranges::none_of(components, EndsInDroppedCharacter)) {
        return plain;
    }
    return drive ? JoinResolved(u"\\\\?\\", components, 1) : JoinResolved(u"\\\\?\\UNC\\", components, 2);
}

std::uint64_t GetFrnByPath(tavi::platform::Platform& platform, std::u16string_view path) {
    namespace system = tavi::platform;
    const system::OwnedHandle file(
        platform.files,
        platform.files.CreateFileW(FormatLongFileName(path), system::kFileReadAttributes,
                                   system::kFileShareRead | system::kFileShareWrite | system::kFileShareDelete,
                                   system::kOpenExisting,
                                   system::kFileFlagBackupSemantics | system::kFileFlagOpenReparsePoint));
    if (!file.IsValid()) {
        return 0;
    }
    system::FileInformation information;
    return platform.files.GetFileInformationByHandle(file.Get(), information) ? information.fileIndex : 0;
}

}  // namespace FileHepler
