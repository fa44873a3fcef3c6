#include "ipc/blocking_calls.h"

#include <stdexcept>

#include "unit/ipc/pipe_bench.h"

namespace tavi::ipc {
namespace {

class BlockingCallsTest : public testing::Test {
protected:
    void TearDown() override { machine_.JoinAll(); }

    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    BlockingCalls calls_{platform_.threads};
};

TEST_F(BlockingCallsTest, ResultOfTheCallIsHandedOn) {
    EXPECT_EQ(calls_.Run([] { return 42; }), 42);
    EXPECT_FALSE(calls_.UnderWay());
}

TEST_F(BlockingCallsTest, OnlyACallUnderWayIsCancelled) {
    int cancelled = 0;
    const auto cancel = [&] { ++cancelled; };
    EXPECT_FALSE(calls_.CancelUnderWay(cancel));
    EXPECT_EQ(cancelled, 0);
    calls_.Run([&] {
        EXPECT_TRUE(calls_.UnderWay());
        EXPECT_TRUE(calls_.CancelUnderWay(cancel));
        EXPECT_TRUE(calls_.CancelUnderWay(cancel)) << "again and again";
        return true;
    });
    EXPECT_EQ(cancelled, 2);
    EXPECT_FALSE(calls_.CancelUnderWay(cancel));
    EXPECT_EQ(cancelled, 2);
}

TEST_F(BlockingCallsTest, NextCallBeginsOnlyWhenACancellationIsOver) {
    std::int64_t wentOn = 0;
    machine_.Spawn("caller", [&] {
        calls_.Run([&] {
            machine_.Sleep(100);
            return true;
        });
        wentOn = machine_.NowMilliseconds();
    });
    machine_.Sleep(50);
    EXPECT_TRUE(calls_.CancelUnderWay([&] { machine_.Sleep(200); }));
    machine_.JoinAll();
    EXPECT_GE(wentOn, 250) << "what comes after the call would have been cancelled in its place";
    EXPECT_FALSE(calls_.UnderWay());
}

TEST_F(BlockingCallsTest, CallThatThrowsIsNoLongerUnderWay) {
    EXPECT_THROW(calls_.Run([]() -> bool { throw std::runtime_error("no memory"); }), std::runtime_error);
    EXPECT_FALSE(calls_.UnderWay());
}

class PipesBlockingCalls : public test::PipeBench {};

TEST_F(PipesBlockingCalls, LinesAboutThemAreWrittenAfterThem) {
    int lines = 0;
    ServeSilentClient();
    log_.OnLine([&](const sim::LogLine&) {
        ++lines;
        EXPECT_FALSE(pipe_.blockingCalls().UnderWay()) << "a cancellation could meet the log";
    });
    machine_.faults().Fail({.call = "Pipes.ConnectNamedPipe"});
    machine_.faults().Fail({.call = "Files.ReadFile"});
    machine_.faults().Fail({.call = "Files.WriteFile"});
    EXPECT_FALSE(pipe_.Connect());
    FrameBuffer frame;
    EXPECT_FALSE(pipe_.Read(frame));
    EXPECT_FALSE(pipe_.Write(test::RawFrame(8, 6)));
    log_.OnLine({});
    EXPECT_EQ(lines, 3);
}

}  // namespace
}  // namespace tavi::ipc
