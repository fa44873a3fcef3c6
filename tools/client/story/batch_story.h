// What the steps did with one file in one batch, told from the dumps: which step kept, changed or dropped its records,
// and what was stored in the end. Pure functions; texts are UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "story/sync_log.h"

namespace tavi::client {

// Which records are about the file. A log obscures names, so a name stands for all that look the same there.
struct StorySubject {
    std::string obscuredName;        // as the log writes it, lower-case; empty: the number alone counts
    std::optional<std::string> frn;  // the file reference number in decimal
};

struct BatchStory {
    std::vector<std::string> lines;  // without line ends
    std::set<std::string> frns;      // of the files whose records were taken for the subject's
};

// Nothing when the batch has no record about it. Records of the same file under other names belong to it.
std::optional<BatchStory> TellStory(const LoggedBatch& batch, const StorySubject& subject);

// What a step is there for, a sentence without its point.
std::string_view PurposeOfStep(std::size_t step);

// How the log writes a path, lower-case.
std::string ObscuredName(std::string_view path);

}  // namespace tavi::client
