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

// How often the rules keep the record: never, once or, a hidden placeholder, twice. The disappearance of a lock file is
// reported as itself and as nothing else.
std::uint8_t TimesKept(const StepRecord& record, StepWorld& world) {
    const bool hidden = (record.fileAttributes & kFileAttributeHidden) != 0;
    const bool temporaryFile = (record.fileAttributes & kFileAttributeDirectory) == 0 && record.nameClass.temporary;
    const bool hiddenUserFile = hidden && !temporaryFile;
    const bool temporaryNoise = record.isTempFile && IsContentChange(record.reason);
    if (!hiddenUserFile) {
        return temporaryNoise ? 0 : 1;
    }
    return world.IsPlaceholder(record.fileName) && !temporaryNoise ? 2 : 1;
}

// A record for a one, two for a two.
StepRecordList Repeat(StepRecordList records, const std::vector<std::uint8_t>& times) {
    StepRecordList kept;
    kept.reserve(std::accumulate(times.begin(), times.end(), std::size_t{0}));
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (times[i] == 2) {
            kept.push_back(records[i]);
        }
        if (times[i] != 0) {
            kept.push_back(std::move(records[i]));
        }
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
