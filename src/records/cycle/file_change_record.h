// The processing cycle of one listening task: gathers a batch of journal records that belong together in time, runs the
// steps on it and stores the result with the new position in one transaction. Owned and used by the listen thread only;
// the stop signal is another thread's.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "db/sqlite3_operator.h"
#include "journal/volume_journal.h"
#include "platform/platform.h"
#include "records/change_record.h"

namespace tavi::records {

class FileChangeRecord {
public:
    struct Task {
        std::u16string userId;
        std::u16string listenPath;
        std::int64_t startUsn = 0;
        std::uint32_t splitIntervalMs = 0;
    };
    // Whether there is a current service: without one, Init loads nothing from the database.
    enum class CurrentService { kNone, kPresent };

    // `abandonBatch` is suppressStoppedReport: read between the steps, never written here.
    FileChangeRecord(platform::Platform& platform, db::SqLite3Operator& database, Task task,
                     const std::atomic<bool>& abandonBatch, CurrentService service);

    int Init();                   // 1 when volume, journal query and read buffer succeeded, else 0
    int GetAndHandleUSNRecord();  // one cycle; 0 when the database write failed after all attempts, else 1

    journal::VolumeJournal& journal();
};

}  // namespace tavi::records
