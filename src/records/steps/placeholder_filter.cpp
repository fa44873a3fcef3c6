// The placeholder filter
//
// A cloud provider keeps placeholders in the folder: files whose data is elsewhere. When it creates one, fills one with
// its data or takes the data away again, the journal records changes that no user made. This step drops them.
//
// The rule, from the first record on:
//   1. Five records with exactly the reasons of kPlaceholderReleasePattern, one behind the other: the data of a
//      placeholder was given back. All five are dropped.
//   2. A record whose reason is exactly kPlaceholderCreated or kPlaceholderCreatedWithData is dropped.
//   3. A record whose reason is exactly kHydrationFirst begins the filling of a placeholder when the seventh record
//      behind it has exactly the reason kHydrationLast, is called "~Nuvexa_....tmp", and that name contains the first
//      record's. The provider fills a file through a temporary file named after it. All eight records are dropped.
//   4. Every other record is kept. Its oldfrn becomes all ones; nothing else of it changes.
//
// Reasons are compared as whole values: a record that also says something else is a change that a user may have made,
// so 0x80100106 is kept where 0x80100102 is dropped.
//
//   80000000 a, 00008000 a, 00108000 a, 00108001 a, 80108001 a   -> nothing
//   80000000 a, 00008000 a, 00108000 a, 00108001 a               -> the same four: the pattern is not complete
//
// Odd on purpose: a release is recognised by its reasons alone, although its records may name different files; of a
// filling only the first and the last record are looked at, whatever the six between them say. A pattern that a batch
// cuts in two is not recognised.
//
// Names are looked at by their last component. tests/unit/records/steps/reference/placeholder_filter.cpp is the rule
// without the moving of records within the list.
#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// Close; basic-info change; with reparse-point change; with data overwrite; the same closed.
constexpr std::array<std::uint32_t, 5> kPlaceholderReleasePattern = {0x80000000, 0x8000, 0x108000, 0x108001,
                                                                     0x80108001};

// Close, reparse-point change and create; with data extend too.
constexpr std::uint32_t kPlaceholderCreated = 0x80100100;
constexpr std::uint32_t kPlaceholderCreatedWithData = 0x80100102;

constexpr std::size_t kHydrationLength = 8;
constexpr std::uint32_t kHydrationFirst = 0x100000;   // reparse-point change of the placeholder
constexpr std::uint32_t kHydrationLast = 0x80000200;  // the temporary file is deleted and closed

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

// How many records, from the first on, are to be dropped together; 0 when the first is to be kept.
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
