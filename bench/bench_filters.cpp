// The conversion and the filtering steps on 100,000 records, ordinary and hostile: against one pass that inserts every
// name into a hash map, and against themselves on 10,000 records.
#include <string>
#include <utility>

#include "step_ratios.h"

namespace {

using namespace tavi::bench;
using namespace tavi::records;

UsnRecord Usn(std::uint32_t reason, std::u16string name, std::uint64_t frn, std::uint32_t attributes = 0x20) {
    UsnRecord record;
    record.reason = reason;
    record.filename = std::move(name);
    record.frn = frn;
    record.fileAttributes = attributes;
    return record;
}

// Releases and hydrations that fail at their last record.
PipelineBatch AlmostPlaceholders(std::size_t count, const TemporaryFileRules&) {
    static constexpr std::uint32_t kReasons[] = {0x80000000, 0x8000, 0x108000, 0x108001, 0x100000, 0x100000, 0x100000};
    const std::u16string almost = std::u16string(120, u'a') + u"b";
    PipelineBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        const bool last = i % 8 == 7;
        batch.usnRecords.push_back(last ? Usn(0x80000200, u"~Nuvexa_" + std::u16string(230, u'a') + u".tmp", i)
                                        : Usn(kReasons[i % 8 % std::size(kReasons)], almost, i));
    }
    return batch;
}

// One name arrives hidden and is made visible over and over.
PipelineBatch HiddenOverAndOver(std::size_t count, const TemporaryFileRules&) {
    PipelineBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        batch.usnRecords.push_back(i % 3 == 2 ? Usn(0x8000, u"a.docx", 1) : Usn(0x2000, u"a.docx", 1, 0x22));
    }
    return batch;
}

// Rename halves that are all different, or all known already.
PipelineBatch RenameHalves(std::size_t count, const TemporaryFileRules&) {
    PipelineBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t which = i < count / 2 ? i : i % 100;
        batch.usnRecords.push_back(Usn(i % 2 == 0 ? 0x1000 : 0x2000, Numbered(which, u".txt"), which));
    }
    return batch;
}

// Hidden placeholders, each kept twice, and temporary files, each recorded.
PipelineBatch HiddenPlaceholders(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        FileChangeInfo change;
        change.fileName = Numbered(i, i % 2 == 0 ? u" picture.png" : u".db.bak");
        change.reason = FileChangeReason::kCreate;
        change.fileAttributes = i % 2 == 0 ? 0x22 : 0x20;
        change.isTempFile = i % 2 == 1;
        return change;
    });
}

// Deletions of few documents, again and again, each with a later record of its name.
PipelineBatch DeletionsOverAndOver(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        FileChangeInfo change;
        change.fileName = Numbered(i % 7, u".docx");
        change.reason = i % 11 == 0 ? FileChangeReason::kModify : FileChangeReason::kDelete;
        return change;
    });
}

// Renames away from MATLAB names, half of them with a later creation, half to be held.
PipelineBatch MatlabRenames(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [count](std::size_t i) {
        FileChangeInfo change;
        const bool creation = i >= count / 2;
        change.reason = creation ? FileChangeReason::kCreate : FileChangeReason::kRename;
        change.fileName = creation ? Numbered(i % (count / 4), u".mlx") : Numbered(i, u".tmp");
        change.originalFileName = creation ? u"" : Numbered(i, u".mlx");
        return change;
    });
}

}  // namespace

int main(int argc, char** argv) {
    const TemporaryFileRules rules;
    const struct {
        std::string name;
        std::size_t index;
        PipelineBatch (*hostile)(std::size_t count, const TemporaryFileRules& rules);
    } steps[] = {
        {"placeholder filter", 1, AlmostPlaceholders},
        {"hidden-attribute correction", 2, HiddenOverAndOver},
        {"conversion", 3, RenameHalves},
        {"temporary-file filter", 4, HiddenPlaceholders},
        {"special-file deletion check", 6, DeletionsOverAndOver},
        {"special-file rename check", 8, MatlabRenames},
    };
    RatioTable table;
    StepRatios ratios(table, rules);
    for (const auto& step : steps) {
        ratios.AddOrdinary(step.name, step.index);
        ratios.AddHostile(step.name, step.index, "hostile", step.hostile);
    }
    return table.Run(argc, argv);
}
