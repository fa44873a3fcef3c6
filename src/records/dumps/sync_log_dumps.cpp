#include "records/dumps/sync_log_dumps.h"

#include <exception>

#include "imports/sync_panel_log.h"
#include "records/dumps/record_dumps.h"

namespace tavi::records {
namespace {

using Drive::SyncPanelLog;

// `dump` gives the pieces to the sink that it is given.
template <typename Dump>
void Write(std::string_view category, std::string_view label, Dump dump) noexcept {
    try {
        dump([&](std::string_view piece) { SyncPanelLog::WriteSyncLog(category, label, piece); });
    } catch (const std::exception&) {
        // Nothing that needs memory: the label tells which dump it was.
        SyncPanelLog::WriteErrorLog("SyncLogDumps", label, "No memory for this dump, it is left out");
    }
}

}  // namespace

void WriteDump(std::string_view category, std::string_view label, const UsnRecordList& records) noexcept {
    Write(category, label, [&](const DumpSink& sink) {
        DumpUsnRecords(records, DumpPaths::kObscured, Drive::kLargestSyncLogEntry, sink);
    });
}

void WriteDump(std::string_view category, std::string_view label, const StepRecordList& records) noexcept {
    Write(category, label, [&](const DumpSink& sink) {
        DumpFileChangeRecords(records, DumpPaths::kObscured, Drive::kLargestSyncLogEntry, sink);
    });
}

void WriteDump(std::string_view category, std::string_view label, const FileChangeInfoList& records) noexcept {
    Write(category, label, [&](const DumpSink& sink) {
        DumpFileChangeRecords(records, DumpPaths::kObscured, Drive::kLargestSyncLogEntry, sink);
    });
}

}  // namespace tavi::records
