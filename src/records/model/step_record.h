// A FileChangeInfo on its way through the steps, with the classes of its two names. They are computed when the record
// is made (conversion, delay records that flow in, moved-in entries); from then on a class travels with its name: a
// step that copies a name from one record to another copies its class too, one that empties a name empties its class.
#pragma once

#include <vector>

#include "records/model/change_record.h"

namespace tavi::records {

// What the name rules say about one name, all at once: the answers of a single pass over it.
struct NameClass {
    bool temporary : 1 = false;       // a temporary file's name
    bool lock : 1 = false;            // a lock file's name; no step asks for it as long as its loss means nothing
    bool specialLowered : 1 = false;  // a database backup or a CAD lock file, once lower-cased
    bool hydration : 1 = false;       // the temporary file through which a placeholder is filled

    friend bool operator==(const NameClass&, const NameClass&) = default;
};

struct StepRecord : FileChangeInfo {
    NameClass nameClass;          // of fileName
    NameClass originalNameClass;  // of originalFileName

    friend bool operator==(const StepRecord&, const StepRecord&) = default;
};

using StepRecordList = std::vector<StepRecord>;

// Takes the records out whose places are marked; `marked` has one element per record. The others keep their order and
// are moved.
void RemoveMarked(StepRecordList& records, const std::vector<bool>& marked);

// The records without their classes. The list is empty afterwards.
FileChangeInfoList TakeFileChangeInfos(StepRecordList&& records);

// For test output.
void PrintTo(const StepRecord& record, std::ostream* out);

}  // namespace tavi::records
