// From journal reasons to kinds of change.
#pragma once

#include "records/model/change_record.h"
#include "records/model/step_record.h"
#include "records/names/temporary_file_rules.h"

namespace tavi::records {

// Appends what the batch means to `output`, in order. "The output so far", which the rename rule consults, is what this
// call has appended: records that were there before do not count.
void AppendConverted(UsnRecordList records, const TemporaryFileRules& rules, StepRecordList& output);

// The same into a new list, with room for as many results as there are input records.
StepRecordList DataFormatConversion(UsnRecordList records, const TemporaryFileRules& rules);

}  // namespace tavi::records
