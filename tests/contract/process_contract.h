// What Threads, Clock, Heap, Modules and SystemErrors promise.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "contract/world.h"

namespace tavi::contract {

template <typename World>
class ProcessContract : public testing::Test {
protected:
    World world;
    platform::Platform parts = world.Parts();
};

TYPED_TEST_SUITE_P(ProcessContract);

TYPED_TEST_P(ProcessContract, AThreadRunsItsEntryAndEnds) {
    std::uint32_t inside = 0;
    const platform::Handle thread =
        this->parts.threads.StartThread([this, &inside] { inside = this->parts.threads.GetCurrentThreadId(); });
    ASSERT_NE(thread, platform::kNullHandle);
    EXPECT_TRUE(this->parts.threads.WaitForThread(thread, platform::kInfinite));
    EXPECT_TRUE(this->parts.threads.WaitForThread(thread, 0)) << "an ended thread stays ended";
    this->parts.threads.CloseThread(thread);
    EXPECT_NE(inside, 0u);
    EXPECT_NE(inside, this->parts.threads.GetCurrentThreadId());
}

TYPED_TEST_P(ProcessContract, AWaitEndsWithItsTime) {
    const platform::Handle thread = this->parts.threads.StartThread([this] { this->parts.threads.Sleep(300); });
    EXPECT_FALSE(this->parts.threads.WaitForThread(thread, 0));
    EXPECT_FALSE(this->parts.threads.WaitForThread(thread, 20));
    EXPECT_TRUE(this->parts.threads.WaitForThread(thread, 30000));
    this->parts.threads.CloseThread(thread);
}

TYPED_TEST_P(ProcessContract, SeveralThreadsMayWaitForOne) {
    const platform::Handle awaited = this->parts.threads.StartThread([this] { this->parts.threads.Sleep(100); });
    bool results[3] = {};
    platform::Handle waiters[3] = {};
    for (int i = 0; i < 3; ++i) {
        waiters[i] = this->parts.threads.StartThread(
            [this, awaited, result = &results[i]] { *result = this->parts.threads.WaitForThread(awaited, 30000); });
    }
    EXPECT_TRUE(this->parts.threads.WaitForThread(awaited, 30000));
    for (const platform::Handle waiter : waiters) {
        EXPECT_TRUE(this->parts.threads.WaitForThread(waiter, 30000));
        this->parts.threads.CloseThread(waiter);
    }
    this->parts.threads.CloseThread(awaited);
    EXPECT_TRUE(std::all_of(std::begin(results), std::end(results), [](bool result) { return result; }));
}

TYPED_TEST_P(ProcessContract, CancellingAThreadThatIsInNoCallFails) {
    const platform::Handle thread = this->parts.threads.StartThread([this] { this->parts.threads.Sleep(200); });
    EXPECT_FALSE(this->parts.threads.CancelSynchronousIo(thread));
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorNotFound);
    EXPECT_TRUE(this->parts.threads.WaitForThread(thread, 30000));
    this->parts.threads.CloseThread(thread);
}

TYPED_TEST_P(ProcessContract, TheLastErrorIsTheThreadsOwn) {
    this->parts.paths.GetFileAttributesW(u"C:\\no such file here");
    std::uint32_t other = 99;
    const platform::Handle thread = this->parts.threads.StartThread([this, &other] {
        this->parts.paths.GetFileAttributesW(u"C:\\no such folder here\\file");
        other = this->parts.errors.GetLastError();
    });
    EXPECT_TRUE(this->parts.threads.WaitForThread(thread, 30000));
    EXPECT_EQ(other, platform::kErrorPathNotFound);
    this->parts.paths.GetFileAttributesW(u"C:\\no such file here");
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
    this->parts.threads.CloseThread(thread);
}

TYPED_TEST_P(ProcessContract, SystemTimesAreCalendarTimesOfFileTimes) {
    // 2024-02-29 12:34:56.789 UTC, a Thursday.
    const platform::FileTime time = 133536836967890000;
    platform::SystemTime system;
    ASSERT_TRUE(this->parts.clock.FileTimeToSystemTime(time, system));
    EXPECT_EQ(system, (platform::SystemTime{2024, 2, 4, 29, 12, 34, 56, 789}));
    EXPECT_FALSE(this->parts.clock.FileTimeToSystemTime(~platform::FileTime{0}, system)) << "beyond the last year";
}

TYPED_TEST_P(ProcessContract, TheLocalOffsetIsTheSameForEveryTime) {
    const platform::FileTime winter = 133500000000000000;
    const platform::FileTime summer = 133650000000000000;
    platform::FileTime localWinter = 0;
    platform::FileTime localSummer = 0;
    ASSERT_TRUE(this->parts.clock.FileTimeToLocalFileTime(winter, localWinter));
    ASSERT_TRUE(this->parts.clock.FileTimeToLocalFileTime(summer, localSummer));
    EXPECT_EQ(localWinter - winter, localSummer - summer);
}

TYPED_TEST_P(ProcessContract, CalendarTimesAreCountedInSeconds) {
    platform::CalendarTime time{124, 1, 29, 12, 34, 56, 0};
    const std::int64_t first = this->parts.clock.Mktime64(time);
    time.day = 30;  // normalised to the next month
    time.second = 57;
    EXPECT_EQ(this->parts.clock.Mktime64(time) - first, 86401);
    EXPECT_EQ(this->parts.clock.Mktime64(platform::CalendarTime{-1000, 0, 1, 0, 0, 0, 0}), -1);
}

TYPED_TEST_P(ProcessContract, TheLocalTimeIsACalendarTime) {
    const platform::SystemTime now = this->parts.clock.GetLocalTime();
    EXPECT_GE(now.year, 2024);
    EXPECT_TRUE(now.month >= 1 && now.month <= 12 && now.day >= 1 && now.day <= 31 && now.hour < 24);
}

TYPED_TEST_P(ProcessContract, TheLocaleCanBeSetToWhatTheSystemLacks) {
    this->parts.clock.WsetlocaleAll(u"chs");
    this->parts.clock.WsetlocaleAll(u"no such locale");
    this->parts.clock.WsetlocaleAll(u"C");
    EXPECT_EQ(this->parts.clock.GetLocalTime().year / 1000, 2);
}

TYPED_TEST_P(ProcessContract, RandomNumbersUseAllBitsAndDiffer) {
    std::set<std::uint64_t> seen;
    std::uint64_t set = 0;
    std::uint64_t clear = 0;
    for (int i = 0; i < 200; ++i) {
        const std::uint64_t number = this->parts.clock.RandomNumber();
        seen.insert(number);
        set |= number;
        clear |= ~number;
    }
    EXPECT_EQ(seen.size(), 200u);
    EXPECT_EQ(set, ~std::uint64_t{0});
    EXPECT_EQ(clear, ~std::uint64_t{0});
}

TYPED_TEST_P(ProcessContract, HeapBlocksAreZeroedAndKnowTheirSize) {
    void* memory = this->parts.heap.HeapAlloc(65536);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(this->parts.heap.HeapSize(memory), 65536u);
    const std::string zeros(65536, '\0');
    EXPECT_EQ(std::memcmp(memory, zeros.data(), zeros.size()), 0);
    this->parts.heap.HeapFree(memory);
    this->parts.heap.HeapFree(nullptr);
}

TYPED_TEST_P(ProcessContract, LoadedModulesHaveTheirExportsAndNoOthers) {
    const platform::ModuleHandle ntdll = this->parts.modules.GetModuleHandleW(u"ntdll.dll");
    ASSERT_NE(ntdll, platform::kNoModule);
    EXPECT_NE(this->parts.modules.GetProcAddress(ntdll, "NtCreateFile"), platform::kNoProcAddress);
    EXPECT_EQ(this->parts.modules.GetProcAddress(ntdll, "NoSuchExport"), platform::kNoProcAddress);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorProcNotFound);
    EXPECT_EQ(this->parts.modules.GetModuleHandleW(u"no such module.dll"), platform::kNoModule);
    EXPECT_EQ(this->parts.modules.LoadLibraryExW(u"C:\\no such library.dll", platform::kLoadLibrarySearchSystem32),
              platform::kNoModule);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorModNotFound);
}

TYPED_TEST_P(ProcessContract, TheExecutablesPathIsCutToTheBuffer) {
    const std::u16string path = this->parts.modules.GetModuleFileNameW(platform::kMaxPath);
    EXPECT_TRUE(path.ends_with(u".exe")) << testing::PrintToString(path);
    EXPECT_GT(path.find(u'\\'), 0u);
    const std::u16string cut = this->parts.modules.GetModuleFileNameW(5);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorInsufficientBuffer);
    EXPECT_TRUE(cut == path.substr(0, 4) || cut == path.substr(0, 5)) << testing::PrintToString(cut);
}

TYPED_TEST_P(ProcessContract, KnownErrorsHaveATextAndUnknownOnesNone) {
    EXPECT_FALSE(this->parts.errors.FormatMessageW(platform::kErrorAccessDenied).empty());
    EXPECT_TRUE(this->parts.errors.FormatMessageW(0x2FFFFFFF).empty());
}

TYPED_TEST_P(ProcessContract, TheCommonApplicationDataFolderExists) {
    std::u16string path;
    ASSERT_EQ(this->parts.paths.SHGetFolderPathW(platform::kCsidlCommonAppData, path), platform::kSOk);
    EXPECT_TRUE(this->parts.paths.PathFileExistsW(path)) << testing::PrintToString(path);
    EXPECT_EQ(this->parts.paths.SHGetFolderPathW(platform::kCsidlRoamingAppData, path), platform::kSOk);
    EXPECT_LT(this->parts.paths.SHGetFolderPathW(0x77, path), 0);
}

REGISTER_TYPED_TEST_SUITE_P(ProcessContract, AThreadRunsItsEntryAndEnds, AWaitEndsWithItsTime,
                            SeveralThreadsMayWaitForOne, CancellingAThreadThatIsInNoCallFails,
                            TheLastErrorIsTheThreadsOwn, SystemTimesAreCalendarTimesOfFileTimes,
                            TheLocalOffsetIsTheSameForEveryTime, CalendarTimesAreCountedInSeconds,
                            TheLocalTimeIsACalendarTime, TheLocaleCanBeSetToWhatTheSystemLacks,
                            RandomNumbersUseAllBitsAndDiffer, HeapBlocksAreZeroedAndKnowTheirSize,
                            LoadedModulesHaveTheirExportsAndNoOthers, TheExecutablesPathIsCutToTheBuffer,
                            KnownErrorsHaveATextAndUnknownOnesNone, TheCommonApplicationDataFolderExists);

}  // namespace tavi::contract
