#include "sim/machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace tavi::sim {
namespace {

using namespace platform;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Machine, SleepOnTheOnlyThreadJustMovesTheClock) {
    Machine machine;
    Platform platform = machine.platform();
    platform.threads.Sleep(86400000);
    EXPECT_EQ(machine.NowMilliseconds(), 86400000);
}

TEST(Machine, LeaksNameWhatIsOpen) {
    Machine machine;
    Platform platform = machine.platform();
    machine.volume().MakeFile(u"\\f");
    platform.files.CreateFileW(u"C:\\f", kGenericRead, 7, kOpenExisting, 0);
    FindData data;
    platform.paths.FindFirstFileW(u"C:\\*.*", data);
    platform.services.OpenSCManagerW(1);
    platform.heap.HeapAlloc(99);
    platform.digest.MdCtxNew();
    sqlite3* database = nullptr;
    platform.sqlite.OpenV2(":memory:", &database, SQLITE_OPEN_READWRITE);
    sqlite3_stmt* statement = nullptr;
    platform.sqlite.PrepareV2(database, "select 17", -1, &statement);
    const Handle thread = platform.threads.StartThread([&] { platform.threads.Sleep(1000); });
    const std::vector<std::string> leaks = machine.leaks();
    for (const char* part : {"file handle", "find handle", "service handle", "heap memory of 99", "digest context",
                             "database connection", "select 17", "thread handle", "running thread"}) {
        EXPECT_THAT(leaks, Contains(HasSubstr(part)));
    }
    EXPECT_EQ(leaks.size(), 9U);
    platform.threads.WaitForThread(thread, kInfinite);
    platform.threads.CloseThread(thread);
    EXPECT_EQ(machine.leaks().size(), 7U);
}

TEST(Machine, ProcessThatIsKilledEndsAtItsNextBlockingCall) {
    Machine machine;
    Platform platform = machine.platform();
    machine.faults().KillAtCall(3);
    int steps = 0;
    EXPECT_FALSE(machine.RunProcess([&] {
        for (;;) {
            ++steps;
            platform.paths.PathFileExistsW(u"C:\\Windows");
            platform.threads.Sleep(10);
        }
    }));
    EXPECT_EQ(steps, 2);
    EXPECT_TRUE(machine.dead());
    EXPECT_EQ(machine.NowMilliseconds(), 10);
}

TEST(Machine, NothingADeadProcessDoesHasAnEffect) {
    Machine machine;
    Platform platform = machine.platform();
    machine.volume().MakeDirectory(u"\\d");
    const auto before = machine.volume().ListTree(u"\\");
    machine.RunProcess([&] {
        machine.Kill();
        EXPECT_FALSE(platform.paths.PathFileExistsW(u"C:\\d"));
        EXPECT_NE(platform.paths.SHCreateDirectoryExW(u"C:\\e"), 0);
        EXPECT_FALSE(platform.paths.DeleteFileW(u"C:\\d"));
        EXPECT_EQ(platform.heap.HeapAlloc(5), nullptr);
        sqlite3* database = nullptr;
        EXPECT_NE(platform.sqlite.OpenV2("C:\\Users\\x.db", &database, 6), SQLITE_OK);
        platform.sqlite.CloseV2(database);
        platform.threads.Sleep(1);
        ADD_FAILURE() << "a dead thread goes on after a sleep";
    });
    EXPECT_EQ(machine.volume().ListTree(u"\\"), before);
}

TEST(Machine, DeathWhileAnotherExceptionIsUnderWayDoesNotThrow) {
    Machine machine;
    Platform platform = machine.platform();
    struct SleepsWhenDestroyed {
        Platform& platform;
        ~SleepsWhenDestroyed() { platform.threads.Sleep(5); }
    };
    EXPECT_FALSE(machine.RunProcess([&] {
        const SleepsWhenDestroyed guard{platform};
        machine.Kill();
        platform.threads.Sleep(1);
    }));
}

TEST(Machine, RestartClosesWhatTheProcessHeldAndKeepsTheDisk) {
    Machine machine;
    Platform platform = machine.platform();
    machine.volume().MakeFile(u"\\f");
    machine.RunProcess([&] {
        platform.files.CreateFileW(u"C:\\f", kGenericRead | kGenericWrite, 0, kOpenExisting, 0);
        platform.heap.HeapAlloc(10);
        platform.modules.LoadLibraryExW(u"cldapi.dll", 0);
        platform.threads.StartThread([&] {
            for (;;) {
                platform.threads.Sleep(100);
            }
        });
        platform.threads.Sleep(1000);
        machine.Kill();
    });
    machine.Restart();
    EXPECT_FALSE(machine.dead());
    EXPECT_THAT(machine.leaks(), IsEmpty());
    EXPECT_TRUE(machine.RunProcess([&] {
        const Handle file = platform.files.CreateFileW(u"C:\\f", kGenericRead, 0, kOpenExisting, 0);
        EXPECT_NE(file, kInvalidHandle) << "the dead process's share mode is gone";
        platform.files.CloseHandle(file);
    }));
}

int CountRows(Platform& platform, const std::string& path) {
    sqlite3* database = nullptr;
    EXPECT_EQ(platform.sqlite.OpenV2(path, &database, SQLITE_OPEN_READWRITE), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(platform.sqlite.PrepareV2(database, "select count(*) from t", -1, &statement), SQLITE_OK);
    EXPECT_EQ(platform.sqlite.Step(statement), SQLITE_ROW);
    const int rows = platform.sqlite.ColumnInt(statement, 0);
    platform.sqlite.Finalize(statement);
    platform.sqlite.CloseV2(database);
    return rows;
}

TEST(Machine, DeathInATransactionLosesItAndNothingElse) {
    Machine machine;
    Platform platform = machine.platform();
    const std::string path = "C:\\Users\\test.db";
    EXPECT_FALSE(machine.RunProcess([&] {
        sqlite3* database = nullptr;
        platform.sqlite.OpenV2(path, &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        EXPECT_EQ(platform.sqlite.Exec(database, "pragma journal_mode=wal; create table t(x); insert into t values(1)",
                                       nullptr),
                  SQLITE_OK);
        EXPECT_EQ(platform.sqlite.Exec(database, "begin; insert into t values(2)", nullptr), SQLITE_OK);
        machine.Kill();
        EXPECT_NE(platform.sqlite.Exec(database, "commit", nullptr), SQLITE_OK);
        platform.threads.Sleep(1);
    }));
    machine.Restart();
    EXPECT_TRUE(std::filesystem::exists(machine.files().HostPath(u"C:\\Users\\test.db-wal"))) << "nobody cleaned up";
    EXPECT_EQ(CountRows(platform, path), 1);
}

TEST(Machine, TwoMachinesDoNotMixUpTheirThreads) {
    Machine first;
    Machine second;
    first.platform().threads.Sleep(10);
    second.platform().threads.Sleep(20);
    first.platform().threads.Sleep(10);
    EXPECT_EQ(first.NowMilliseconds(), 20);
    EXPECT_EQ(second.NowMilliseconds(), 20);
}

TEST(Machine, TheTemporaryFolderGoesWithTheMachine) {
    std::filesystem::path path;
    {
        Machine machine;
        machine.files().WriteText(u"C:\\Users\\a.txt", "x");
        path = machine.files().HostPath(u"C:\\Users\\a.txt");
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path.parent_path()));
}

TEST(Machine, CancellationEndsTheFileCallThatAThreadIsIn) {
    Machine machine({.seed = 3});
    Platform platform = machine.platform();
    machine.volume().MakeFile(u"\\f");
    std::uint32_t code = 0;
    EXPECT_TRUE(machine.RunProcess([&] {
        const Handle thread = platform.threads.StartThread([&] {
            while (platform.paths.GetFileAttributesW(u"C:\\f") != kInvalidFileAttributes) {
            }
            code = platform.errors.GetLastError();
        });
        while (!platform.threads.CancelSynchronousIo(thread)) {
        }
        platform.threads.WaitForThread(thread, kInfinite);
        EXPECT_FALSE(platform.threads.CancelSynchronousIo(thread));
        platform.threads.CloseThread(thread);
    }));
    EXPECT_EQ(code, kErrorOperationAborted);
}

TEST(Machine, EveryCallIsObserved) {
    Machine machine;
    Platform platform = machine.platform();
    std::vector<std::string> calls;
    machine.faults().Observe([&calls](std::string_view call) { calls.emplace_back(call); });
    platform.paths.PathFileExistsW(u"C:\\f");
    platform.clock.RandomNumber();
    machine.faults().Observe({});
    platform.clock.RandomNumber();
    EXPECT_THAT(calls, testing::ElementsAre("Paths.PathFileExistsW", "Clock.RandomNumber"));
}

}  // namespace
}  // namespace tavi::sim
