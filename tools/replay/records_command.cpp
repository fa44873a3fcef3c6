#include "replay/records_command.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "records/steps/step_pipeline.h"
#include "replay/batch_json.h"
#include "replay/document_reader.h"

namespace tavi::replay {
namespace {

// Hands everything on, and shows how far a long run is.
class WatchedOutput : public records::PipelineObserver {
public:
    WatchedOutput(ResultOutput& output, Progress& progress, std::string where)
        : output_(output), progress_(progress), where_(std::move(where)) {}

    void OnUsnRecords(std::string_view label, const records::UsnRecordList& list) override {
        Show();
        output_.OnUsnRecords(label, list);
    }
    void OnChanges(std::string_view label, const records::StepRecordList& list) override {
        Show();
        output_.OnChanges(label, list);
    }

private:
    void Show() {
        progress_.Show(where_ + ", step " + std::to_string(step_++) + " of " +
                       std::to_string(records::kPipelineStepCount - 1));
    }

    ResultOutput& output_;
    Progress& progress_;
    std::string where_;
    std::size_t step_ = 0;
};

std::string Where(std::uint64_t number, std::uint64_t bytesRead) {
    return "batch " + std::to_string(number) + ", " + std::to_string(bytesRead / 1024) + " KiB read";
}

class RecordsCommand {
public:
    RecordsCommand(std::ostream& output, Form form, Progress& progress)
        : output_(MakeResultOutput(form, output)), progress_(progress) {}

    void Run(Batch batch, std::uint64_t number, const Document& document, std::uint64_t bytesRead) {
        TableWorld world(std::move(batch.world));
        records::FileChangeInfoList delay = std::move(batch.delay);
        records::TemporaryFileList temporaryFiles;
        records::StepContext context{rules_, world, delay, temporaryFiles, neverStop_};
        records::PipelineBatch pipelineBatch{std::move(batch.records), {}};
        WatchedOutput watched(*output_, progress_, Where(number, bytesRead));
        output_->Begin("Batch " + std::to_string(number) + " (line " + std::to_string(document.line) + ")");
        records::RunPipeline(pipelineBatch, context, watched);
        output_->End(records::TakeFileChangeInfos(std::move(pipelineBatch.changes)), delay, temporaryFiles);
    }

private:
    const records::TemporaryFileRules rules_;
    const std::atomic<bool> neverStop_{false};
    std::unique_ptr<ResultOutput> output_;
    Progress& progress_;
};

}  // namespace

int RunRecords(const Streams& streams, const std::string& inputName, Form form, Progress& progress) {
    const auto fail = [&](const std::string& message) {
        progress.Wipe();
        streams.output.flush();
        streams.errors << message << '\n';
        return kExitBadInput;
    };
    RecordsCommand command(streams.output, form, progress);
    DocumentReader reader(streams.input);
    Document document;
    std::uint64_t number = 0;
    while (reader.Next(document)) {
        ++number;
        progress.Show(Where(number, reader.bytesRead()));
        std::string error;
        std::optional<Batch> batch = ParseBatch(document.text, error);
        if (!batch) {
            return fail(inputName + ":" + std::to_string(document.line) + ": " + error);
        }
        command.Run(*std::move(batch), number, document, reader.bytesRead());
        if (!streams.output) {
            return fail("the output cannot be written");
        }
    }
    if (streams.input.bad()) {
        return fail(inputName + ": cannot be read");
    }
    if (number == 0) {
        return fail(inputName + ": holds no batch");
    }
    streams.output.flush();
    return streams.output ? kExitDone : fail("the output cannot be written");
}

}  // namespace tavi::replay
