// Where a batch ends: between two consecutive records that lie further apart in time than the split interval. The
// difference is taken unsigned, so a record that is dated earlier than its predecessor ends the batch too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "records/model/change_record.h"

namespace tavi::records {

// How many of `records` still belong to the batch whose last record has the time stamp `lastTimestamp` (milliseconds;
// 0 when the batch is empty, or when its last record says so).
std::size_t CountBeforeGap(std::span<const UsnRecord> records, std::int64_t lastTimestamp,
                           std::uint32_t splitIntervalMs);

}  // namespace tavi::records
