#include "records/model/step_record.h"

#include <ostream>
#include <utility>

namespace tavi::records {

FileChangeInfoList TakeFileChangeInfos(StepRecordList&& records) {
    FileChangeInfoList changes;
    changes.reserve(records.size());
    for (StepRecord& record : records) {
        changes.push_back(std::move(record));
    }
    records.clear();
    return changes;
}

void PrintTo(const StepRecord& record, std::ostream* out) {
    const auto print = [out](const char* title, const NameClass& nameClass) {
        *out << title << (nameClass.temporary ? "T" : "-") << (nameClass.lock ? "L" : "-")
             << (nameClass.special ? "S" : "-") << (nameClass.specialLowered ? "s" : "-")
             << (nameClass.hydration ? "H" : "-");
    };
    PrintTo(static_cast<const FileChangeInfo&>(record), out);
    print(" class ", record.nameClass);
    print(" original ", record.originalNameClass);
}

}  // namespace tavi::records
