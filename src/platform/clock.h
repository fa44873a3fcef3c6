// Local time, conversions between time forms, the C runtime's locale, and random numbers. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

class Clock {
public:
    virtual ~Clock() = default;

    virtual SystemTime GetLocalTime() = 0;
    virtual FileTime GetSystemTimePreciseAsFileTime() = 0;  // UTC
    // Uses the offset from UTC that is in force now, whatever the time to convert.
    virtual bool FileTimeToLocalFileTime(FileTime utc, FileTime& local) = 0;
    virtual bool FileTimeToSystemTime(FileTime time, SystemTime& systemTime) = 0;
    // _mktime64: seconds since 1970-01-01 UTC of a time in the C runtime's zone, -1 when it cannot be expressed.
    virtual std::int64_t Mktime64(const CalendarTime& time) = 0;
    // _wsetlocale(LC_ALL, name).
    virtual void WsetlocaleAll(const std::u16string& name) = 0;
    // 64 unpredictable bits.
    virtual std::uint64_t RandomNumber() = 0;
};

}  // namespace tavi::platform
