#include "records/cycle/file_change_record.h"
#include "records/dumps/sync_log_dumps.h"
#include "records/steps/step_pipeline.h"

namespace tavi::records {
namespace {

// Dumps every step's list to the sync log.
class SyncLogObserver : public PipelineObserver {
public:
    explicit SyncLogObserver(PipelineObserver* next) : next_(next) {}

    void OnUsnRecords(std::string_view label, const UsnRecordList& records) override {
        WriteDump("WriteUSNLog", label, records);
        if (next_ != nullptr) {
            next_->OnUsnRecords(label, records);
        }
    }
    void OnChanges(std::string_view label, const StepRecordList& records) override {
        WriteDump("WriteUSNLog", label, records);
        if (next_ != nullptr) {
            next_->OnChanges(label, records);
        }
    }

private:
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
    SyncLogObserver logging(observer);
    if (RunPipeline(pipelineBatch, context, logging) == PipelineResult::kAbandoned) {
        return std::nullopt;
    }
    result.changes = TakeFileChangeInfos(std::move(pipelineBatch.changes));
    WriteDump("WriteChangeJournal", "record", result.changes);
    return result;
}

}  // namespace tavi::records
