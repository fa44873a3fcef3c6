#include "db/database_folder.h"

#include "platform/constants.h"

namespace tavi::db {
namespace {

// Whether it leads elsewhere. Other reparse points stand for themselves: a deduplicated file, a synchronised folder.
// The tag that tells them apart is in the directory's listing; without it the worst is taken for true.
bool IsLink(platform::Paths& paths, const std::u16string& path, std::uint32_t attributes) {
    if ((attributes & platform::kFileAttributeReparsePoint) == 0) {
        return false;
    }
    platform::FindData data;
    const platform::FindHandle handle = paths.FindFirstFileW(path, data);
    if (handle == platform::kInvalidFindHandle) {
        return true;
    }
    paths.FindClose(handle);
    return (data.fileAttributes & platform::kFileAttributeReparsePoint) == 0 ||
           (data.reparseTag & platform::kReparseTagNameSurrogate) != 0;
}

// With the backslash at its end a link is followed, whatever the flags say. A root keeps it.
std::u16string WithoutLastBackslash(const std::u16string& directory) {
    const bool isRoot = directory.size() >= 2 && directory[directory.size() - 2] == u':';
    return isRoot ? directory : directory.substr(0, directory.size() - 1);
}

bool IsOnDrive(std::u16string_view path) {
    const auto isLetter = [](char16_t unit) {
        return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
    };
    return path.size() >= 3 && isLetter(path[0]) && path[1] == u':' && path[2] == u'\\';
}

// "\\server\share\..."; a server is neither "." nor "?", which are devices.
bool IsOnShare(std::u16string_view path) {
    if (!path.starts_with(u"\\\\")) {
        return false;
    }
    path.remove_prefix(2);
    const std::size_t serverEnd = path.find(u'\\');
    const std::u16string_view server = path.substr(0, serverEnd);
    if (serverEnd == std::u16string_view::npos || server.empty() || server == u"." || server == u"?") {
        return false;
    }
    const std::size_t shareEnd = path.find(u'\\', serverEnd + 1);
    return shareEnd != std::u16string_view::npos && shareEnd > serverEnd + 1;
}

}  // namespace

bool IsOnDriveOrShare(std::u16string_view path) {
    constexpr std::u16string_view kLiteral = u"\\\\?\\";
    return path.starts_with(kLiteral) ? IsOnDrive(path.substr(kLiteral.size())) : IsOnDrive(path) || IsOnShare(path);
}

bool DatabaseFolder::Refuse() {
    refused_ = true;
    return false;
}

bool DatabaseFolder::Hold(const std::u16string& directory) {
    // Read access, not attributes alone: an open for attributes takes no part in sharing and would hold nothing.
    const std::u16string path = WithoutLastBackslash(directory);
    handle_ = {platform_.files,
               platform_.files.CreateFileW(
                   path, platform::kGenericRead, platform::kFileShareRead | platform::kFileShareWrite,
                   platform::kOpenExisting, platform::kFileFlagBackupSemantics | platform::kFileFlagOpenReparsePoint)};
    platform::FileInformation information;
    if (!handle_.IsValid() || !platform_.files.GetFileInformationByHandle(handle_.Get(), information)) {
        return Refuse();
    }
    if (!platform::IsDirectory(information.fileAttributes) ||
        IsLink(platform_.paths, path, information.fileAttributes)) {
        return Refuse();
    }
    return true;
}

bool DatabaseFolder::HasOnlyPlainFiles(const std::u16string& databasePath) {
    for (const char16_t* companion : {u"", u"-wal", u"-shm", u"-journal"}) {
        const std::u16string path = databasePath + companion;
        const std::uint32_t attributes = platform_.paths.GetFileAttributesW(path);
        if (attributes != platform::kInvalidFileAttributes &&
            (platform::IsDirectory(attributes) || IsLink(platform_.paths, path, attributes))) {
            return Refuse();
        }
    }
    return true;
}

}  // namespace tavi::db
