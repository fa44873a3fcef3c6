// The dumps, piece by piece as the sync log takes them, against one pass that inserts every name into a hash map.
#include "batches.h"
#include "imports/sync_panel_log.h"
#include "ratio_table.h"
#include "records/dumps/record_dumps.h"

namespace {

using namespace tavi::records;

void DumpChanges(const FileChangeInfoList& changes, DumpPaths paths, std::size_t pieceBytes, const DumpSink& sink) {
    DumpFileChangeRecords(changes, paths, pieceBytes, sink);
}

template <typename Dump, typename List>
std::size_t DumpedBytes(Dump dump, const List& records) {
    std::size_t bytes = 0;
    dump(records, DumpPaths::kObscured, Drive::kLargestSyncLogEntry,
         [&bytes](std::string_view piece) { bytes += piece.size(); });
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
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
    table.Measure("raw dump", nothing, [&](int) { return DumpedBytes(DumpUsnRecords, usnRecords); });
    table.Measure("processed dump", nothing, [&](int) { return DumpedBytes(DumpChanges, changes); });
    table.AtMost("raw dump", "names into a hash map", 1.5);
    table.AtMost("processed dump", "names into a hash map", 1.5);
    return table.Run(argc, argv);
}
