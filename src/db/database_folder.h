// The folder of a database while files are created or deleted in it. The service runs with more rights than whoever may
// write to the folder's parent, so a link planted there must not lead it elsewhere: the folder has to be a directory of
// its own, and stays the same one while it is held (the system neither renames nor removes a directory that is open
// without sharing deletion, nor those above it). A link is a reparse point that stands for another name (symbolic link,
// junction), not one of a deduplicated file or a synchronised folder. Links further up are the administrator's or the
// client's choice and are followed. Private to src/db; one thread.
#pragma once

#include <string>
#include <string_view>

#include "platform/owned_handle.h"
#include "platform/platform.h"

namespace tavi::db {

// Whether the path names a place on a drive or a share: "X:\...", "\\?\X:\..." or "\\server\share\...", with at least
// one backslash behind that. Everything else is refused: "\\.\" and the other forms of "\\?\" lead to devices, which
// answer to being opened, and a relative path leads to wherever the process happens to be. Opens nothing.
bool IsOnDriveOrShare(std::u16string_view path);

class DatabaseFolder {
public:
    explicit DatabaseFolder(platform::Platform& platform) : platform_(platform) {}

    // Opens the directory, whose path ends with a backslash, and holds it until this object goes out of scope. False
    // when it is a link, no directory, or cannot be opened.
    bool Hold(const std::u16string& directory);
    // False when the database or one of its companions is a link or a directory; a missing file is no obstacle.
    bool HasOnlyPlainFiles(const std::u16string& databasePath);
    // Whether something was refused: then nothing is to be touched through these paths.
    bool refused() const { return refused_; }
    bool Refuse();  // false, and refused from now on

private:
    platform::Platform& platform_;
    platform::OwnedHandle handle_;
    bool refused_ = false;
};

}  // namespace tavi::db
