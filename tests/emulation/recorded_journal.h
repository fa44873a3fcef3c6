// Plays a journal that was recorded on another machine: makes its directories anew below a folder and appends its
// records with the reference numbers that the directories have here. Windows only.
#pragma once

#include <string>

#include "journal_store.h"

namespace tavi::emulation {

// `journalPath`: the journal's stream from position 0. `listPath`: lines of frn, parent frn and name (tab-separated,
// decimal, UTF-8), the root's row being its own parent; the root becomes `folder`, which must exist. Records whose
// parent is not in the list keep their numbers. 0, or 1 with a message.
int PlayRecordedJournal(JournalStore& store, const std::wstring& journalPath, const std::wstring& listPath,
                        const std::wstring& folder);

}  // namespace tavi::emulation
