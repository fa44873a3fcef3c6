#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// What the journal shows when a placeholder gives its local data back: close; basic-info change; with reparse-point
// change; with data overwrite; the same closed.
constexpr std::array<std::uint32_t, 5> kPlaceholderReleasePattern = {0x80000000, 0x8000, 0x108000, 0x108001,
                                                                     0x80108001};

// A placeholder's creation, without and with data.
constexpr std::uint32_t kPlaceholderCreated = 0x80100100;
constexpr std::uint32_t kPlaceholderCreatedWithData = 0x80100102;

// Filling a placeholder takes eight records: the first its own, the last the closing of the temporary file that the
// data came through.
constexpr std::size_t kHydrationLength = 8;
constexpr std::uint32_t kHydrationFirst = 0x100000;
constexpr std::uint32_t kHydrationLast = 0x80000200;

using Records = std::span<const UsnRecord>;

bool StartsWithRelease(Records records) {
    return records.size() >= kPlaceholderReleasePattern.size() &&
           std::ranges::equal(records.first(kPlaceholderReleasePattern.size()), kPlaceholderReleasePattern, {},
                              &UsnRecord::reason);
}

bool StartsWithHydration(Records records, const TemporaryFileRules& rules) {
    if (records.size() < kHydrationLength || records.front().reason != kHydrationFirst) {
        return false;
    }
    const UsnRecord& last = records[kHydrationLength - 1];
    return last.reason == kHydrationLast && rules.IsHydrationFileName(last.filename) &&
           LastComponent(last.filename).find(LastComponent(records.front().filename)) != std::u16string_view::npos;
}

// How many records, from the first on, are noise; 0 when the first is to be kept.
std::size_t NoiseLength(Records records, const TemporaryFileRules& rules) {
    const std::uint32_t reason = records.front().reason;
    if (StartsWithRelease(records)) {
        return kPlaceholderReleasePattern.size();
    }
    if (reason == kPlaceholderCreated || reason == kPlaceholderCreatedWithData) {
        return 1;
    }
    return StartsWithHydration(records, rules) ? kHydrationLength : 0;
}

}  // namespace

UsnRecordList FilterPlaceholders(UsnRecordList records, StepContext& context) {
    std::size_t kept = 0;
    for (std::size_t index = 0; index < records.size();) {
        if (const std::size_t noise = NoiseLength(Records(records).subspan(index), context.rules); noise != 0) {
            index += noise;
            continue;
        }
        if (kept != index) {
            records[kept] = std::move(records[index]);
        }
        records[kept++].oldfrn = -1;
        ++index;
    }
    records.resize(kept);
    return records;
}

}  // namespace tavi::records
