// The listening task that is running, as others may see it: set by the listen thread when its cycle is initialised,
// cleared when it ends, read by the IPC thread. A reader gets a share of the record, which therefore lives for as long
// as the reader looks at it.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "db/sqlite3_operator.h"

namespace tavi::listen {

// What to listen to, and from which position: the user row is the record.
using ListenTaskRecord = db::UserRecord;

class CurrentListenTask {
public:
    void Set(std::shared_ptr<const ListenTaskRecord> task) {
        const std::scoped_lock lock(mutex_);
        task_ = std::move(task);
    }
    void Clear() { Set(nullptr); }
    std::shared_ptr<const ListenTaskRecord> Get() const {
        const std::scoped_lock lock(mutex_);
        return task_;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const ListenTaskRecord> task_;  // guarded by mutex_
};

}  // namespace tavi::listen
