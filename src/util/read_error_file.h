// The file "read_usn_journal_err" in the log folder: one dated line per failed read of the journal, kept apart from the
// logs because a lasting failure repeats itself. Called on the listen thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/platform.h"

namespace tavi::util {

inline constexpr std::int64_t kReadErrorFileLimit = 10'485'760;  // bytes; a file that is larger starts again from empty

// Appends the local time and the message, which carries its own line end, in the system's ANSI code page. Whatever goes
// wrong, the line is lost without a word: the failure that it is about has been handled elsewhere.
void WriteReadErrorLine(platform::Platform& platform, std::u16string_view message);

}  // namespace tavi::util
