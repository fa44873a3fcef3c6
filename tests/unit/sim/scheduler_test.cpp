#include "sim/scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using platform::kInfinite;

class BothModes : public testing::TestWithParam<Concurrency> {
protected:
    MachineOptions Options(std::uint64_t seed = 0) const { return {seed, GetParam()}; }
};
INSTANTIATE_TEST_SUITE_P(Scheduler, BothModes, testing::Values(Concurrency::kBaton, Concurrency::kFree),
                         [](const auto& mode) { return mode.param == Concurrency::kBaton ? "Baton" : "Free"; });

TEST_P(BothModes, TimeMovesOnlyWhenAllSleep) {
    Machine machine(Options());
    platform::Platform platform = machine.platform();
    std::atomic<std::int64_t> woke = 0;
    const platform::Handle thread = platform.threads.StartThread([&] {
        platform.threads.Sleep(500);
        woke = machine.NowMilliseconds();
        platform.threads.Sleep(700);
    });
    platform.threads.Sleep(1000);
    EXPECT_EQ(machine.NowMilliseconds(), 1000);
    EXPECT_EQ(woke, 500);
    EXPECT_FALSE(platform.threads.WaitForThread(thread, 100));
    EXPECT_EQ(machine.NowMilliseconds(), 1100);
    EXPECT_TRUE(platform.threads.WaitForThread(thread, kInfinite));
    EXPECT_EQ(machine.NowMilliseconds(), 1200);
    EXPECT_TRUE(platform.threads.WaitForThread(thread, 0)) << "again";
    platform.threads.CloseThread(thread);
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
}

TEST_P(BothModes, SeveralThreadsMayWaitForOne) {
    Machine machine(Options());
    platform::Platform platform = machine.platform();
    const platform::Handle thread = platform.threads.StartThread([&] { platform.threads.Sleep(50); });
    std::atomic<int> ended = 0;
    for (int i = 0; i < 3; ++i) {
        machine.Spawn("waiter", [&] { ended += platform.threads.WaitForThread(thread, kInfinite) ? 1 : 0; });
    }
    EXPECT_TRUE(platform.threads.WaitForThread(thread, kInfinite));
    machine.JoinAll();
    EXPECT_EQ(ended, 3);
    platform.threads.CloseThread(thread);
}

TEST_P(BothModes, DeadlockIsReportedWithWhoWaitsOnWhat) {
    std::string report;
    std::atomic<bool> died = false;
    {
        Machine machine(Options());
        machine.OnDeadlock([&](const std::string& text) { report = text; });
        platform::Platform platform = machine.platform();
        const platform::Handle pipe = platform.pipes.CreateNamedPipeW(u"\\\\.\\pipe\\p", 3, 6, 1, 10, 10, 0, {});
        const platform::Handle thread = platform.threads.StartThread([&] {
            try {
                platform.pipes.ConnectNamedPipe(pipe);
            } catch (const ProcessDied&) {
                died = true;
                throw;
            }
        });
        EXPECT_THROW(platform.threads.WaitForThread(thread, kInfinite), ProcessDied);
    }
    EXPECT_THAT(report, testing::HasSubstr("waits on a client"));
    EXPECT_THAT(report, testing::HasSubstr("waits on the end of product thread 1"));
    EXPECT_TRUE(died);
}

TEST_P(BothModes, ADyingMachineEndsEveryThread) {
    std::atomic<int> loops = 0;
    {
        Machine machine(Options());
        platform::Platform platform = machine.platform();
        for (int i = 0; i < 3; ++i) {
            machine.StartProcess([&] {
                for (;;) {
                    ++loops;
                    platform.threads.Sleep(10);
                }
            });
        }
        machine.Sleep(95);
    }
    EXPECT_GE(loops, 30);
}

TEST_P(BothModes, CancelReachesABlockedThreadAndNoOther) {
    Machine machine(Options());
    platform::Platform platform = machine.platform();
    const platform::Handle pipe = platform.pipes.CreateNamedPipeW(u"\\\\.\\pipe\\p", 3, 6, 1, 10, 10, 0, {});
    std::uint32_t code = 0;
    const platform::Handle blocked = platform.threads.StartThread([&] {
        EXPECT_FALSE(platform.pipes.ConnectNamedPipe(pipe));
        code = platform.errors.GetLastError();
        platform.threads.Sleep(100);
    });
    machine.Sleep(1);
    EXPECT_TRUE(platform.threads.CancelSynchronousIo(blocked));
    machine.Sleep(1);
    EXPECT_FALSE(platform.threads.CancelSynchronousIo(blocked)) << "a sleep is no I/O";
    EXPECT_EQ(platform.errors.GetLastError(), platform::kErrorNotFound);
    EXPECT_TRUE(platform.threads.WaitForThread(blocked, kInfinite));
    EXPECT_EQ(code, platform::kErrorOperationAborted);
    EXPECT_FALSE(platform.threads.CancelSynchronousIo(blocked)) << "ended";
}

TEST_P(BothModes, EveryThreadHasItsOwnLastErrorAndNumber) {
    Machine machine(Options());
    platform::Platform platform = machine.platform();
    platform.files.CloseHandle(platform::Handle{12345});
    std::uint32_t other = 99;
    std::uint32_t otherId = 0;
    machine.Join(machine.Spawn("other", [&] {
        other = platform.errors.GetLastError();
        otherId = platform.threads.GetCurrentThreadId();
    }));
    EXPECT_EQ(other, 0U);
    EXPECT_EQ(platform.errors.GetLastError(), platform::kErrorInvalidHandle);
    EXPECT_NE(otherId, platform.threads.GetCurrentThreadId());
    EXPECT_EQ(platform.threads.GetCurrentThreadId(), platform.threads.GetCurrentThreadId());
}

TEST_P(BothModes, ManyThreadsComeAndGo) {
    Machine machine(Options(3));
    platform::Platform platform = machine.platform();
    std::atomic<int> sum = 0;
    for (int i = 0; i < 200; ++i) {
        const platform::Handle thread = platform.threads.StartThread([&] {
            platform.threads.Sleep(1);
            ++sum;
        });
        EXPECT_TRUE(platform.threads.WaitForThread(thread, kInfinite));
        platform.threads.CloseThread(thread);
    }
    EXPECT_EQ(sum, 200);
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
    EXPECT_LE(std::ranges::count(machine.DescribeThreads(), '\n'), 3) << "threads that ended are forgotten";
}

// The order in which three threads get to make calls.
std::string Order(std::uint64_t seed) {
    Machine machine({seed, Concurrency::kBaton});
    platform::Platform platform = machine.platform();
    std::string order;
    for (const char name : {'a', 'b', 'c'}) {
        machine.Spawn(std::string(1, name), [&, name] {
            for (int i = 0; i < 20; ++i) {
                order += name;
                platform.clock.GetLocalTime();
            }
        });
    }
    machine.JoinAll();
    return order;
}

TEST(Scheduler, SameSeedGivesTheSameOrderAndSeedsDiffer) {
    EXPECT_EQ(Order(0), std::string(20, 'a') + std::string(20, 'b') + std::string(20, 'c'));
    EXPECT_EQ(Order(1), Order(1));
    EXPECT_EQ(Order(2), Order(2));
    EXPECT_NE(Order(1), Order(2));
    EXPECT_NE(Order(1), Order(0));
}

TEST(Scheduler, WaitUntilPollsInVirtualTimeAndGivesUp) {
    Machine machine;
    std::atomic<bool> done = false;
    machine.Spawn("worker", [&] {
        machine.Sleep(2000);
        done = true;
    });
    EXPECT_FALSE(machine.WaitUntil([&] { return done.load(); }, 1000));
    EXPECT_TRUE(machine.WaitUntil([&] { return done.load(); }, 60000));
    EXPECT_LT(machine.NowMilliseconds(), 2100);
}

}  // namespace
}  // namespace tavi::sim
