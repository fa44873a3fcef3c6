#include "unit/records/steps/pipeline_run.h"

#include <atomic>
#include <ostream>
#include <sstream>
#include <utility>

namespace tavi::reference {
namespace {

const records::TemporaryFileRules& Rules() {
    static const records::TemporaryFileRules rules;
    return rules;
}

class Collector : public records::PipelineObserver {
public:
    explicit Collector(Outcome& outcome) : outcome_(outcome) {}

    void OnUsnRecords(std::string_view, const records::UsnRecordList& list) override {
        outcome_.steps.emplace_back(list);
    }
    void OnChanges(std::string_view, const records::StepRecordList& list) override {
        outcome_.steps.emplace_back(FileChangeInfoList(list.begin(), list.end()));
    }

private:
    Outcome& outcome_;
};

template <typename List>
void Print(const char* title, const List& list, std::ostream& out) {
    out << title << '\n';
    for (const auto& record : list) {
        out << "  ";
        PrintTo(record, &out);
        out << '\n';
    }
}

template <typename Record>
bool RemoveOne(replay::Batch& batch, std::vector<Record> replay::Batch::*field) {
    for (std::size_t i = 0; i < (batch.*field).size(); ++i) {
        replay::Batch smaller = batch;
        (smaller.*field).erase((smaller.*field).begin() + static_cast<std::ptrdiff_t>(i));
        if (Difference(RunProduct(smaller), RunReference(smaller))) {
            batch = std::move(smaller);
            return true;
        }
    }
    return false;
}

}  // namespace

Outcome RunProduct(const replay::Batch& batch, std::size_t stepCount) {
    Outcome outcome;
    outcome.delay = batch.delay;
    replay::TableWorld world(batch.world);
    const std::atomic<bool> stop{false};
    records::StepContext context{Rules(), world, outcome.delay, outcome.temporaryFiles, stop};
    records::PipelineBatch pipelineBatch{batch.records, {}};
    Collector collector(outcome);
    records::RunPipeline(pipelineBatch, context, collector, stepCount);
    return outcome;
}

Outcome RunReference(const replay::Batch& batch) {
    World world;
    world.placeholders.insert(batch.world.placeholders.begin(), batch.world.placeholders.end());
    for (const auto& [directory, entries] : batch.world.tree) {
        for (const replay::TableEntry& entry : entries) {
            world.tree[directory].push_back({entry.name, entry.attributes, entry.frn});
        }
    }
    return RunAll(batch.records, batch.delay, world);
}

std::optional<std::string> Difference(const Outcome& product, const Outcome& expected) {
    std::ostringstream out;
    for (std::size_t i = 0; i < expected.steps.size(); ++i) {
        if (i < product.steps.size() && product.steps[i] == expected.steps[i]) {
            continue;
        }
        out << "step " << i << ": " << records::kPipeline[i].label << '\n';
        std::visit([&out](const auto& list) { Print("expected", list, out); }, expected.steps[i]);
        if (i < product.steps.size()) {
            std::visit([&out](const auto& list) { Print("got", list, out); }, product.steps[i]);
        }
        return out.str();
    }
    if (product.delay != expected.delay) {
        Print("expected to be held back", expected.delay, out);
        Print("got", product.delay, out);
        return out.str();
    }
    if (product.temporaryFiles != expected.temporaryFiles) {
        Print("expected as temporary files", expected.temporaryFiles, out);
        Print("got", product.temporaryFiles, out);
        return out.str();
    }
    return std::nullopt;
}

replay::Batch Shrink(replay::Batch batch) {
    while (RemoveOne(batch, &replay::Batch::delay) || RemoveOne(batch, &replay::Batch::records)) {
    }
    return batch;
}

}  // namespace tavi::reference
