#include "sim/faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(Faults, FirstCallFailsOnceWithItsUsualCode) {
    Machine machine;
    Platform platform = machine.platform();
    machine.faults().Fail({.call = "Pipes.LocalAlloc"});
    EXPECT_EQ(platform.pipes.LocalAlloc(kLptr, 40), kNoLocalMemory);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorNotEnoughMemory);
    const LocalMemory memory = platform.pipes.LocalAlloc(kLptr, 40);
    EXPECT_NE(memory, kNoLocalMemory);
    EXPECT_EQ(machine.faults().fired(), 1U);
    EXPECT_EQ(machine.faults().lastFired(), "Pipes.LocalAlloc");
    EXPECT_THAT(machine.leaks(), ElementsAre(testing::HasSubstr("local memory")));
    platform.pipes.LocalFree(memory);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST(Faults, NthCallOfAllFailsForEverWithTheChosenCode) {
    Machine machine;
    Platform platform = machine.platform();
    machine.faults().Fail({.nth = 3, .forEver = true, .code = 1450});
    std::vector<bool> results;
    for (int i = 0; i < 5; ++i) {
        platform.threads.Sleep(1);  // cannot fail, is not counted
        results.push_back(platform.paths.PathFileExistsW(u"C:\\Windows"));
        if (!results.back()) {
            EXPECT_EQ(platform.errors.GetLastError(), 1450U);
        }
    }
    EXPECT_THAT(results, ElementsAre(true, true, false, false, false));
    machine.faults().Clear();
    EXPECT_TRUE(platform.paths.PathFileExistsW(u"C:\\Windows"));
}

TEST(Faults, GroupAndCountMatchNamesOnly) {
    Machine machine;
    Platform platform = machine.platform();
    machine.faults().Fail({.call = "Modules.", .nth = 2});
    EXPECT_NE(platform.modules.GetModuleHandleW(u"ntdll.dll"), kNoModule);
    EXPECT_TRUE(platform.paths.PathFileExistsW(u"C:\\Users"));
    EXPECT_EQ(platform.modules.GetModuleHandleW(u"ntdll.dll"), kNoModule);
    EXPECT_NE(platform.modules.GetModuleHandleW(u"ntdll.dll"), kNoModule);
    EXPECT_EQ(machine.faults().calls("Modules.GetModuleHandleW"), 3U);
    EXPECT_EQ(machine.faults().calls("Modules.FreeLibrary"), 0U);
    EXPECT_THAT(machine.faults().history(), ElementsAre("Modules.GetModuleHandleW", "Paths.PathFileExistsW",
                                                        "Modules.GetModuleHandleW", "Modules.GetModuleHandleW"));
}

TEST(Faults, RolesAreMatchedTogetherAndByTheirWholeName) {
    Machine machine;
    Platform platform = machine.platform();
    machine.faults().Fail({.call = "Files. Paths.", .nth = 2});
    EXPECT_NE(platform.modules.GetModuleFileNameW(100), u"");
    EXPECT_EQ(platform.cloudFiles.CfGetPlaceholderInfo({}, {}, 0, {}), static_cast<std::int32_t>(0x80070178));
    EXPECT_TRUE(platform.paths.PathFileExistsW(u"C:\\"));
    EXPECT_EQ(platform.files.CreateFileW(u"C:\\file", kGenericWrite, 0, kOpenAlways, 0), kInvalidHandle);
    EXPECT_EQ(machine.faults().lastFired(), "Files.CreateFileW");
    EXPECT_EQ(machine.faults().calls("Files. Paths."), 2U);
}

TEST(Faults, FailedReleaseReleasesNonetheless) {
    Machine machine;
    Platform platform = machine.platform();
    const Handle volume = platform.files.CreateFileW(u"\\\\.\\C:", kGenericRead, 3, kOpenExisting, 0);
    machine.faults().Fail({.call = "Files.CloseHandle"});
    EXPECT_FALSE(platform.files.CloseHandle(volume));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInvalidHandle);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

// Every call that can fail does fail when its turn comes, with a result that says so.
TEST(Faults, LoopOverEveryCallOfASequenceEnds) {
    for (const bool forEver : {false, true}) {
        std::uint64_t n = 0;
        for (bool fired = true; fired;) {
            Machine machine;
            Platform platform = machine.platform();
            machine.faults().Fail({.nth = ++n, .forEver = forEver});
            bool failed = false;
            const Handle volume = platform.files.CreateFileW(u"\\\\.\\C:", kGenericRead, 3, kOpenExisting, 0);
            failed = failed || volume == kInvalidHandle;
            UsnJournalData data;
            std::uint32_t bytes = 0;
            failed = !platform.volumes.DeviceIoControl(volume, kFsctlQueryUsnJournal, {},
                                                       std::as_writable_bytes(std::span(&data, 1)), bytes) ||
                     failed;
            void* memory = platform.heap.HeapAlloc(1000);
            failed = failed || memory == nullptr;
            platform.heap.HeapFree(memory);
            if (volume != kInvalidHandle) {
                platform.files.CloseHandle(volume);
            }
            fired = machine.faults().fired() != 0;
            EXPECT_EQ(failed, fired);
            EXPECT_THAT(machine.leaks(), IsEmpty());
        }
        EXPECT_EQ(n, 4U) << "three calls can fail; the fourth round finds none";
    }
}

TEST(Faults, HistoryKeepsTheMostRecentCalls) {
    Machine machine;
    Platform platform = machine.platform();
    for (std::size_t i = 0; i < Faults::kKeptCalls; ++i) {
        platform.clock.RandomNumber();
    }
    platform.clock.GetLocalTime();
    const std::vector<std::string> history = machine.faults().history();
    ASSERT_THAT(history, SizeIs(Faults::kKeptCalls));
    EXPECT_EQ(history.back(), "Clock.GetLocalTime");
    EXPECT_EQ(history.front(), "Clock.RandomNumber");
    machine.faults().ClearHistory();
    EXPECT_THAT(machine.faults().history(), IsEmpty());
}

}  // namespace
}  // namespace tavi::sim
