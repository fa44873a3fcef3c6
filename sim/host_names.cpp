#include "sim/host_names.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "platform/constants.h"
#include "sim/ntfs_volume.h"

namespace tavi::sim {

namespace {

bool IsPlain(char16_t unit) {
    const bool letter = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
    return letter || (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'-' || unit == u'.';
}

}  // namespace

std::string EncodeHostName(std::u16string_view name) {
    std::string encoded;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool lastPoint = name[i] == u'.' && i + 1 == name.size();
        if (IsPlain(name[i]) && !lastPoint) {
            encoded += static_cast<char>(name[i]);
        } else {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "%%%04X", static_cast<unsigned>(name[i]));
            encoded += escape.data();
        }
    }
    return encoded;
}

std::u16string DecodeHostName(std::string_view name) {
    std::u16string decoded;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '%' && i + 4 < name.size()) {
            decoded += static_cast<char16_t>(std::strtoul(std::string(name.substr(i + 1, 4)).c_str(), nullptr, 16));
            i += 4;
        } else {
            decoded += static_cast<char16_t>(static_cast<unsigned char>(name[i]));
        }
    }
    return decoded;
}

std::filesystem::path ResolveOnHost(const std::filesystem::path& root, std::u16string_view normalised) {
    std::filesystem::path path = root;
    for (std::size_t start = 0; start < normalised.size();) {
        const std::size_t end = std::min(normalised.find(u'\\', start), normalised.size());
        const std::u16string_view part = normalised.substr(start, end - start);
        start = end + 1;
        if (part.empty()) {
            continue;
        }
        std::filesystem::path next = path / EncodeHostName(part);
        std::error_code ignored;
        if (!std::filesystem::exists(next, ignored) && std::filesystem::is_directory(path, ignored)) {
            for (const auto& entry : std::filesystem::directory_iterator(path)) {
                const std::u16string name = DecodeHostName(entry.path().filename().string());
                if (NtfsVolume::Fold(name) == NtfsVolume::Fold(part)) {
                    next = entry.path();
                }
            }
        }
        path = next;
    }
    return path;
}

void ListHostFolder(const std::filesystem::path& folder, std::vector<platform::FindData>& entries) {
    const std::size_t first = entries.size();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::uint32_t attributes =
            entry.is_directory() ? platform::kFileAttributeDirectory : platform::kFileAttributeArchive;
        entries.push_back({attributes, DecodeHostName(entry.path().filename().string()), 0});
    }
    std::sort(entries.begin() + static_cast<std::ptrdiff_t>(first), entries.end(),
              [](const auto& a, const auto& b) { return NtfsVolume::Fold(a.fileName) < NtfsVolume::Fold(b.fileName); });
}

}  // namespace tavi::sim
