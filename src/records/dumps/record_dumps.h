// The tab-separated dumps of both record types for the sync log: UTF-8, a header line and a line per record, empty for
// an empty list. The records are not changed. Paths are obscured unless asked for in clear (the replay tool).
#pragma once

#include <cstdint>
#include <string>

#include "records/model/change_record.h"
#include "records/model/step_record.h"

namespace tavi::records {

enum class DumpPaths { kObscured, kClear };

std::string FormatUsnRecords(const UsnRecordList& records, DumpPaths paths = DumpPaths::kObscured);
std::string FormatFileChangeRecords(const FileChangeInfoList& records, DumpPaths paths = DumpPaths::kObscured);
std::string FormatFileChangeRecords(const StepRecordList& records, DumpPaths paths = DumpPaths::kObscured);

// The names of the set bits from bit 0 upward, joined by ", ".
std::string FormatReasonFlags(std::uint32_t reason);

}  // namespace tavi::records
