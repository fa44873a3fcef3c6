// The start handler's and the status probe's looks at the change journal of a listen path's volume. Each opens the
// volume afresh and closes it again, so nothing is owned between two calls. The IPC thread calls them. Failures are
// logged by the journal itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace tavi::listen {

// The journal's state; empty when the volume cannot be opened or its journal cannot be queried.
std::optional<platform::UsnJournalData> QueryJournal(platform::Platform& platform, const std::u16string& listenPath);

// The journal status probe: whether the volume can be opened and its journal queried.
bool JournalIsUsable(platform::Platform& platform, const std::u16string& listenPath);

// A journal that cannot be created shows when it is queried next.
void CreateJournal(platform::Platform& platform, const std::u16string& listenPath);

}  // namespace tavi::listen
