// A journal record's time stamp as milliseconds of local time, made as the system's calls make it: FILETIME to local
// FILETIME to calendar fields, and those through the C runtime with the daylight-saving flag forced to 0. The value is
// only ever compared with others made the same way. The three calls add the same offset to every ordinary time, so the
// offset is derived from one conversion per read and the rest is arithmetic; times near the bounds of what the calls
// can express always go through the calls. Listen thread only.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace tavi::journal {

class TimestampConverter {
public:
    explicit TimestampConverter(platform::Clock& clock) : clock_(clock) {}

    // Forgets the offset: the zone's may have changed since the last read.
    void Reset() { offsetKnown_ = false; }

    std::int64_t Convert(platform::FileTime time) {
        if (offsetKnown_ && time - kFirstOrdinaryTime < kOrdinaryTimes) {
            return static_cast<std::int64_t>(time / kHundredNanosecondsPerMillisecond) + offset_;
        }
        return ConvertSlowly(time);
    }

    // The same by the system's calls alone. A call that fails leaves zeros to the ones after it.
    std::int64_t ConvertByCalls(platform::FileTime time);

private:
    static constexpr std::uint64_t kHundredNanosecondsPerMillisecond = 10'000;
    // 1980-01-01 to 2900-01-01: years away from 1601, 1970, 3000 and 30828, where the calls give up.
    static constexpr platform::FileTime kFirstOrdinaryTime = 119'600'064'000'000'000;
    static constexpr platform::FileTime kOrdinaryTimes = 290'324'736'000'000'000;

    std::int64_t ConvertSlowly(platform::FileTime time);

    platform::Clock& clock_;
    bool offsetKnown_ = false;
    std::int64_t offset_ = 0;  // milliseconds to add
};

}  // namespace tavi::journal
