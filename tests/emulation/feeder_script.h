// A script of file operations, one per line, fields separated by tabs: mkdir P; create P [TEXT]; append P TEXT;
// rename FROM TO; delete P; attributes P NUMBER; record P ATTRIBUTES REASON; sleep MILLISECONDS. Lines that begin with
// # and empty ones are passed over. Windows only.
#pragma once

#include <string>

#include "journal_store.h"

namespace tavi::emulation {

// Carries the operations out on real files and records them. 0, or 1 with a message at the first line that failed.
int RunScript(JournalStore& store, const std::wstring& scriptPath);

}  // namespace tavi::emulation
