// Batches for the benchmarks of the steps: a busy folder's ordinary journal, and what the steps need besides a list.
#pragma once

#include <atomic>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/steps/step_pipeline.h"
#include "records/steps/steps.h"

namespace tavi::bench {

// A journal of about `count` records: saves, office saves through temporary files, downloads, renames, moves, deletions
// and hidden arrivals in turn, each of a file of its own.
records::UsnRecordList OrdinaryBatch(std::size_t count);

// The floor: every name once into a hash map.
std::unordered_map<std::u16string, std::size_t> InsertNames(const std::vector<std::u16string>& names);

// No file system: nothing is a placeholder but what is asked to be, no directory has entries.
class EmptyWorld : public records::StepWorld {
public:
    explicit EmptyWorld(bool everythingIsAPlaceholder) : everythingIsAPlaceholder_(everythingIsAPlaceholder) {}

    const std::u16string& ListenPath() const override { return listenPath_; }
    bool IsPlaceholder(const std::u16string&) override { return everythingIsAPlaceholder_; }
    std::vector<std::u16string> ListAllEntries(const std::u16string&) override { return {}; }
    std::uint64_t GetFrnByPath(const std::u16string&) override { return 0; }
    std::uint32_t AttributesOrAllOnes(const std::u16string&) override { return 0xFFFFFFFF; }

private:
    std::u16string listenPath_ = u"C:\\Sync";
    bool everythingIsAPlaceholder_;
};

// A context with everything that it refers to.
struct OwnedContext {
    explicit OwnedContext(const records::TemporaryFileRules& rules, bool everythingIsAPlaceholder = false)
        : world(everythingIsAPlaceholder), context{rules, world, delayRecords, temporaryFiles, stop} {}

    EmptyWorld world;
    records::FileChangeInfoList delayRecords;
    records::TemporaryFileList temporaryFiles;
    std::atomic<bool> stop = false;
    records::StepContext context;
};

// What the given step gets to see of a batch: the result of the steps before it.
records::PipelineBatch BeforeStep(std::size_t step, records::UsnRecordList batch,
                                  const records::TemporaryFileRules& rules);

}  // namespace tavi::bench
