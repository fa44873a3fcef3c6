#include "listen/worker_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

#include "sim/machine.h"
#include "unit/listen/hooked_platform.h"

namespace tavi::listen {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WorkerThreadTest : public testing::Test {
protected:
    void TearDown() override {
        worker_.Join();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    WorkerThread worker_{platform_.threads};
};

TEST_F(WorkerThreadTest, EmptyObjectIsNotJoinableAndJoiningItDoesNothing) {
    EXPECT_FALSE(worker_.Joinable());
    EXPECT_FALSE(worker_.Join());
    EXPECT_TRUE(worker_.HasEnded());
    EXPECT_FALSE(worker_.CancelSynchronousIo());
}

TEST_F(WorkerThreadTest, StaysJoinableAfterItsWorkUntilItIsJoined) {
    bool ran = false;
    ASSERT_TRUE(worker_.Start([&] { ran = true; }));
    ASSERT_TRUE(machine_.WaitUntil([&] { return worker_.HasEnded(); }));
    EXPECT_TRUE(ran);
    EXPECT_TRUE(worker_.Joinable());
    EXPECT_TRUE(worker_.Join());
    EXPECT_FALSE(worker_.Joinable());
    EXPECT_FALSE(worker_.Join());
}

TEST_F(WorkerThreadTest, JoinWaitsForTheWork) {
    ASSERT_TRUE(worker_.Start([&] { platform_.threads.Sleep(700); }));
    EXPECT_FALSE(worker_.HasEnded());
    EXPECT_TRUE(worker_.Join());
    EXPECT_EQ(machine_.NowMilliseconds(), 700);
}

TEST_F(WorkerThreadTest, SeveralMayWaitForItsEndAndItIsClosedOnce) {
    ASSERT_TRUE(worker_.Start([&] { platform_.threads.Sleep(1000); }));
    int waited = 0;
    for (int i = 0; i < 3; ++i) {
        machine_.Spawn("waiter", [&] {
            EXPECT_TRUE(worker_.Join());
            EXPECT_EQ(machine_.NowMilliseconds(), 1000);
            ++waited;
        });
    }
    machine_.JoinAll();
    EXPECT_EQ(waited, 3);
    EXPECT_EQ(machine_.faults().calls("Threads.CloseThread"), 1U);
}

TEST_F(WorkerThreadTest, JoinFromTheThreadItselfDoesNothing) {
    bool joined = true;
    ASSERT_TRUE(worker_.Start([&] {
        platform_.threads.Sleep(10);
        joined = worker_.Join();
    }));
    ASSERT_TRUE(worker_.Join());
    EXPECT_FALSE(joined);
}

TEST_F(WorkerThreadTest, StartThatTheSystemRefusesLeavesItEmpty) {
    machine_.faults().Fail({.call = "Threads.StartThread", .code = 8});
    EXPECT_FALSE(worker_.Start([] { ADD_FAILURE() << "was not started"; }));
    EXPECT_EQ(platform_.errors.GetLastError(), 8U);
    EXPECT_FALSE(worker_.Joinable());
    EXPECT_TRUE(worker_.Start([] {}));
}

TEST_F(WorkerThreadTest, StartThatThrowsLeavesItEmpty) {
    test::HookedThreads threads(machine_);
    WorkerThread worker(threads);
    threads.beforeStart = [] { throw std::bad_alloc(); };
    EXPECT_FALSE(worker.Start([] { ADD_FAILURE() << "was not started"; }));
    EXPECT_FALSE(worker.Joinable());
    EXPECT_TRUE(worker.HasEnded());
    threads.beforeStart = nullptr;
    EXPECT_TRUE(worker.Start([] {}));
    EXPECT_TRUE(worker.Join());
}

TEST_F(WorkerThreadTest, CanBeStartedAgainAfterAJoin) {
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(worker_.Start([&ran, i] { ran.push_back(i); }));
        ASSERT_TRUE(worker_.Join());
    }
    EXPECT_THAT(ran, ElementsAre(0, 1, 2));
}

TEST_F(WorkerThreadTest, WaitThatFailsDoesNotLetGoOfARunningThread) {
    bool done = false;
    ASSERT_TRUE(worker_.Start([&] {
        platform_.threads.Sleep(500);
        done = true;
    }));
    machine_.faults().Fail({.call = "Threads.WaitForThread", .forEver = true});
    EXPECT_TRUE(worker_.Join());
    EXPECT_TRUE(done);
    machine_.faults().Clear();
}

TEST_F(WorkerThreadTest, WhatItsWorkHoldsIsGoneWhenItHasEnded) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    ASSERT_TRUE(worker_.Start([held = std::move(held)] {}));
    ASSERT_TRUE(machine_.WaitUntil([&] { return worker_.HasEnded(); }));
    EXPECT_TRUE(watched.expired());
}

TEST(WorkerThreadDeathTest, StartingIntoAHeldThreadEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            sim::Machine machine;
            WorkerThread worker(machine.platform().threads);
            worker.Start([] {});
            worker.Start([] {});
        },
        "");
}

}  // namespace
}  // namespace tavi::listen
