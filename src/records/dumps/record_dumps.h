// The tab-separated dumps of both record types: UTF-8, a header line and a line per record. An empty list has no dump.
// The records are not changed. Paths are obscured unless asked for in clear (the replay tool).
//
// A dump of many records is long, so it can be had in pieces, of which one stands in memory at a time. No function
// keeps anything between calls. Any thread. They throw std::bad_alloc, and what the sink throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "records/model/change_record.h"
#include "records/model/step_record.h"

namespace tavi::records {

enum class DumpPaths { kObscured, kClear };

// Is given the pieces in order; each is valid during the call. A piece is as many whole lines as fit `pieceBytes`, and
// one line at least.
using DumpSink = std::function<void(std::string_view piece)>;
void DumpUsnRecords(const UsnRecordList& records, DumpPaths paths, std::size_t pieceBytes, const DumpSink& sink);
void DumpFileChangeRecords(const FileChangeInfoList& records, DumpPaths paths, std::size_t pieceBytes,
                           const DumpSink& sink);
void DumpFileChangeRecords(const StepRecordList& records, DumpPaths paths, std::size_t pieceBytes,
                           const DumpSink& sink);

// The whole dump as one text.
std::string FormatUsnRecords(const UsnRecordList& records, DumpPaths paths = DumpPaths::kObscured);
std::string FormatFileChangeRecords(const FileChangeInfoList& records, DumpPaths paths = DumpPaths::kObscured);
std::string FormatFileChangeRecords(const StepRecordList& records, DumpPaths paths = DumpPaths::kObscured);

// The names of the set bits from bit 0 upward, joined by ", ".
std::string FormatReasonFlags(std::uint32_t reason);

}  // namespace tavi::records
