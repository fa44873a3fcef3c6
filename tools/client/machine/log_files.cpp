#include "machine/log_files.h"

#include <algorithm>
#include <limits>
#include <span>

#include "imports/type_convert.h"
#include "platform/constants.h"
#include "platform/owned_handle.h"

namespace tavi::client {

namespace {

constexpr std::uint64_t kTailBytes = 65'536;
constexpr int kMostParts = 100;

}  // namespace

std::optional<std::string> ReadTail(platform::Platform& platform, const std::u16string& path, std::uint64_t bytes) {
    const platform::Handle opened = platform.files.CreateFileW(
        path, platform::kGenericRead, platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete,
        platform::kOpenExisting, platform::kFileAttributeNormal);
    if (opened == platform::kInvalidHandle) {
        return std::nullopt;
    }
    const platform::OwnedHandle file(platform.files, opened);
    std::int64_t size = 0;
    if (!platform.files.GetFileSizeEx(opened, size) || size < 0) {
        return std::nullopt;
    }
    const std::uint64_t wanted = std::min(bytes, static_cast<std::uint64_t>(size));
    if (!platform.files.SetFilePointerEx(opened, size - static_cast<std::int64_t>(wanted), platform::kFileBegin)) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(wanted), '\0');
    std::size_t read = 0;
    for (std::uint32_t got = 1; got != 0 && read < text.size(); read += got) {
        got = 0;
        if (!platform.files.ReadFile(opened, std::as_writable_bytes(std::span(text).subspan(read)), got)) {
            return std::nullopt;
        }
    }
    text.resize(read);
    return text;
}

std::optional<std::string> ReadAll(platform::Platform& platform, const std::u16string& path) {
    return ReadTail(platform, path, std::numeric_limits<std::uint64_t>::max());
}

std::vector<std::string> LastLines(platform::Platform& platform, const std::u16string& path, std::size_t count) {
    std::vector<std::string> lines;
    const std::string text = ReadTail(platform, path, kTailBytes).value_or("");
    for (std::size_t end = text.size(); end > 0 && lines.size() < count;) {
        const std::size_t lineEnd = text.find_last_not_of("\r\n", end - 1);
        if (lineEnd == std::string::npos) {
            break;
        }
        const std::size_t before = text.rfind('\n', lineEnd);
        const std::size_t begin = before == std::string::npos ? 0 : before + 1;
        lines.push_back(text.substr(begin, lineEnd + 1 - begin));
        end = begin;
    }
    std::ranges::reverse(lines);
    return lines;
}

std::vector<std::u16string> PartsOfLog(platform::Platform& platform, const std::u16string& folder,
                                       std::u16string_view name) {
    std::vector<std::u16string> parts;
    for (int number = 0; number < kMostParts; ++number) {
        std::u16string path = folder + u'\\' + std::u16string(name);
        if (number != 0) {
            path += TypeConvert::UTF8ToUnicode("." + std::to_string(number));
        }
        path += u".log";
        if (platform.paths.PathFileExistsW(path)) {
            parts.push_back(path);
        } else if (number != 0) {  // the newest is missing for a moment whenever it becomes an older part
            break;
        }
    }
    std::ranges::reverse(parts);
    return parts;
}

}  // namespace tavi::client
