#include "imports/sync_panel_log.h"
#include "records/dumps/batch_dumps.h"
#include "records/cycle/file_change_record.h"
#include "records/steps/step_pipeline.h"

namespace tavi::records {
namespace {

using Drive::SyncPanelLog;

// Dumps every step's list to the sync log, unless it is empty.
class SyncLogObserver : public PipelineObserver {
public:
    SyncLogObserver(BatchDumps& dumps, PipelineObserver* next) : dumps_(dumps), next_(next) {}

    void OnUsnRecords(std::string_view label, const UsnRecordList& records) override {
        if (!records.empty()) {
            SyncPanelLog::WriteSyncLog("WriteUSNLog", label, dumps_.Format(records));
        }
        if (next_ != nullptr) {
            next_->OnUsnRecords(label, records);
        }
    }
    void OnChanges(std::string_view label, const StepRecordList& records) override {
        if (!records.empty()) {
            SyncPanelLog::WriteSyncLog("WriteUSNLog", label, dumps_.Format(records));
        }
        if (next_ != nullptr) {
            next_->OnChanges(label, records);
        }
    }

private:
    BatchDumps& dumps_;
    PipelineObserver* next_;
};

}  // namespace

std::optional<FileChangeRecord::CycleResult> FileChangeRecord::RunSteps(UsnRecordList batch,
                                                                        PipelineObserver* observer) {
    if (!rules_) {
        rules_.emplace();
    }
    CycleResult result;
    PipelineBatch pipelineBatch{std::move(batch), {}};
    StepContext context{*rules_, world_, delayRecords_, result.temporaryFiles, abandonBatch_};
    BatchDumps dumps;
    SyncLogObserver logging(dumps, observer);
    if (RunPipeline(pipelineBatch, context, logging) == PipelineResult::kAbandoned) {
        return std::nullopt;
    }
    result.changes = TakeFileChangeInfos(std::move(pipelineBatch.changes));
    if (!result.changes.empty()) {
        SyncPanelLog::WriteSyncLog("WriteChangeJournal", "record", dumps.Format(result.changes));
    }
    return result;
}

}  // namespace tavi::records
