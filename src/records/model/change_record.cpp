#include "records/model/change_record.h"

#include <array>
#include <cstddef>
#include <ostream>

#include "imports/type_convert.h"

namespace tavi::records {

std::string_view ReasonName(FileChangeReason reason) {
    static constexpr std::array<std::string_view, 9> kNames = {
        "UNKNOWN", "", "CREATE", "DELETE", "MODIFY", "MOVE", "RENAME", "RENAME_OLD_NAME", "RENAME_NEW_NAME"};
    const auto value = static_cast<std::int32_t>(reason);
    return value >= -1 && value <= 7 ? kNames[static_cast<std::size_t>(value + 1)] : std::string_view{};
}

void PrintTo(const UsnRecord& record, std::ostream* out) {
    *out << "{usn " << record.usn << " reason 0x" << std::hex << record.reason << " attributes 0x"
         << record.fileAttributes << std::dec << " time " << record.timestamp << " name \""
         << TypeConvert::UnicodeToUTF8(record.filename) << "\" frn " << record.frn << " oldfrn " << record.oldfrn
         << "}";
}

void PrintTo(const FileChangeInfo& record, std::ostream* out) {
    *out << "{" << ReasonName(record.reason) << "(" << static_cast<std::int32_t>(record.reason) << ") \""
         << TypeConvert::UnicodeToUTF8(record.fileName) << "\" from \""
         << TypeConvert::UnicodeToUTF8(record.originalFileName) << "\" attributes 0x" << std::hex
         << record.fileAttributes << std::dec << (record.isTempFile ? " temporary" : "") << " delayed "
         << record.delayCount << " time " << record.timestamp << " frn " << record.frn << " oldfrn " << record.oldfrn
         << "}";
}

void PrintTo(const TemporaryFile& record, std::ostream* out) {
    *out << "{\"" << TypeConvert::UnicodeToUTF8(record.filePath) << "\" attributes 0x" << std::hex
         << record.fileAttributes << std::dec << " handled " << record.isHandle << "}";
}

}  // namespace tavi::records
