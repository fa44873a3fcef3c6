#include "records/cycle/batch_split.h"

namespace tavi::records {

std::size_t CountBeforeGap(std::span<const UsnRecord> records, std::int64_t lastTimestamp,
                           std::uint32_t splitIntervalMs) {
    std::size_t count = 0;
    for (const UsnRecord& record : records) {
        const std::uint64_t elapsed =
            static_cast<std::uint64_t>(record.timestamp) - static_cast<std::uint64_t>(lastTimestamp);
        if (lastTimestamp != 0 && elapsed > splitIntervalMs) {
            break;
        }
        lastTimestamp = record.timestamp;
        ++count;
    }
    return count;
}

}  // namespace tavi::records
