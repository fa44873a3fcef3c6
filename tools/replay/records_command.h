// `TaviReplay records`: runs the steps on recorded batches and shows what each one did. Streams are the caller's, so
// that tests run it without files. The results of a batch are written while its steps run.
#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "replay/progress.h"
#include "replay/result_output.h"

namespace tavi::replay {

inline constexpr int kExitDone = 0;
inline constexpr int kExitBadInput = 1;  // or unreadable, or the output cannot be written
inline constexpr int kExitUsage = 2;

struct Streams {
    std::istream& input;
    std::ostream& output;
    std::ostream& errors;
};

// `inputName` stands in messages, as in "batches.json:3: records[0].frn: missing". Ends at the first bad batch; the
// results of those before it have been written then.
int RunRecords(const Streams& streams, const std::string& inputName, Form form, Progress& progress);

}  // namespace tavi::replay
