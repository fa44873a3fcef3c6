#include "journal/timestamp_converter.h"

namespace tavi::journal {
namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;
constexpr int kCalendarBaseYear = 1900;

// Each call, with what it reports about itself.
struct Conversion {
    bool succeeded = true;
    std::int64_t milliseconds = 0;
};

Conversion Run(platform::Clock& clock, platform::FileTime time) {
    Conversion result;
    platform::FileTime local = 0;
    result.succeeded &= clock.FileTimeToLocalFileTime(time, local);
    platform::SystemTime system;
    result.succeeded &= clock.FileTimeToSystemTime(local, system);
    platform::CalendarTime calendar;
    calendar.year = system.year - kCalendarBaseYear;
    calendar.month = system.month - 1;
    calendar.day = system.day;
    calendar.hour = system.hour;
    calendar.minute = system.minute;
    calendar.second = system.second;
    const std::int64_t seconds = clock.Mktime64(calendar);
    result.succeeded &= seconds != -1;
    result.milliseconds = seconds * kMillisecondsPerSecond + system.milliseconds;
    return result;
}

}  // namespace

std::int64_t TimestampConverter::ConvertByCalls(platform::FileTime time) {
    return Run(clock_, time).milliseconds;
}

std::int64_t TimestampConverter::ConvertSlowly(platform::FileTime time) {
    const Conversion conversion = Run(clock_, time);
    if (conversion.succeeded && time - kFirstOrdinaryTime < kOrdinaryTimes) {
        const auto unshifted = static_cast<std::int64_t>(time / kHundredNanosecondsPerMillisecond);
        const std::int64_t offset = conversion.milliseconds - unshifted;
        // Zones are whole seconds off UTC, and 1601 is whole seconds before 1970. Anything else is no such zone.
        if (offset % kMillisecondsPerSecond == 0) {
            offset_ = offset;
            offsetKnown_ = true;
        }
    }
    return conversion.milliseconds;
}

}  // namespace tavi::journal
