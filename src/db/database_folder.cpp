#include "db/database_folder.h"

#include "platform/constants.h"

namespace tavi::db {
namespace {

bool IsLink(std::uint32_t attributes) {
    return (attributes & platform::kFileAttributeReparsePoint) != 0;
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
    handle_ = {platform_.files, platform_.files.CreateFileW(
                                    WithoutLastBackslash(directory), platform::kGenericRead,
                                    platform::kFileShareRead | platform::kFileShareWrite, platform::kOpenExisting,
                                    platform::kFileFlagBackupSemantics | platform::kFileFlagOpenReparsePoint)};
    platform::FileInformation information;
    if (!handle_.IsValid() || !platform_.files.GetFileInformationByHandle(handle_.Get(), information)) {
        return Refuse();
    }
    if (!IsDirectory(information.fileAttributes) || IsLink(information.fileAttributes)) {
        return Refuse();
    }
    return true;
}

bool DatabaseFolder::HasOnlyPlainFiles(const std::u16string& databasePath) {
    for (const char16_t* companion : {u"", u"-wal", u"-shm", u"-journal"}) {
        const std::uint32_t attributes = platform_.files.GetFileAttributesW(databasePath + companion);
        if (attributes != platform::kInvalidFileAttributes && (IsLink(attributes) || IsDirectory(attributes))) {
            return Refuse();
        }
    }
    return true;
}

}  // namespace tavi::db
