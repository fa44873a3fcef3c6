#include "listen/listen_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/captured_log.h"
#include "sim/machine.h"
#include "unit/listen/fake_cycle.h"
#include "unit/listen/hooked_platform.h"
#include "unit/listen/log_matching.h"

namespace tavi::listen {
namespace {

using test::Errors;
using test::ServiceError;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kFunction = "ServiceWorkerListenThread";

ListenTaskRecord Task(std::uint32_t interval = 30) {
    return {.userId = u"user", .listenPath = u"C:\\Sync", .usnLocation = 4711, .recordSplitInterval = interval};
}

class ListenWorkerTest : public testing::Test {
protected:
    void TearDown() override {
        worker_.FinishCurrentListenTask();
        EXPECT_EQ(script_.alive, 0);
        EXPECT_EQ(process_.currentTask.Get(), nullptr);
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    // Lets the task run until its thread has ended by itself.
    void RunToItsEnd() {
        ASSERT_TRUE(worker_.Start(Task()));
        ASSERT_TRUE(machine_.WaitUntil([&] { return process_.listenThread.HasEnded(); }));
    }

    sim::CapturedLog log_;
    sim::Machine machine_;
    test::HookedFiles files_{machine_};
    test::HookedThreads threads_{machine_};
    platform::Platform platform_ = test::PlatformWith(machine_.platform(), files_, threads_);
    test::CycleScript script_;
    ListenProcess process_{platform_};
    ListenWorker worker_{platform_, process_, test::FakeCycles(script_)};
};

TEST_F(ListenWorkerTest, CycleIsBuiltFromTheTaskWithItsIntervalInMilliseconds) {
    ASSERT_TRUE(worker_.Start(Task()));
    ASSERT_TRUE(machine_.WaitUntil([&] { return script_.made == 1; }));
    const records::FileChangeRecord::Task task = script_.tasks().front();
    EXPECT_EQ(task.userId, u"user");
    EXPECT_EQ(task.listenPath, u"C:\\Sync");
    EXPECT_EQ(task.startUsn, 4711);
    EXPECT_EQ(task.splitIntervalMs, 30000U);
}

TEST_F(ListenWorkerTest, IntervalWrapsAroundIn32Bits) {
    ASSERT_TRUE(worker_.Start(Task(4294968)));
    ASSERT_TRUE(machine_.WaitUntil([&] { return script_.made == 1; }));
    EXPECT_EQ(script_.tasks().front().splitIntervalMs, 704U);
}

TEST_F(ListenWorkerTest, RunsOneCycleEvery500Milliseconds) {
    std::vector<std::int64_t> times;
    script_.run = [&] {
        times.push_back(machine_.NowMilliseconds());
        return true;
    };
    ASSERT_TRUE(worker_.Start(Task()));
    machine_.Sleep(1600);
    worker_.FinishCurrentListenTask();
    EXPECT_THAT(times, ElementsAre(0, 500, 1000, 1500));
}

TEST_F(ListenWorkerTest, TaskIsTheCurrentOneWhileItRuns) {
    script_.init = [&] {
        EXPECT_EQ(process_.currentTask.Get(), nullptr) << "not before it is initialised";
        return true;
    };
    ASSERT_TRUE(worker_.Start(Task()));
    ASSERT_TRUE(machine_.WaitUntil([&] { return script_.runs == 1; }));
    const std::shared_ptr<const ListenTaskRecord> task = process_.currentTask.Get();
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(task->userId, u"user");
    worker_.FinishCurrentListenTask();
    EXPECT_EQ(process_.currentTask.Get(), nullptr);
    EXPECT_EQ(task->userId, u"user") << "who has read it keeps a living one";
}

TEST_F(ListenWorkerTest, TracesItsStartAndItsEnd) {
    ASSERT_TRUE(worker_.Start(Task()));
    machine_.Sleep(10);
    worker_.FinishCurrentListenTask();
    EXPECT_THAT(log_.Texts(sim::LogKind::kTrace),
                ElementsAre("ServiceWorkerListenThread starts",
                            "{ListenServiceImpl.FinishCurrentListenTask}Stopping the listening task.",
                            "ServiceWorkerListenThread ends",
                            "{ListenServiceImpl.FinishCurrentListenTask}Succeeded in stopping the listening task."));
    EXPECT_THAT(Errors(log_), IsEmpty());
}

TEST_F(ListenWorkerTest, FinishingWithoutATaskOnlySetsTheFlag) {
    worker_.FinishCurrentListenTask();
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_THAT(log_.Texts(sim::LogKind::kTrace),
                ElementsAre("{ListenServiceImpl.FinishCurrentListenTask}Stopping the listening task.",
                            "{ListenServiceImpl.FinishCurrentListenTask}Succeeded in stopping the listening task."));
}

TEST_F(ListenWorkerTest, FinishWaitsForTheCycleInProgress) {
    bool completed = false;
    script_.run = [&] {
        platform_.threads.Sleep(3000);
        completed = true;
        return true;
    };
    ASSERT_TRUE(worker_.Start(Task()));
    machine_.Sleep(100);
    worker_.FinishCurrentListenTask();
    EXPECT_TRUE(completed);
    EXPECT_EQ(machine_.NowMilliseconds(), 3500) << "the cycle and the pause after it";
}

TEST_F(ListenWorkerTest, FailedInitialisationEndsTheTask) {
    script_.init = [] { return false; };
    RunToItsEnd();
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_EQ(script_.runs, 0);
    EXPECT_THAT(Errors(log_), ElementsAre(ServiceError(kFunction, "Failed to initialize the interception function")));
    EXPECT_TRUE(log_.HasTrace("ServiceWorkerListenThread ends"));
}

TEST_F(ListenWorkerTest, FourFailedCyclesInARowEndTheTask) {
    script_.run = [] { return false; };
    RunToItsEnd();
    EXPECT_EQ(script_.runs, 4);
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_THAT(Errors(log_), ElementsAre(ServiceError(
                                  kFunction, "Failed to read records, process records, or write to the database")));
}

TEST_F(ListenWorkerTest, ThreeFailedCyclesAndAGoodOneResetTheCount) {
    script_.run = [&] { return script_.runs % 4 == 0; };  // three fail, one does not
    ASSERT_TRUE(worker_.Start(Task()));
    machine_.Sleep(20 * 500);
    EXPECT_FALSE(process_.listenThread.HasEnded());
    EXPECT_GE(script_.runs, 20);
    EXPECT_THAT(Errors(log_), IsEmpty());
}

TEST_F(ListenWorkerTest, LostPositionEndsTheTaskWhateverTheCycleSaid) {
    script_.positionLost = [&] { return script_.runs == 3; };
    RunToItsEnd();
    EXPECT_EQ(script_.runs, 3);
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_THAT(Errors(log_),
                ElementsAre(ServiceError(kFunction, "A parameter error occurred while reading changeJournal")));
}

TEST_F(ListenWorkerTest, OneIterationSleepsOnlyWhenItGoesOn) {
    test::FakeCycle cycle(script_);
    std::uint32_t failures = 0;
    EXPECT_EQ(worker_.RunIteration(cycle, failures), ListenWorker::Next::kGoOn);
    EXPECT_EQ(machine_.NowMilliseconds(), 500);
    process_.stopListenTask = true;
    EXPECT_EQ(worker_.RunIteration(cycle, failures), ListenWorker::Next::kEnd);
    EXPECT_EQ(machine_.NowMilliseconds(), 500);
    EXPECT_EQ(script_.runs, 1) << "a task that is to end runs no further cycle";
}

TEST_F(ListenWorkerTest, OneIterationCountsFailuresInARow) {
    test::FakeCycle cycle(script_);
    std::uint32_t failures = 0;
    script_.run = [] { return false; };
    for (std::uint32_t expected = 1; expected <= 3; ++expected) {
        EXPECT_EQ(worker_.RunIteration(cycle, failures), ListenWorker::Next::kGoOn);
        EXPECT_EQ(failures, expected);
    }
    script_.run = [] { return true; };
    EXPECT_EQ(worker_.RunIteration(cycle, failures), ListenWorker::Next::kGoOn);
    EXPECT_EQ(failures, 0U);
}

TEST_F(ListenWorkerTest, StartClearsTheStopFlag) {
    process_.stopListenTask = true;
    ASSERT_TRUE(worker_.Start(Task()));
    EXPECT_FALSE(process_.stopListenTask);
}

TEST_F(ListenWorkerTest, ThreadThatCannotBeStartedIsReported) {
    machine_.faults().Fail({.call = "Threads.StartThread"});
    EXPECT_FALSE(worker_.Start(Task()));
    EXPECT_FALSE(process_.listenThread.Joinable());
}

TEST_F(ListenWorkerTest, ThreadWhoseStartThrowsIsReported) {
    threads_.beforeStart = [] { throw std::bad_alloc(); };
    EXPECT_FALSE(worker_.Start(Task()));
    EXPECT_FALSE(process_.listenThread.Joinable());
    threads_.beforeStart = nullptr;
    EXPECT_TRUE(worker_.Start(Task()));
}

TEST_F(ListenWorkerTest, FourthFailedCycleThatLostItsPositionTooIsReportedOnce) {
    script_.run = [] { return false; };
    script_.positionLost = [&] { return script_.runs == 4; };
    RunToItsEnd();
    EXPECT_EQ(script_.runs, 4);
    EXPECT_THAT(Errors(log_), ElementsAre(ServiceError(
                                  kFunction, "Failed to read records, process records, or write to the database")));
}

TEST_F(ListenWorkerTest, AtItsEndTheTaskIsClearedThenTheCycleDestroyedThenItIsTracedThenTheRecordFreed) {
    const auto endTraced = [&] { return log_.HasTrace("ServiceWorkerListenThread ends"); };
    std::weak_ptr<const ListenTaskRecord> record;
    std::vector<std::string> order;
    script_.run = [&] {
        record = process_.currentTask.Get();
        return false;
    };
    script_.destroyed = [&] {
        EXPECT_EQ(process_.currentTask.Get(), nullptr);
        EXPECT_FALSE(endTraced());
        order.push_back("cycle");
    };
    log_.OnLine([&](const sim::LogLine& line) {
        if (line.text == "ServiceWorkerListenThread ends") {
            EXPECT_FALSE(record.expired());
            order.push_back("trace");
        }
    });
    RunToItsEnd();
    log_.OnLine({});
    EXPECT_THAT(order, ElementsAre("cycle", "trace"));
    EXPECT_TRUE(record.expired());
}

TEST_F(ListenWorkerTest, ExceptionEndsTheTaskAndNotTheProcess) {
    script_.run = []() -> bool { throw std::bad_alloc(); };
    RunToItsEnd();
    EXPECT_TRUE(process_.stopListenTask);
    ASSERT_EQ(Errors(log_).size(), 1U);
    EXPECT_THAT(Errors(log_).front().text, testing::StartsWith("std::exception : "));
    EXPECT_TRUE(log_.HasTrace("ServiceWorkerListenThread ends"));
}

}  // namespace
}  // namespace tavi::listen
