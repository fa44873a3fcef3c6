// A clock whose conversions behave as the system's do, for a zone of any offset: the current offset for FILETIMEs, the
// C runtime's own for calendar times, and both refusals at the bounds.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/clock.h"

namespace tavi::journal::testing {

class CalendarClock : public platform::Clock {
public:
    std::int64_t currentOffsetMinutes = 120;  // what FILETIMEs are shifted by, daylight saving included
    std::int64_t standardOffsetMinutes = 60;  // what the C runtime takes off again
    int conversions = 0;
    bool failLocal = false;
    bool failCalendar = false;
    bool failMktime = false;

    platform::SystemTime GetLocalTime() override { return {}; }
    platform::FileTime GetSystemTimePreciseAsFileTime() override { return 0; }

    bool FileTimeToLocalFileTime(platform::FileTime utc, platform::FileTime& local) override {
        ++conversions;
        if (failLocal || utc >= kNegative) {
            return false;
        }
        local = utc + static_cast<platform::FileTime>(currentOffsetMinutes * 60 * kTicksPerSecond);
        return true;
    }

    bool FileTimeToSystemTime(platform::FileTime time, platform::SystemTime& systemTime) override {
        ++conversions;
        if (failCalendar || time >= kNegative) {
            return false;
        }
        using std::chrono::days;
        const auto ticks = static_cast<std::int64_t>(time);
        constexpr std::int64_t kTicksPerDay = 86'400 * kTicksPerSecond;
        const std::chrono::year_month_day date{kEpoch1601 + days(ticks / kTicksPerDay)};
        const std::int64_t inDay = ticks % kTicksPerDay;
        systemTime.year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
        systemTime.month = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
        systemTime.day = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
        systemTime.hour = static_cast<std::uint16_t>(inDay / (3600 * kTicksPerSecond));
        systemTime.minute = static_cast<std::uint16_t>(inDay / (60 * kTicksPerSecond) % 60);
        systemTime.second = static_cast<std::uint16_t>(inDay / kTicksPerSecond % 60);
        systemTime.milliseconds = static_cast<std::uint16_t>(inDay / 10'000 % 1000);
        return true;
    }

    std::int64_t Mktime64(const platform::CalendarTime& time) override {
        ++conversions;
        EXPECT_EQ(time.daylightSaving, 0) << "the current offset must not be taken off twice a year";
        constexpr std::int64_t kLastSecond = 32'535'215'999;  // the runtime's last one, of the year 3000
        if (failMktime || time.month < 0) {
            return -1;
        }
        const std::chrono::year_month_day date{std::chrono::year(time.year + 1900),
                                               std::chrono::month(static_cast<unsigned>(time.month + 1)),
                                               std::chrono::day(static_cast<unsigned>(time.day))};
        const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
        const std::int64_t seconds =
            days * 86'400 + time.hour * 3600 + time.minute * 60 + time.second - standardOffsetMinutes * 60;
        return seconds < 0 || seconds > kLastSecond ? -1 : seconds;
    }

    void WsetlocaleAll(const std::u16string&) override {}
    std::uint64_t RandomNumber() override { return 0; }

private:
    static constexpr std::int64_t kTicksPerSecond = 10'000'000;
    static constexpr platform::FileTime kNegative = 0x8000000000000000;
    static constexpr std::chrono::sys_days kEpoch1601{std::chrono::year(1601) / 1 / 1};
};

}  // namespace tavi::journal::testing
