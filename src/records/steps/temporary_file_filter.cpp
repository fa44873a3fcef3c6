// The temporary-file filter
//
// Programs write many files that nobody wants to hear of: lock files, downloads under way, copies made while saving.
// Their creation, modification and deletion are dropped here. Some of them are listed for the client, which clears them
// away later: the rows of the temporaryFile table.
//
// The rule, for each record in order:
//   1. A record that IsRecordedTemporaryFile accepts goes into the list of temporary files, whether it is kept or not.
//   2. First test. A record passes when it is not hidden, or is a hidden file with a temporary name, or is hidden and
//      the file is a placeholder of a cloud provider. What passes is kept, unless it is marked as temporary
//      (isTempFile) and says CREATE, DELETE or MODIFY.
//   3. Second test, whatever the first one said. A hidden record that is not a file with a temporary name is kept.
//   The deletion of a lock file would also bring back what its document stands for; that is nothing today.
//
// Renames of temporary files pass: the temporary rename resolution needs them.
//
//   CREATE report.tmp                    -> nothing, and a row for report.tmp
//   CREATE ~$budget.xlsx                 -> nothing, and no row
//   CREATE photo.png hidden              -> CREATE photo.png
//   CREATE photo.png hidden, placeholder -> CREATE photo.png, CREATE photo.png
//
// Odd on purpose: a hidden placeholder passes both tests and is kept twice; later steps fold the two. The mark of a
// held-back record is the one it was stored with, and may contradict its name.
//
// Both tests, as they are in tests/unit/records/steps/reference/temporary_file_filter.cpp, come to a number from 0
// to 2. The machine is asked whether the file is a placeholder only where the answer changes that number.
#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

bool IsContentChange(FileChangeReason reason) {
    return reason == FileChangeReason::kCreate || reason == FileChangeReason::kDelete ||
           reason == FileChangeReason::kModify;
}

std::uint8_t TimesKept(const StepRecord& record, StepWorld& world) {
    const bool hidden = (record.fileAttributes & kFileAttributeHidden) != 0;
    const bool temporaryFile = !IsDirectory(record.fileAttributes) && record.nameClass.temporary;
    const bool temporaryNoise = record.isTempFile && IsContentChange(record.reason);
    if (!hidden || temporaryFile) {
        return temporaryNoise ? 0 : 1;
    }
    return !temporaryNoise && world.IsPlaceholder(record.fileName) ? 2 : 1;
}

StepRecordList Repeat(StepRecordList records, const std::vector<std::uint8_t>& times) {
    StepRecordList kept;
    kept.reserve(std::accumulate(times.begin(), times.end(), std::size_t{0}));
    for (std::size_t i = 0; i < records.size(); ++i) {
        kept.insert(kept.end(), times[i], records[i]);
    }
    return kept;
}

}  // namespace

StepRecordList FilterTemporaryFiles(StepRecordList records, StepContext& context) {
    context.temporaryFiles.clear();
    std::vector<std::uint8_t> times;
    times.reserve(records.size());
    for (const StepRecord& record : records) {
        if (context.rules.IsRecordedTemporaryFile(record)) {
            context.temporaryFiles.push_back({record.fileName, record.fileAttributes, 0});
        }
        times.push_back(TimesKept(record, context.world));
    }
    if (std::ranges::all_of(times, [](std::uint8_t count) { return count == 1; })) {
        return records;
    }
    return Repeat(std::move(records), times);
}

}  // namespace tavi::records
