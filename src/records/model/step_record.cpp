#include "records/model/step_record.h"

#include <ostream>
#include <utility>

namespace tavi::records {

void RemoveMarked(StepRecordList& records, const std::vector<bool>& marked) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (marked[i]) {
            continue;
        }
        if (kept != i) {
            records[kept] = std::move(records[i]);
        }
        ++kept;
    }
    records.resize(kept);
}

FileChangeInfoList TakeFileChangeInfos(StepRecordList&& records) {
    FileChangeInfoList changes;
    changes.reserve(records.size());
    for (StepRecord& record : records) {
        changes.push_back(std::move(record));
    }
    records = {};
    return changes;
}

void PrintTo(const StepRecord& record, std::ostream* out) {
    const auto print = [out](const char* title, const NameClass& nameClass) {
        *out << title << (nameClass.temporary ? "T" : "-") << (nameClass.lock ? "L" : "-")
             << (nameClass.specialLowered ? "s" : "-") << (nameClass.hydration ? "H" : "-");
    };
    PrintTo(static_cast<const FileChangeInfo&>(record), out);
    print(" class ", record.nameClass);
    print(" original ", record.originalNameClass);
}

}  // namespace tavi::records
