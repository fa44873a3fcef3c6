#include <stdexcept>

#include "db/sqlite_constants.h"
#include "support/platform_with.h"
#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using BusyRetry = DatabaseTest;

TEST_F(BusyRetry, RetriesWhileTheCountIsBelowAHundred) {
    EXPECT_EQ(BusyRetryHandler(&platform_, 0), 1);
    EXPECT_EQ(BusyRetryHandler(&platform_, 99), 1);
    EXPECT_EQ(BusyRetryHandler(&platform_, 100), 0);
    EXPECT_EQ(BusyRetryHandler(&platform_, 101), 0);
}

TEST_F(BusyRetry, WaitsBetweenTenAndAHundredMillisecondsEachTime) {
    for (int count = 0; count < 200; ++count) {
        const std::int64_t start = Now();
        BusyRetryHandler(&platform_, count);
        EXPECT_GE(Now() - start, 10);
        EXPECT_LE(Now() - start, 100);
    }
}

// A clock whose random numbers have run out.
class BrokenClock final : public platform::Clock {
public:
    platform::SystemTime GetLocalTime() override { return {}; }
    platform::FileTime GetSystemTimePreciseAsFileTime() override { return 0; }
    bool FileTimeToLocalFileTime(platform::FileTime, platform::FileTime&) override { return false; }
    bool FileTimeToSystemTime(platform::FileTime, platform::SystemTime&) override { return false; }
    std::int64_t Mktime64(const platform::CalendarTime&) override { return -1; }
    void WsetlocaleAll(const std::u16string&) override {}
    std::uint64_t RandomNumber() override { throw std::runtime_error("broken"); }
};

TEST_F(BusyRetry, GivesUpWhenTheWaitFails) {
    BrokenClock clock;
    platform::Platform broken = test::PlatformWith(platform_, clock);
    EXPECT_EQ(BusyRetryHandler(&broken, 0), 0);
}

TEST_F(BusyRetry, LockedDatabaseIsWaitedForAHundredTimes) {
    Init();
    OtherConnection other(HostPath());
    other.Run("BEGIN IMMEDIATE;");
    sqlite3* handle = nullptr;
    ASSERT_TRUE(database_.OpenDb(handle));
    const std::int64_t start = Now();
    EXPECT_EQ(sqlite3_exec(handle, "DELETE FROM user;", nullptr, nullptr, nullptr), SQLITE_BUSY);
    EXPECT_GE(Now() - start, 101 * 10);
    EXPECT_LE(Now() - start, 101 * 100);
    database_.CloseDb(handle);
}

TEST_F(BusyRetry, LibraryIsToldNotToCountItsMemory) {
    SqLite3Operator::ConfigureLibrary(sqlite_);
    EXPECT_EQ(sqlite_.calls(), std::vector<std::string>{"Config 9 0"});
}

}  // namespace
}  // namespace tavi::db
