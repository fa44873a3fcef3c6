// `TaviReplay journal`: the whole path, from raw journal bytes to records (or the database), through the product's own
// classes on a simulated machine: reading, decoding, resolving, batches, steps, saving.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "replay/progress.h"
#include "replay/records_command.h"

namespace tavi::replay {

// In milliseconds it has to fit 32 bits.
inline constexpr std::uint32_t kLongestSplitInterval = 4'294'967;

struct JournalOptions {
    std::string journalFile;
    std::string directoriesFile;
    std::string listenPath;                // UTF-8
    std::optional<std::int64_t> startUsn;  // the journal's first record when not given
    std::optional<std::int64_t>
        firstByteUsn;                  // position of the file's first byte; from its first record when not given
    std::uint32_t splitInterval = 10;  // seconds
    std::string databaseFile;          // empty: print the records instead
    Form form = Form::kText;
};

int RunJournal(const JournalOptions& options, std::ostream& output, std::ostream& errors, Progress& progress);

}  // namespace tavi::replay
