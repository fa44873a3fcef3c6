#include "lives/reference.h"

#include <algorithm>
#include <atomic>

#include "records/cycle/batch_split.h"
#include "records/cycle/file_change_record.h"
#include "records/names/temporary_file_rules.h"
#include "records/steps/step_pipeline.h"

namespace tavi::lives {

namespace {

class Tracer final : public records::PipelineObserver {
public:
    explicit Tracer(std::vector<StepTrace>& steps) : steps_(steps) {}

    void OnUsnRecords(std::string_view label, const records::UsnRecordList& list) override {
        StepTrace& step = steps_.emplace_back();
        step.label = label;
        for (const records::UsnRecord& record : list) {
            records::FileChangeInfo& change = step.list.emplace_back();
            change.fileName = record.filename;
            change.frn = record.frn;
            change.timestamp = record.timestamp;
            change.fileAttributes = record.reason;  // a raw record's kind
            change.reason = records::FileChangeReason::kUnknown;
        }
    }
    void OnChanges(std::string_view label, const records::StepRecordList& list) override {
        StepTrace& step = steps_.emplace_back();
        step.label = label;
        for (const auto& record : list) {
            step.list.push_back(record);
        }
    }

private:
    std::vector<StepTrace>& steps_;
};

// Nothing can be asked any more.
class PastWorld final : public records::StepWorld {
public:
    const std::u16string& ListenPath() const override { return path_; }
    bool IsPlaceholder(const std::u16string&) override { return false; }
    std::vector<std::u16string> ListAllEntries(const std::u16string&) override { return {}; }
    std::uint64_t GetFrnByPath(const std::u16string&) override { return 0; }
    std::uint32_t AttributesOrAllOnes(const std::u16string&) override { return ~0U; }

private:
    std::u16string path_;
};

}  // namespace

std::int64_t Reference::Normalise(const std::vector<std::int64_t>& inside, std::int64_t position) {
    const auto next = std::lower_bound(inside.begin(), inside.end(), position);
    return next == inside.end() ? kEnd : *next;
}

Reference RunReference(World& world, const Stretch& stretch, std::int64_t until, std::uint32_t intervalSeconds,
                       const std::vector<std::int64_t>& inside, std::size_t number) {
    Reference reference;
    const std::u16string directory =
        u"C:\\ProgramData\\Reference" + std::u16string(1, static_cast<char16_t>(u'a' + number));
    const std::u16string path = directory + u"\\ListenService.dat";
    world.machine().files().WriteText(directory + u"\\beside.txt", "");
    const std::filesystem::path file = world.machine().files().HostPath(path);
    if (!CopyToFile(stretch.base.get(), file)) {
        return reference;
    }
    const Database reader = OpenDatabase(file);
    const auto note = [&] {
        if (const auto image = Look(reader.get())) {
            const std::int64_t position = Reference::Normalise(inside, image->position);
            reference.states[position].insert(image->Contents());
            reference.statesWithoutOldNumbers[position].insert(image->ContentsWithoutOldNumbers());
            reference.heldOneNameTwice = reference.heldOneNameTwice || image->HoldsOneNameTwice();
        }
    };
    const auto begin = Look(reader.get());
    if (!begin) {
        return reference;
    }
    note();
    db::SqLite3Operator database(world.platform());
    database.InitSqLiteDb(path);
    const std::atomic<bool> abandon{false};
    records::FileChangeRecord cycle(
        world.platform(), database,
        {world.UserId(stretch.user), kFolders[stretch.folder], begin->position, intervalSeconds * 1000}, abandon,
        records::FileChangeRecord::CurrentService::kPresent);
    if (cycle.Init() != 1) {
        return reference;
    }
    constexpr std::size_t kMostCycles = 5000;  // whoever needs more is going in circles
    const bool toTheEnd = until == world.journalNext();
    for (bool atEnd = false; !atEnd && reference.batches.size() < kMostCycles;) {
        atEnd = cycle.startUsn() >= until;
        if (atEnd && !toTheEnd) {
            break;
        }
        // At the end one more cycle, with nothing but what was held back.
        std::vector<StepTrace>& steps = reference.batches.emplace_back();
        Tracer tracer(steps);
        const auto result = cycle.RunSteps(cycle.GatherBatch(), &tracer);
        if (!result || !cycle.Store(*result)) {
            return reference;
        }
        note();
    }
    reference.ran = cycle.startUsn() >= until;
    return reference;
}

Batches TraceAsItHappened(const Truth& truth, const Stretch& stretch, std::uint32_t intervalSeconds) {
    const std::u16string_view folder = kFolders[stretch.folder];
    records::UsnRecordList rest;
    for (const TrueRecord& record : truth.RecordsInside(folder, stretch.position)) {
        rest.push_back({record.usn, record.reason, record.attributes, record.timestamp,
                        Truth::RelativePath(record, folder), record.frn, -1});
    }
    static const records::TemporaryFileRules rules;
    PastWorld world;
    records::FileChangeInfoList delayed;
    records::TemporaryFileList temporaries;
    const std::atomic<bool> stop{false};
    records::StepContext context{rules, world, delayed, temporaries, stop};
    Batches batches;
    while (!rest.empty()) {
        const auto end =
            rest.begin() + static_cast<std::ptrdiff_t>(records::CountBeforeGap(rest, 0, intervalSeconds * 1000));
        records::PipelineBatch batch{{rest.begin(), end}, {}};
        rest.erase(rest.begin(), end);
        Tracer tracer(batches.emplace_back());
        records::RunPipeline(batch, context, tracer);
    }
    return batches;
}

}  // namespace tavi::lives
