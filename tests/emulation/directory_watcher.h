// Follows real changes in a folder with ReadDirectoryChangesW and leaves in the emulated journal what NTFS would have
// left. Windows only.
#pragma once

#include <string>

#include "journal_store.h"

namespace tavi::emulation {

// Runs until the process is ended; prints "watching" once changes are being followed. Returns 1 when the folder cannot
// be watched.
int WatchDirectory(JournalStore& store, const std::wstring& folder);

}  // namespace tavi::emulation
