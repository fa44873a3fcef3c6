#include "db/database_folder.h"

#include "platform/constants.h"

namespace tavi::db {
namespace {

// Whether it leads elsewhere. Other reparse points stand for themselves: a deduplicated file, a synchronised folder.
// The tag that tells them apart is in the directory's listing; without it the worst is taken for true.
bool IsLink(platform::Files& files, const std::u16string& path, std::uint32_t attributes) {
    if ((attributes & platform::kFileAttributeReparsePoint) == 0) {
        return false;
    }
    platform::FindData data;
    const platform::FindHandle handle = files.FindFirstFileW(path, data);
    if (handle == platform::kInvalidFindHandle) {
        return true;
    }
    files.FindClose(handle);
    return (data.fileAttributes & platform::kFileAttributeReparsePoint) == 0 ||
           (data.reparseTag & platform::kReparseTagNameSurrogate) != 0;
}

bool IsDirectory(std::uint32_t attributes) {
    return (attributes & platform::kFileAttributeDirectory) != 0;
}

// With the backslash at its end a link is followed, whatever the flags say. A root keeps it.
std::u16string WithoutLastBackslash(const std::u16string& directory) {
    const bool isRoot = directory.size() >= 2 && directory[directory.size() - 2] == u':';
    return isRoot ? directory : directory.substr(0, directory.size() - 1);
}

}  // namespace

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
    if (!IsDirectory(information.fileAttributes) || IsLink(platform_.files, path, information.fileAttributes)) {
        return Refuse();
    }
    return true;
}

bool DatabaseFolder::HasOnlyPlainFiles(const std::u16string& databasePath) {
    for (const char16_t* companion : {u"", u"-wal", u"-shm", u"-journal"}) {
        const std::u16string path = databasePath + companion;
        const std::uint32_t attributes = platform_.files.GetFileAttributesW(path);
        if (attributes != platform::kInvalidFileAttributes &&
            (IsDirectory(attributes) || IsLink(platform_.files, path, attributes))) {
            return Refuse();
        }
    }
    return true;
}

}  // namespace tavi::db
