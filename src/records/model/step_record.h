// A FileChangeInfo on its way through the steps, with the classes of its two names. They are computed when the record
// is made (conversion, delay records that flow in, moved-in entries); from then on a class travels with its name: a
// step that copies a name from one record to another copies its class too, one that empties a name empties its class.
#pragma once

#include <vector>

#include "records/model/change_record.h"
#include "records/model/name_class.h"

namespace tavi::records {

struct StepRecord : FileChangeInfo {
    NameClass nameClass;          // of fileName
    NameClass originalNameClass;  // of originalFileName

    friend bool operator==(const StepRecord&, const StepRecord&) = default;
};

using StepRecordList = std::vector<StepRecord>;

// The records without their classes; the names are moved, not copied.
FileChangeInfoList TakeFileChangeInfos(StepRecordList&& records);

// For test output.
void PrintTo(const StepRecord& record, std::ostream* out);

}  // namespace tavi::records
