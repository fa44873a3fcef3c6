// Removal from the middle of a list, all at once: what stays keeps its order and is moved, never copied.
#pragma once

#include <cstddef>
#include <utility>

#include "records/model/step_record.h"

namespace tavi::records {

// `stays` is asked once for every place, in order.
template <typename Stays>
void KeepPlaces(StepRecordList& records, const Stays& stays) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!stays(i)) {
            continue;
        }
        if (kept != i) {
            records[kept] = std::move(records[i]);
        }
        ++kept;
    }
    records.resize(kept);
}

}  // namespace tavi::records
