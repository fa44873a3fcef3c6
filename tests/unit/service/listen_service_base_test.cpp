#include "service/lifecycle/listen_service_base.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "service/lifecycle/service_dispatch.h"
#include "sim/captured_log.h"
#include "sim/machine.h"

namespace tavi::service {
namespace {

using platform::ServiceStatus;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

ServiceStatus Status(std::uint32_t state, std::uint32_t checkPoint) {
    return {0x10, state, 5, 0, 0, checkPoint, 0};
}

// Does what the test says.
class ScriptedService final : public ListenServiceBase {
public:
    using ListenServiceBase::ListenServiceBase;

    void OnStart() override { onStart(); }
    void OnStop() override { onStop(); }
    void OnShutdown() override { onShutdown(); }
    void WaitForServiceWorkerFinish() override { wait(); }

    std::function<void()> onStart = [] {};
    std::function<void()> onStop = [] {};
    std::function<void()> onShutdown = [] {};
    std::function<void()> wait = [] {};
};

class ListenServiceBaseTest : public testing::Test {
protected:
    ListenServiceBaseTest() {
        service_.SetStatusHandle(
            platform_.services.RegisterServiceCtrlHandlerW(u"TaviLumbraService", [](std::uint32_t) {}));
    }
    std::vector<ServiceStatus> Statuses() { return machine_.services().statuses(); }
    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    CheckPointCounter checkPoints_;
    ScriptedService service_{platform_, checkPoints_, u"TaviLumbraService"};
};

TEST_F(ListenServiceBaseTest, StatusBeginsAsStartPending) {
    EXPECT_EQ(service_.status(), Status(2, 0));
    EXPECT_THAT(Statuses(), IsEmpty());
}

TEST_F(ListenServiceBaseTest, StartReportsPendingWithCheckPointOneThenRunning) {
    service_.onStart = [&] { EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1))); };
    service_.Start();
    EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1), Status(4, 0)));
    EXPECT_THAT(Traces(), ElementsAre("The service task is starting", "The service task has been started"));
}

TEST_F(ListenServiceBaseTest, StopAfterAStartCarriesCheckPointTwo) {
    service_.Start();
    log_.Clear();
    service_.onStop = [&] { EXPECT_EQ(Statuses().back(), Status(3, 2)); };
    service_.Stop();
    EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1), Status(4, 0), Status(3, 2), Status(1, 0)));
    EXPECT_THAT(Traces(), ElementsAre("TaviLumbraService is stopping", "TaviLumbraService is stopped successfully"));
}

TEST_F(ListenServiceBaseTest, EveryTraceStandsInItsPlaceAmongTheReports) {
    using Seen = std::pair<std::string, std::size_t>;  // a trace, and how many reports had been sent by then
    std::vector<Seen> seen;
    log_.OnLine([&](const sim::LogLine& line) { seen.emplace_back(line.text, Statuses().size()); });
    service_.Start();
    EXPECT_THAT(seen,
                ElementsAre(Seen("The service task is starting", 0), Seen("The service task has been started", 2)));
    seen.clear();
    service_.Stop();
    EXPECT_THAT(seen, ElementsAre(Seen("TaviLumbraService is stopping", 2),
                                  Seen("TaviLumbraService is stopped successfully", 4)));
    seen.clear();
    service_.Shutdown();
    EXPECT_THAT(seen, ElementsAre(Seen("The system is shutting down", 4),
                                  Seen("The system is shutting down and services are stopped normally", 4)));
    EXPECT_EQ(Statuses().size(), 5U);
}

TEST_F(ListenServiceBaseTest, CheckPointsRunOnAcrossTheProcesssLife) {
    service_.Stop();
    service_.Stop();
    ScriptedService second(platform_, checkPoints_, u"TaviLumbraService");
    second.Start();
    EXPECT_THAT(Statuses(), testing::IsSupersetOf({Status(3, 1), Status(3, 2)}));
    EXPECT_EQ(second.status().checkPoint, 0U);
    service_.ReportStatus(platform::kServiceStopPending);
    EXPECT_EQ(Statuses().back(), Status(3, 4));
}

TEST_F(ListenServiceBaseTest, ShutdownSendsExactlyOneReport) {
    service_.onShutdown = [&] { EXPECT_THAT(Statuses(), IsEmpty()); };
    service_.Shutdown();
    EXPECT_THAT(Statuses(), ElementsAre(Status(1, 0)));
    EXPECT_THAT(Traces(), ElementsAre("The system is shutting down",
                                      "The system is shutting down and services are stopped normally"));
}

TEST_F(ListenServiceBaseTest, FailingStartLeavesTheServiceReportedAsStopped) {
    service_.onStart = [] { throw std::runtime_error("no luck"); };
    service_.Start();
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Start", "std::exception : no luck"));
    EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1), Status(1, 0)));
    EXPECT_EQ(service_.status(), Status(1, 0));
}

TEST_F(ListenServiceBaseTest, OtherExceptionOutOfAStartIsAFailedStartToo) {
    service_.onStart = [] { throw 7; };
    service_.Start();
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Start", "The service task failed to start"));
    EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1), Status(1, 0)));
}

TEST_F(ListenServiceBaseTest, ExceptionOutOfAStopSendsNoFurtherStatus) {
    service_.onStop = [] { throw std::runtime_error("no luck"); };
    service_.Stop();
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Stop", "std::exception : no luck"));
    EXPECT_THAT(Statuses(), ElementsAre(Status(3, 1)));
}

TEST_F(ListenServiceBaseTest, ExceptionOutOfAShutdownIsLogged) {
    service_.onShutdown = [] { throw std::runtime_error("no luck"); };
    service_.Shutdown();
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Shutdown", "std::exception : no luck"));
    EXPECT_THAT(Statuses(), IsEmpty());
}

TEST_F(ListenServiceBaseTest, NoExceptionWhateverReachesTheControlManagersThread) {
    service_.onStop = [] { throw 7; };
    service_.onShutdown = [] { throw 7; };
    EXPECT_NO_THROW(service_.Stop());
    EXPECT_NO_THROW(service_.Shutdown());
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Stop", "The service task failed to stop"));
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "Shutdown", "The service task failed to shut down"));
}

TEST_F(ListenServiceBaseTest, ReportThatDoesNotArriveChangesNothing) {
    machine_.faults().Fail({.call = "Services.SetServiceStatus"});
    service_.Start();
    EXPECT_THAT(Statuses(), ElementsAre(Status(4, 0)));
    EXPECT_THAT(Traces(), Contains("The service task has been started"));
}

// ---- What the system calls

TEST_F(ListenServiceBaseTest, ServiceMainWithoutAServiceIsANullPointer) {
    ServiceMain();
    EXPECT_TRUE(log_.HasTrace("The ServiceMain function starts"));
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "ServiceMain", "null pointer"));
    EXPECT_THAT(machine_.faults().calls("Services.RegisterServiceCtrlHandlerW"), 1U) << "the fixture's";
}

TEST_F(ListenServiceBaseTest, ServiceMainRegistersTheHandlerStartsAndWaits) {
    std::vector<std::string> order;
    service_.SetStatusHandle(platform::kNoStatusHandle);
    service_.onStart = [&] { order.push_back("start"); };
    service_.wait = [&] { order.push_back("wait"); };
    const CurrentService current(platform_, service_);
    ServiceMain();
    EXPECT_THAT(order, ElementsAre("start", "wait"));
    EXPECT_THAT(Statuses(), ElementsAre(Status(2, 1), Status(4, 0))) << "sent with the handle of the registration";
}

TEST_F(ListenServiceBaseTest, HandlerThatCannotBeRegisteredIsLoggedAndNoStatusReported) {
    machine_.errors().SetText(1717, u"The reason.\r\n");
    machine_.faults().Fail({.call = "Services.RegisterServiceCtrlHandlerW", .code = 1717});
    service_.onStart = [] { ADD_FAILURE() << "was not to be started"; };
    const CurrentService current(platform_, service_);
    ServiceMain();
    EXPECT_TRUE(log_.HasError("ListenServiceBase", "ServiceMain",
                              "Failed to register the service control handler, error code is 1717,reason:The reason."));
    EXPECT_THAT(Statuses(), IsEmpty());
}

TEST_F(ListenServiceBaseTest, ControlHandlerKnowsStopAndShutdownOnly) {
    int stops = 0;
    int shutdowns = 0;
    service_.onStop = [&] { ++stops; };
    service_.onShutdown = [&] { ++shutdowns; };
    const CurrentService current(platform_, service_);
    for (std::uint32_t control = 0; control < 300; ++control) {
        if (control != 1 && control != 5) {
            ControlHandler(control);
        }
    }
    EXPECT_EQ(stops + shutdowns, 0);
    EXPECT_THAT(Statuses(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
    ControlHandler(1);
    EXPECT_EQ(stops, 1);
    ControlHandler(5);
    EXPECT_EQ(shutdowns, 1);
}

TEST_F(ListenServiceBaseTest, InterrogateChangesNothingAndSendsNoStatus) {
    service_.Start();
    const CurrentService current(platform_, service_);
    const std::size_t before = Statuses().size();
    ControlHandler(4);
    EXPECT_EQ(Statuses().size(), before);
    EXPECT_EQ(service_.status(), Status(4, 0));
}

TEST_F(ListenServiceBaseTest, ControlWithoutAServiceDoesNothing) {
    ControlHandler(1);
    ControlHandler(5);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(ListenServiceBaseTest, ServiceStaysUntilItsMainFunctionHasReturned) {
    bool returned = false;
    {
        service_.wait = [&] { platform_.threads.Sleep(3000); };
        CurrentService current(platform_, service_);
        machine_.Spawn("service main", [&] {
            ServiceMain();
            returned = true;
        });
        machine_.Sleep(100);
        current.Leave();
        EXPECT_TRUE(machine_.NowMilliseconds() >= 3000);
    }
    machine_.JoinAll();
    EXPECT_TRUE(returned);
}

TEST_F(ListenServiceBaseTest, ServiceStaysUntilAControlHandlerOnAThreadOfItsOwnHasReturned) {
    for (const std::uint32_t control : {platform::kServiceControlStop, platform::kServiceControlShutdown}) {
        SCOPED_TRACE(control);
        bool returned = false;
        const auto work = [&] {
            platform_.threads.Sleep(3000);
            returned = true;
        };
        service_.onStop = work;
        service_.onShutdown = work;
        const std::int64_t before = machine_.NowMilliseconds();
        {
            CurrentService current(platform_, service_);
            machine_.Spawn("control handler", [&] { ControlHandler(control); });
            machine_.Sleep(100);
            current.Leave();
            EXPECT_TRUE(returned);
            EXPECT_GE(machine_.NowMilliseconds() - before, 3000);
        }
        machine_.JoinAll();
    }
}

TEST_F(ListenServiceBaseTest, ControlThatComesWhileTheServiceLeavesFindsNone) {
    service_.onStop = [&] {
        platform_.threads.Sleep(3000);
        ControlHandler(platform::kServiceControlShutdown);
    };
    service_.onShutdown = [] { ADD_FAILURE() << "the service is on its way out"; };
    CurrentService current(platform_, service_);
    machine_.Spawn("control handler", [&] { ControlHandler(platform::kServiceControlStop); });
    machine_.Sleep(100);
    current.Leave();
    machine_.JoinAll();
}

}  // namespace
}  // namespace tavi::service
