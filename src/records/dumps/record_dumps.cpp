#include "records/dumps/record_dumps.h"

#include "records/dumps/dump_lines.h"

namespace tavi::records {
namespace {

template <typename Records>
std::string Format(std::string_view header, const Records& records, DumpPaths paths) {
    if (records.empty()) {
        return {};
    }
    DumpLines lines(header, paths, records.size());
    for (const auto& record : records) {
        lines.Add(record);
    }
    return lines.Take();
}

}  // namespace

std::string FormatReasonFlags(std::uint32_t reason) {
    return DumpLines({}, DumpPaths::kClear, 0).Reasons(reason).Take();
}

std::string FormatUsnRecords(const UsnRecordList& records, DumpPaths paths) {
    return Format(kUsnRecordHeader, records, paths);
}

std::string FormatFileChangeRecords(const FileChangeInfoList& records, DumpPaths paths) {
    return Format(kChangeHeader, records, paths);
}

std::string FormatFileChangeRecords(const StepRecordList& records, DumpPaths paths) {
    return Format(kChangeHeader, records, paths);
}

}  // namespace tavi::records
