// The dumps against one pass that inserts every name into a hash map.
#include "batches.h"
#include "ratio_table.h"
#include "records/dumps/record_dumps.h"

int main(int argc, char** argv) {
    using namespace tavi::records;
    constexpr std::size_t kRecords = 100'000;
    const TemporaryFileRules rules;
    const UsnRecordList usnRecords = tavi::bench::OrdinaryBatch(kRecords);
    std::vector<std::u16string> names;
    FileChangeInfoList changes;
    for (const UsnRecord& record : usnRecords) {
        names.push_back(record.filename);
        FileChangeInfo change;
        change.fileName = record.filename;
        change.reason = FileChangeReason::kModify;
        change.fileAttributes = record.fileAttributes;
        change.timestamp = record.timestamp;
        change.frn = record.frn;
        changes.push_back(std::move(change));
    }
    const auto nothing = [] { return 0; };
    tavi::bench::RatioTable table;
    table.Measure("names into a hash map", nothing, [&](int) { return tavi::bench::InsertNames(names); });
    table.Measure("raw dump", nothing, [&](int) { return FormatUsnRecords(usnRecords); });
    table.Measure("processed dump", nothing, [&](int) { return FormatFileChangeRecords(changes); });
    table.AtMost("raw dump", "names into a hash map", 1.5);
    table.AtMost("processed dump", "names into a hash map", 1.5);
    return table.Run(argc, argv);
}
