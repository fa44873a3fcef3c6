#include <algorithm>
#include <utility>

#include "platform/constants.h"
#include "records/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

bool IsContentChange(FileChangeReason reason) {
    return reason == FileChangeReason::kCreate || reason == FileChangeReason::kDelete ||
           reason == FileChangeReason::kModify;
}

// What the disappearance of a lock file is to be reported as, besides itself: nothing.
StepRecordList ExpandLockFile(const StepRecord&) {
    return {};
}

// Appends the record as often as the rules keep it: never, once or, a hidden placeholder, twice.
void Keep(StepRecord record, StepWorld& world, StepRecordList& kept) {
    const bool hidden = (record.fileAttributes & kFileAttributeHidden) != 0;
    const bool temporaryFile = (record.fileAttributes & kFileAttributeDirectory) == 0 && record.nameClass.temporary;
    const bool hiddenUserFile = hidden && !temporaryFile;
    const bool temporaryNoise = record.isTempFile && IsContentChange(record.reason);
    if ((!hiddenUserFile || world.IsPlaceholder(record.fileName)) && !temporaryNoise) {
        if (!hiddenUserFile) {
            kept.push_back(std::move(record));
            return;
        }
        kept.push_back(record);
    }
    if (hiddenUserFile) {
        kept.push_back(std::move(record));
    }
}

}  // namespace

StepRecordList FilterTemporaryFiles(StepRecordList records, StepContext& context) {
    StepRecordList kept;
    kept.reserve(std::max<std::size_t>(16, records.size()));
    context.temporaryFiles.clear();
    for (StepRecord& record : records) {
        if (context.rules.IsRecordedTemporaryFile(record)) {
            context.temporaryFiles.push_back({record.fileName, record.fileAttributes, 0});
        }
        StepRecordList expansion;
        if (record.reason == FileChangeReason::kDelete && record.nameClass.lock) {
            expansion = ExpandLockFile(record);
        }
        Keep(std::move(record), context.world, kept);
        std::ranges::move(expansion, std::back_inserter(kept));
    }
    return kept;
}

}  // namespace tavi::records
