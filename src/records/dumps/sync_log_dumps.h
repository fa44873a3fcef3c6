// The dumps of a batch's lists in the sync log. A list goes out in pieces of the size of the log's entries, so that its
// dump never stands in memory as a whole. A log is never worth a change: what finds no memory is left out, with a line
// in the error log, and the batch goes on. Listen thread.
#pragma once

#include <string_view>

#include "records/model/change_record.h"
#include "records/model/step_record.h"

namespace tavi::records {

// Nothing is written for an empty list. Throws nothing.
void WriteDump(std::string_view category, std::string_view label, const UsnRecordList& records) noexcept;
void WriteDump(std::string_view category, std::string_view label, const StepRecordList& records) noexcept;
void WriteDump(std::string_view category, std::string_view label, const FileChangeInfoList& records) noexcept;

}  // namespace tavi::records
