// Clock on Windows. Mktime64 and WsetlocaleAll are calls of the C runtime that the program is linked with.
#pragma once

#include "platform/clock.h"

namespace tavi::platform {

class WindowsClock final : public Clock {
public:
    SystemTime GetLocalTime() override;
    FileTime GetSystemTimePreciseAsFileTime() override;
    bool FileTimeToLocalFileTime(FileTime utc, FileTime& local) override;
    bool FileTimeToSystemTime(FileTime time, SystemTime& systemTime) override;
    std::int64_t Mktime64(const CalendarTime& time) override;
    void WsetlocaleAll(const std::u16string& name) override;
    std::uint64_t RandomNumber() override;
};

}  // namespace tavi::platform
