// The conversion and the filtering steps on 100,000 records, ordinary and hostile: against one pass that inserts every
// name into a hash map, and against themselves on 10,000 records.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "batches.h"
#include "ratio_table.h"

namespace {

using namespace tavi::bench;
using namespace tavi::records;

constexpr std::size_t kMany = 100'000;
constexpr std::size_t kFew = 10'000;

UsnRecord Usn(std::uint32_t reason, std::u16string name, std::uint64_t frn, std::uint32_t attributes = 0x20) {
    UsnRecord record;
    record.reason = reason;
    record.filename = std::move(name);
    record.frn = frn;
    record.fileAttributes = attributes;
    return record;
}

std::u16string Numbered(std::size_t number, std::u16string_view extension) {
    const std::string digits = std::to_string(number);
    return std::u16string(digits.begin(), digits.end()).append(extension);
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

PipelineBatch Changes(std::size_t count, const TemporaryFileRules& rules,
                      const std::function<FileChangeInfo(std::size_t)>& make) {
    PipelineBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        batch.changes.push_back(rules.ToStepRecord(make(i)));
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

struct Subject {
    std::string name;
    std::size_t step;
    PipelineBatch (*hostile)(std::size_t count, const TemporaryFileRules& rules);
};

std::vector<std::u16string> NamesOf(const PipelineBatch& batch) {
    std::vector<std::u16string> names;
    for (const UsnRecord& record : batch.usnRecords) {
        names.push_back(record.filename);
    }
    for (const StepRecord& record : batch.changes) {
        names.push_back(record.fileName);
    }
    return names;
}

void Measure(RatioTable& table, const TemporaryFileRules& rules, const Subject& subject, const std::string& kind,
             const std::function<PipelineBatch(std::size_t)>& make) {
    const auto run = [&rules, step = subject.step](PipelineBatch batch) {
        OwnedContext owned(rules, true);
        kPipeline[step].run(batch, owned.context);
        return batch;
    };
    const std::string name = subject.name + ", " + kind;
    const PipelineBatch many = make(kMany);
    const PipelineBatch few = make(kFew);
    table.Measure(
        name, [many] { return many; }, run);
    table.Measure(
        name + ", 10,000", [few] { return few; }, run);
    table.AtMost(name, "names into a hash map", 25);
    table.AtMost(name, name + ", 10,000", 25);
}

}  // namespace

int main(int argc, char** argv) {
    const TemporaryFileRules rules;
    const Subject subjects[] = {
        {"placeholder filter", 1, AlmostPlaceholders},
        {"hidden-attribute correction", 2, HiddenOverAndOver},
        {"conversion", 3, RenameHalves},
        {"temporary-file filter", 4, HiddenPlaceholders},
        {"special-file deletion check", 6, DeletionsOverAndOver},
        {"special-file rename check", 8, MatlabRenames},
    };
    const UsnRecordList ordinaryMany = OrdinaryBatch(kMany);
    const UsnRecordList ordinaryFew = OrdinaryBatch(kFew);
    const std::vector<std::u16string> names = NamesOf({ordinaryMany, {}});

    RatioTable table;
    table.Measure(
        "names into a hash map", [] { return 0; }, [&](int) { return InsertNames(names); });
    for (const Subject& subject : subjects) {
        Measure(table, rules, subject, "ordinary", [&](std::size_t count) {
            return BeforeStep(subject.step, count == kMany ? ordinaryMany : ordinaryFew, rules);
        });
        Measure(table, rules, subject, "hostile", [&](std::size_t count) { return subject.hostile(count, rules); });
    }
    return table.Run(argc, argv);
}
