#include "platform/windows/windows_clock.h"

#include <windows.h>

#include <bcrypt.h>
#include <locale.h>
#include <time.h>

#include <bit>

#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

// Two halves, low first: how FILETIME is documented.
FILETIME ToNativeTime(FileTime time) {
    return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

FileTime FromNativeTime(const FILETIME& time) {
    return (FileTime{time.dwHighDateTime} << 32) | FileTime{time.dwLowDateTime};
}

}  // namespace

SystemTime WindowsClock::GetLocalTime() {
    SYSTEMTIME time{};
    ::GetLocalTime(&time);
    return std::bit_cast<SystemTime>(time);
}

FileTime WindowsClock::GetSystemTimePreciseAsFileTime() {
    FILETIME time{};
    ::GetSystemTimePreciseAsFileTime(&time);
    return FromNativeTime(time);
}

bool WindowsClock::FileTimeToLocalFileTime(FileTime utc, FileTime& local) {
    const FILETIME nativeUtc = ToNativeTime(utc);
    FILETIME nativeLocal{};
    const BOOL done = ::FileTimeToLocalFileTime(&nativeUtc, &nativeLocal);
    local = FromNativeTime(nativeLocal);
    return done != FALSE;
}

bool WindowsClock::FileTimeToSystemTime(FileTime time, SystemTime& systemTime) {
    const FILETIME nativeTime = ToNativeTime(time);
    SYSTEMTIME nativeSystemTime{};
    const BOOL done = ::FileTimeToSystemTime(&nativeTime, &nativeSystemTime);
    systemTime = std::bit_cast<SystemTime>(nativeSystemTime);
    return done != FALSE;
}

std::int64_t WindowsClock::Mktime64(const CalendarTime& time) {
    struct tm native {};
    native.tm_year = time.year;
    native.tm_mon = time.month;
    native.tm_mday = time.day;
    native.tm_hour = time.hour;
    native.tm_min = time.minute;
    native.tm_sec = time.second;
    native.tm_isdst = time.daylightSaving;
    return ::_mktime64(&native);
}

void WindowsClock::WsetlocaleAll(const std::u16string& name) {
    ::_wsetlocale(LC_ALL, ToWide(name).c_str());
}

std::uint64_t WindowsClock::RandomNumber() {
    std::uint64_t number = 0;
    ::BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&number), sizeof number, BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    return number;
}

}  // namespace tavi::platform
