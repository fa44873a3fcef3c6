#include "records/cycle/batch_split.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace tavi::records {
namespace {

struct SplitRow {
    const char* what;
    std::vector<std::int64_t> timestamps;
    std::int64_t lastTimestamp;
    std::uint32_t interval;
    std::size_t taken;
};

TEST(CountBeforeGap, FollowsTheTimeBetweenConsecutiveRecords) {
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    const SplitRow rows[] = {
        {"nothing", {}, 0, 1000, 0},
        {"first record of a batch is always taken", {5'000'000}, 0, 0, 1},
        {"exactly the interval", {1000, 2000, 3000}, 0, 1000, 3},
        {"one more than the interval", {1000, 2000, 3001}, 0, 1000, 2},
        {"gap to the batch's last record", {3001, 3002}, 2000, 1000, 0},
        {"no gap to the batch's last record", {3000, 3001}, 2000, 1000, 2},
        {"earlier than its predecessor", {2000, 1999, 2001}, 0, 1000, 1},
        {"earlier than the batch's last record", {1999}, 2000, 1000, 0},
        {"equal times", {2000, 2000, 2000}, 2000, 0, 3},
        {"interval 0 splits at every step", {2000, 2001}, 2000, 0, 1},
        {"a last time of 0 is no time", {5'000'000}, 0, 10, 1},
        {"a time of 0 within the batch lets anything follow", {0, 5'000'000, 5'000'001}, 0, 10, 3},
        {"back to 0 is earlier", {0}, 1000, 10, 0},
        {"negative times", {-5, -4}, -6, 1, 2},
        {"from negative to 0", {0, 9000}, -1, 1, 2},
        {"across the whole range", {std::numeric_limits<std::int64_t>::max()}, kSmallest, 4'000'000'000, 0},
        {"wraps around the range", {kSmallest}, std::numeric_limits<std::int64_t>::max(), 1, 1},
    };
    for (const SplitRow& row : rows) {
        std::vector<UsnRecord> records(row.timestamps.size());
        for (std::size_t i = 0; i < records.size(); ++i) {
            records[i].timestamp = row.timestamps[i];
        }
        EXPECT_EQ(CountBeforeGap(records, row.lastTimestamp, row.interval), row.taken) << row.what;
    }
}

}  // namespace
}  // namespace tavi::records
