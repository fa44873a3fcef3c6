// The processing cycle as the listen thread sees it: built for one task, initialised once, then run again and again. An
// interface, because what the listen thread does about failures can be shown best with cycles that fail on request.
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

    virtual bool Init() = 0;
    virtual bool RunOnce() = 0;             // false when the batch could not be stored
    virtual bool positionLost() const = 0;  // the journal refused the position, and then the query
};

using ListenCycleFactory = std::function<std::unique_ptr<ListenCycle>(const records::FileChangeRecord::Task& task)>;

// Cycles on the real change record; `abandonBatch` is suppressStoppedReport. Everything outlives the cycles made.
ListenCycleFactory MakeListenCycleFactory(platform::Platform& platform, db::SqLite3Operator& database,
                                          const std::atomic<bool>& abandonBatch);

}  // namespace tavi::listen
