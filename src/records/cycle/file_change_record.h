// The processing cycle of one listening task: gathers a batch of journal records that belong together in time, runs the
// steps on it and stores the result with the new position in one transaction.
//
// It alone keeps the position in the journal, and it owns the path mapping, the held-back records and the access to the
// journal. Owned and used by the listen thread only; the stop signal is another thread's. A failure is logged and shows
// as 0. Whatever ends a cycle early (a stop, a database that takes nothing, an exception) leaves position and held-back
// records as they were before it, so that the next one delivers the same records.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "db/sqlite3_operator.h"
#include "journal/path_mapping.h"
#include "journal/volume_journal.h"
#include "platform/platform.h"
#include "records/cycle/system_step_world.h"
#include "records/model/change_record.h"
#include "records/names/temporary_file_rules.h"
#include "records/steps/step_pipeline.h"

namespace tavi::records {

class FileChangeRecord {
public:
    struct Task {
        std::u16string userId;
        std::u16string listenPath;
        platform::Usn startUsn = 0;
        std::uint32_t splitIntervalMs = 0;
    };
    // Whether there is a current service: without one, Init loads nothing from the database.
    enum class CurrentService { kNone, kPresent };

    // `abandonBatch` is suppressStoppedReport: read between the steps, never written here.
    FileChangeRecord(platform::Platform& platform, db::SqLite3Operator& database, Task task,
                     const std::atomic<bool>& abandonBatch, CurrentService service);

    int Init();                   // 1 when volume, journal query and read buffer succeeded, else 0
    int GetAndHandleUSNRecord();  // one cycle; 0 when the database write failed after all attempts, else 1

    const journal::VolumeJournal& journal() const { return journal_; }
    // The position: where the next read begins.
    platform::Usn startUsn() const { return startUsn_; }
    // Null before Init has loaded it.
    journal::PathMapping* pathMapping() { return pathMapping_.get(); }

    // The cycle's three stages, for whoever wants to look at them one by one.
    struct CycleResult {
        FileChangeInfoList changes;
        TemporaryFileList temporaryFiles;
    };
    UsnRecordList GatherBatch();
    // Nothing when the batch was abandoned. What the steps hold back goes to the delay records. The observer, if any,
    // sees every step's list besides the sync log.
    std::optional<CycleResult> RunSteps(UsnRecordList batch, PipelineObserver* observer = nullptr);
    bool Store(const CycleResult& result);
    const FileChangeInfoList& delayRecords() const { return delayRecords_; }

private:
    enum class Outcome { kStored, kAbandoned, kFailed };
    class StateBeforeCycle;

    bool Abandoned() const { return abandonBatch_.load(); }
    bool OpenJournal();
    void LoadFromDatabase();
    void EnsureListenPathExists();
    UsnRecordList Read();
    UsnRecordList ReadOrWait();
    bool TakeUntilGap(UsnRecordList&& read, UsnRecordList& batch);
    bool DelayRecordsKnown();
    Outcome RunCycle();

    platform::Platform& platform_;
    db::SqLite3Operator& database_;
    journal::VolumeJournal journal_;
    platform::Usn startUsn_;
    std::unique_ptr<journal::PathMapping> pathMapping_;
    SystemStepWorld world_;
    std::u16string userId_;
    std::uint32_t splitIntervalMs_;
    std::optional<TemporaryFileRules> rules_;  // from Init on
    FileChangeInfoList delayRecords_;
    bool delayRecordsKnown_ = true;  // false while the table's rows could not be read
    const std::atomic<bool>& abandonBatch_;
    CurrentService service_;
};

}  // namespace tavi::records
