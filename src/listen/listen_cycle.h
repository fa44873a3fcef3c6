// The processing cycle as the listen thread sees it: built for one task, initialised once, then run again and again. An
// interface, so that tests can show what the listen thread does about cycles that fail.
//
// Thread: the listen thread builds a cycle, calls it and destroys it. Owner: the thread owns the cycle; what the cycle
// works on (platform, database, flag) outlives it. Failure: a false result, logged by the cycle itself. Out of memory
// may throw.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "db/sqlite3_operator.h"
#include "platform/platform.h"
#include "records/cycle/file_change_record.h"

namespace tavi::listen {

class ListenCycle {
public:
    virtual ~ListenCycle() = default;

    // Once, before anything else. After a failure the cycle may only be destroyed.
    virtual bool Init() = 0;
    // False when the batch could not be stored: position and held-back records are as before, and the next call reads
    // the same records again.
    virtual bool RunOnce() = 0;
    // After RunOnce: whether the journal refused the position, and then the query as well.
    virtual bool positionLost() const = 0;
};

using ListenCycleFactory = std::function<std::unique_ptr<ListenCycle>(const records::FileChangeRecord::Task& task)>;

// Cycles on the real change record; `abandonBatch` is suppressStoppedReport. Everything outlives the cycles made.
ListenCycleFactory MakeListenCycleFactory(platform::Platform& platform, db::SqLite3Operator& database,
                                          const std::atomic<bool>& abandonBatch);

}  // namespace tavi::listen
