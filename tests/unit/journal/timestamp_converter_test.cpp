#include "journal/timestamp_converter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>

#include "unit/journal/calendar_clock.h"

namespace tavi::journal {
namespace {

using testing::CalendarClock;

constexpr platform::FileTime kSecond = 10'000'000;
constexpr platform::FileTime kDay = 86'400 * kSecond;
constexpr platform::FileTime kUnixEpoch = 116'444'736'000'000'000;
constexpr platform::FileTime kSomeTime = 131'926'665'709'243'619;  // 2019-01-23 06:42:50.924

TEST(TimestampConverter, MillisecondsOfLocalTimeWithoutDaylightSaving) {
    CalendarClock clock;
    clock.currentOffsetMinutes = 120;
    clock.standardOffsetMinutes = 60;
    TimestampConverter converter(clock);
    constexpr std::int64_t kUnixMilliseconds = static_cast<std::int64_t>((kSomeTime - kUnixEpoch) / 10'000);
    EXPECT_EQ(converter.ConvertByCalls(kSomeTime), kUnixMilliseconds + 3'600'000);
    EXPECT_EQ(converter.Convert(kSomeTime), kUnixMilliseconds + 3'600'000);
}

TEST(TimestampConverter, EqualsTheCallsForEveryTimeAndZone) {
    const std::uint64_t seed = 20250101;
    std::mt19937_64 random(seed);
    for (int zone = 0; zone < 200; ++zone) {
        CalendarClock clock;
        clock.currentOffsetMinutes = static_cast<std::int64_t>(random() % (28 * 60)) - 14 * 60;
        clock.standardOffsetMinutes = static_cast<std::int64_t>(random() % (28 * 60)) - 14 * 60;
        TimestampConverter converter(clock);
        for (int i = 0; i < 200; ++i) {
            // Four in five within the years that files have, the rest anywhere.
            const platform::FileTime time = i % 5 == 0 ? random() : kUnixEpoch + random() % (1200 * 365 * kDay);
            ASSERT_EQ(converter.Convert(time), converter.ConvertByCalls(time))
                << "seed " << seed << " time " << time << " offsets " << clock.currentOffsetMinutes << " "
                << clock.standardOffsetMinutes;
        }
    }
}

TEST(TimestampConverter, EqualsTheCallsAroundEveryBound) {
    constexpr platform::FileTime kBounds[] = {0,
                                              kUnixEpoch,
                                              119'600'064'000'000'000,                            // 1980
                                              119'600'064'000'000'000 + 290'324'736'000'000'000,  // 2900
                                              441'481'536'000'000'000,                            // 3000
                                              441'797'760'000'000'000,
                                              0x8000000000000000,
                                              std::numeric_limits<platform::FileTime>::max()};
    CalendarClock clock;
    TimestampConverter converter(clock);
    converter.Convert(kSomeTime);
    for (const platform::FileTime bound : kBounds) {
        for (const platform::FileTime distance : {platform::FileTime{0}, platform::FileTime{1}, kSecond, kDay}) {
            ASSERT_EQ(converter.Convert(bound + distance), converter.ConvertByCalls(bound + distance)) << bound;
            ASSERT_EQ(converter.Convert(bound - distance), converter.ConvertByCalls(bound - distance)) << bound;
        }
    }
}

TEST(TimestampConverter, OneConversionByTheCallsServesARead) {
    CalendarClock clock;
    TimestampConverter converter(clock);
    for (platform::FileTime second = 0; second < 1000; ++second) {
        converter.Convert(kSomeTime + second * kSecond);
    }
    EXPECT_EQ(clock.conversions, 3);
    converter.Reset();
    converter.Convert(kSomeTime);
    EXPECT_EQ(clock.conversions, 6);
}

TEST(TimestampConverter, ResetNoticesAnotherOffset) {
    CalendarClock clock;
    TimestampConverter converter(clock);
    const std::int64_t before = converter.Convert(kSomeTime);
    clock.currentOffsetMinutes += 60;
    EXPECT_EQ(converter.Convert(kSomeTime), before);
    converter.Reset();
    EXPECT_EQ(converter.Convert(kSomeTime), before + 3'600'000);
}

TEST(TimestampConverter, FailedCallsLeaveZerosAndNoOffset) {
    for (bool CalendarClock::*failure :
         {&CalendarClock::failLocal, &CalendarClock::failCalendar, &CalendarClock::failMktime}) {
        CalendarClock clock;
        TimestampConverter converter(clock);
        const std::int64_t right = converter.ConvertByCalls(kSomeTime);
        clock.*failure = true;
        EXPECT_EQ(converter.Convert(kSomeTime), converter.ConvertByCalls(kSomeTime));
        EXPECT_NE(converter.Convert(kSomeTime), right);
        clock.*failure = false;
        EXPECT_EQ(converter.Convert(kSomeTime), right) << "an offset must not come from a failed conversion";
    }
}

}  // namespace
}  // namespace tavi::journal
