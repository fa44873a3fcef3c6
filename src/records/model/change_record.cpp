#include "records/model/change_record.h"

#include <array>
#include <cstddef>
#include <ostream>

namespace tavi::records {

std::string_view ReasonName(FileChangeReason reason) {
    static constexpr std::array<std::string_view, 9> kNames = {
        "UNKNOWN", "", "CREATE", "DELETE", "MODIFY", "MOVE", "RENAME", "RENAME_OLD_NAME", "RENAME_NEW_NAME"};
    const auto value = static_cast<std::int32_t>(reason);
    return value >= -1 && value <= 7 ? kNames[static_cast<std::size_t>(value + 1)] : std::string_view{};
}

// Each takes its record apart by all fields: a new one does not compile until it is printed.
void PrintTo(const UsnRecord& record, std::ostream* out) {
    const auto& [usn, reason, fileAttributes, timestamp, filename, frn, oldfrn] = record;
    *out << "{usn " << usn << " reason 0x" << std::hex << reason << " attributes 0x" << fileAttributes << std::dec
         << " time " << timestamp << " name ";
    PrintTo(filename, out);
    *out << " frn " << frn << " oldfrn " << oldfrn << "}";
}

void PrintTo(const FileChangeInfo& record, std::ostream* out) {
    const auto& [fileName, originalFileName, fileAttributes, isTempFile, reason, delayCount, timestamp, frn, oldfrn] =
        record;
    *out << "{" << ReasonName(reason) << "(" << static_cast<std::int32_t>(reason) << ") ";
    PrintTo(fileName, out);
    *out << " from ";
    PrintTo(originalFileName, out);
    *out << " attributes 0x" << std::hex << fileAttributes << std::dec << (isTempFile ? " temporary" : "")
         << " delayed " << delayCount << " time " << timestamp << " frn " << frn << " oldfrn " << oldfrn << "}";
}

void PrintTo(const TemporaryFile& record, std::ostream* out) {
    const auto& [filePath, fileAttributes, isHandle] = record;
    *out << "{";
    PrintTo(filePath, out);
    *out << " attributes 0x" << std::hex << fileAttributes << std::dec << " handled " << isHandle << "}";
}

}  // namespace tavi::records
