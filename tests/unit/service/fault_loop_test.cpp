// Every system call of a life fails in turn: the n-th once, and the n-th and all of its kind after it, for n = 1, 2,
// ... until none is left to fail. Whatever fails, the process ends when it is told to, with exit code 0, and holds
// nothing.
#include <set>

#include "unit/service/process_bench.h"

namespace tavi::service {
namespace {

using testing::IsEmpty;

enum class Ever { kOnce, kForEver };

// Without these, a life can neither be told to end nor be seen to: the dispatcher and the reports to it; and nothing
// but a cancellation ends a call on the pipe.
bool EndsTheLifeItself(const std::string& call, Ever ever) {
    static const std::set<std::string> kAlways = {"Services.RegisterServiceCtrlHandlerW", "Services.SetServiceStatus"};
    return kAlways.contains(call) || (ever == Ever::kForEver && call == "Threads.CancelSynchronousIo");
}

// The calls that one undisturbed life makes, each once, in the order of their first appearance.
template <class Life>
std::vector<std::string> CallsOf(Life life) {
    test::ServiceMachine bench;
    life(bench);
    std::vector<std::string> names;
    for (const std::string& call : bench.machine.faults().history()) {
        if (std::find(names.begin(), names.end(), call) == names.end()) {
            names.push_back(call);
        }
    }
    return names;
}

// A service's life: start, a task, its status, a change, its end, stop. Answers may be missing.
void ServeAndStop(test::ServiceMachine& bench) {
    constexpr std::int64_t kPatience = 3000;
    bench.StartProcess();
    bench.machine.services().WaitForState(platform::kServiceRunning, kPatience);
    for (const test::Bytes& request : {test::StartFrame(u"user", u"C:\\Sync", u"0"), test::StatusFrame()}) {
        test::Ask(bench.machine, request, test::kClientProcess, kPatience);
    }
    bench.machine.volume().MakeFile(u"C:\\Sync\\new.txt");
    bench.machine.Sleep(1500);
    test::Ask(bench.machine, test::FinishFrame(), test::kClientProcess, kPatience);
    bench.machine.services().PostControl(platform::kServiceControlStop);
    bench.Join();
}

void Install(test::ServiceMachine& bench) {
    bench.StartProcess({u"/install"});
    bench.Join();
}

// With a user's database to delete, and a service that runs.
void Uninstall(test::ServiceMachine& bench) {
    bench.machine.services().Register({u"TaviLumbraService", u"", 0, 0, 0, 0, u""});
    sim::RegisteredService* registered = bench.machine.services().Registered(u"TaviLumbraService");
    registered->status.currentState = platform::kServiceRunning;
    bench.machine.services().OnControl([](sim::RegisteredService& service, std::uint32_t) {
        service.status.currentState = platform::kServiceStopPending;
        platform::ServiceStatus stopped = service.status;
        stopped.currentState = platform::kServiceStopped;
        service.nextStatuses = {service.status, stopped};
        return 0U;
    });
    bench.StartProcess({u"/uninstall"});
    bench.Join();
}

template <class Life>
void FailEveryCallOf(Life life, Ever ever) {
    int lives = 0;
    for (const std::string& call : CallsOf(life)) {
        if (EndsTheLifeItself(call, ever)) {
            continue;
        }
        for (std::uint64_t n = 1;; ++n) {
            SCOPED_TRACE(call + " number " + std::to_string(n) + (ever == Ever::kForEver ? " for ever" : " once"));
            test::ServiceMachine bench;
            bench.machine.faults().Fail({.call = call, .nth = n, .forEver = ever == Ever::kForEver});
            life(bench);
            const bool fired = bench.machine.faults().fired() != 0;
            bench.machine.faults().Clear();
            ASSERT_EQ(bench.exitCode, 0) << bench.machine.DescribeThreads();
            ASSERT_THAT(bench.machine.leaks(), IsEmpty());
            ++lives;
            // A call that keeps being made all the time is failed forty times: each time tells the same.
            if (!fired || n == 40) {
                break;
            }
        }
    }
    EXPECT_GT(lives, 10);
}

TEST(FaultLoop, ServiceEndsWhenToldToWhicheverCallFailsOnce) {
    FailEveryCallOf(ServeAndStop, Ever::kOnce);
}

TEST(FaultLoop, ServiceEndsWhenToldToWhicheverCallFailsForEver) {
    FailEveryCallOf(ServeAndStop, Ever::kForEver);
}

TEST(FaultLoop, InstallingEndsAndLeaksNothingWhicheverCallFails) {
    FailEveryCallOf(Install, Ever::kOnce);
    FailEveryCallOf(Install, Ever::kForEver);
}

TEST(FaultLoop, UninstallingEndsAndLeaksNothingWhicheverCallFails) {
    FailEveryCallOf(Uninstall, Ever::kOnce);
    FailEveryCallOf(Uninstall, Ever::kForEver);
}

}  // namespace
}  // namespace tavi::service
