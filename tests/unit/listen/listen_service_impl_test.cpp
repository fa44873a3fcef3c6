#include "listen/listen_service_impl.h"

#include <atomic>
#include <new>
#include <stdexcept>
#include <thread>

#include "unit/listen/service_bench.h"

namespace tavi::listen {
namespace {

using test::FinishFrame;
using test::ServiceError;
using test::StartFrame;
using test::StatusFrame;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ListenService : public test::ServiceBench {
protected:
    // Milliseconds of virtual time that a stop takes.
    std::int64_t TimeToStop() {
        const std::int64_t before = machine_.NowMilliseconds();
        service_.OnStop();
        return machine_.NowMilliseconds() - before;
    }
};

// A program that holds its own executable in a way that makes whoever opens it wait: the check of a client opens it
// first for writing, then for reading.
class HeldExecutable : public ListenService {
protected:
    void StopWhileOpeningsWaitFrom(int held) {
        int openings = 0;
        files_.instead = [&](const std::u16string& path) -> std::optional<platform::Handle> {
            if (!path.ends_with(u"\\Client.exe") || ++openings < held) {
                return std::nullopt;
            }
            WaitUntilCancelled();
            return platform::kInvalidHandle;
        };
        service_.OnStart();
        sim::PipeClient client(machine_.pipes());
        ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
        machine_.Sleep(5000);
        machine_.faults().Fail({.call = "Threads.CancelSynchronousIo"});  // the first one comes to nothing
        bool stopped = false;
        machine_.Spawn("stop", [&] {
            service_.OnStop();
            stopped = true;
        });
        EXPECT_TRUE(machine_.WaitUntil([&] { return stopped; }, 2000));
        while (!stopped) {  // in vain: let it end nonetheless
            process_.ipcThread.CancelSynchronousIo();
            machine_.Sleep(100);
        }
        EXPECT_EQ(openings, held) << "an opening that was cancelled is a refusal";
        EXPECT_THAT(Traces(), Contains("Invalid client connection"));
        EXPECT_EQ(test::Errors(log_).size(), 1U);
        machine_.JoinAll();
        files_.instead = nullptr;
    }

private:
    // Leaves the code of a cancelled call behind.
    void WaitUntilCancelled() {
        const platform::Handle pipe = platform_.pipes.CreateNamedPipeW(u"\\\\.\\pipe\\held", 3, 0, 1, 0, 0, 0, {});
        EXPECT_FALSE(platform_.pipes.ConnectNamedPipe(pipe));
        platform_.files.CloseHandle(pipe);
        EXPECT_EQ(platform_.errors.GetLastError(), platform::kErrorOperationAborted);
    }
};

// ---- Start

TEST_F(ListenService, StartClearsItsFlagsAndStartsTheIpcAndTheMainThread) {
    process_.stopIpcThread = true;
    process_.stopService = true;
    process_.suppressStoppedReport = true;
    service_.OnStart();
    EXPECT_EQ(log_.initialisations(), 1);
    EXPECT_THAT(log_.Texts(sim::LogKind::kNet),
                ElementsAre("{ListenServiceImpl.OnStart}Creating IPC Thread and Main Thread"));
    machine_.Sleep(1500);
    EXPECT_THAT(Traces(), ElementsAre("ServiceWorkerIPCThread starts", "ServiceWorkerMainThread starts"));
    EXPECT_FALSE(process_.stopIpcThread);
    EXPECT_FALSE(process_.stopService);
    EXPECT_FALSE(process_.suppressStoppedReport);
}

TEST_F(ListenService, IpcThreadThatCannotBeStartedIsLoggedAndNothingRuns) {
    machine_.faults().Fail({.call = "Threads.StartThread", .nth = 1, .code = 8});
    service_.OnStart();
    EXPECT_THAT(test::Errors(log_),
                ElementsAre(ServiceError("OnStart", "Failed to initialize the service, error code is 8")));
    EXPECT_TRUE(process_.stopIpcThread);
    EXPECT_TRUE(process_.stopService);
    EXPECT_FALSE(process_.ipcThread.Joinable());
    EXPECT_FALSE(process_.mainThread.Joinable());
}

TEST_F(ListenService, MainThreadThatCannotBeStartedLeavesNoIpcThreadBehind) {
    machine_.faults().Fail({.call = "Threads.StartThread", .nth = 2, .code = 8});
    service_.OnStart();
    EXPECT_THAT(test::Errors(log_),
                ElementsAre(ServiceError("OnStart", "Failed to initialize the service, error code is 8")));
    EXPECT_FALSE(process_.ipcThread.Joinable());
    EXPECT_FALSE(process_.mainThread.Joinable());
    EXPECT_THAT(machine_.leaks(), IsEmpty());
}

TEST_F(ListenService, ServiceWithoutWorkersReportsStoppedWhenItIsWaitedFor) {
    machine_.faults().Fail({.call = "Threads.StartThread", .nth = 2});
    service_.OnStart();
    service_.WaitForServiceWorkerFinish();
    ASSERT_EQ(machine_.services().statuses().size(), 1U);
    EXPECT_EQ(machine_.services().statuses().front(), (platform::ServiceStatus{0x10, 1, 5, 0, 0, 0, 0}));
    EXPECT_THAT(Traces(),
                Contains("{ListenServiceImpl.WaitForServiceWorkerFinish}Wait until ServiceWorkerMainThread ends."));
}

TEST_F(ListenService, ThreadStartThatThrowsIsAFailedStart) {
    for (const int thread : {1, 2}) {
        SCOPED_TRACE(thread == 1 ? "the IPC thread" : "the main thread");
        int starts = 0;
        threads_.beforeStart = [&] {
            if (++starts == thread) {
                throw std::bad_alloc();
            }
        };
        log_.Clear();
        service_.OnStart();
        const std::vector<sim::LogLine> errors = test::Errors(log_);
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_EQ(errors[0].classTag, "ListenServiceImpl");
        EXPECT_EQ(errors[0].function, "OnStart");
        EXPECT_THAT(errors[0].text, testing::StartsWith("Failed to initialize the service, error code is "));
        EXPECT_EQ(starts, thread);
        EXPECT_TRUE(process_.stopIpcThread);
        EXPECT_TRUE(process_.stopService);
        EXPECT_FALSE(process_.ipcThread.Joinable());
        EXPECT_FALSE(process_.mainThread.Joinable());
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }
    threads_.beforeStart = nullptr;
}

TEST_F(ListenService, EndOfTheObjectWaitsForAMainThreadThatNobodyStopped) {
    ListenProcess process(platform_);
    {
        ListenServiceImpl service(platform_, checkPoints_, process, test::FakeCycles(script_), u"Another",
                                  test::kPublisher);
        service.OnStart();
        machine_.Sleep(1500);
        log_.Clear();
    }
    EXPECT_FALSE(process.mainThread.Joinable());
    EXPECT_FALSE(process.ipcThread.Joinable());
    EXPECT_THAT(Traces(), Contains("ServiceWorkerMainThread ends"));
    EXPECT_THAT(Traces(), Contains("ServiceWorkerIPCThread ends"));
    EXPECT_THAT(Traces(), Contains("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO"))
        << "the main thread ended it";
}

TEST_F(ListenService, EndOfAnObjectThatWasNeverStartedWaitsForNobody) {
    ListenProcess process(platform_);
    const std::int64_t before = machine_.NowMilliseconds();
    {
        const ListenServiceImpl service(platform_, checkPoints_, process, test::FakeCycles(script_), u"Another",
                                        test::kPublisher);
    }
    EXPECT_EQ(machine_.NowMilliseconds(), before);
    EXPECT_EQ(machine_.faults().calls("Threads.WaitForThread"), 0U);
}

TEST_F(ListenService, EndOfTheObjectEndsWorkersThatHaveNoMainThread) {
    ListenProcess process(platform_);
    {
        ListenServiceImpl service(platform_, checkPoints_, process, test::FakeCycles(script_), u"Another",
                                  test::kPublisher);
        ASSERT_TRUE(process.ipcThread.Start([&] { service.ipcWorker().ServiceWorkerIPCThread(); }));
        ASSERT_TRUE(service.listenWorker().Start({.userId = u"user", .listenPath = u"C:\\Sync"}));
        ASSERT_TRUE(machine_.WaitUntil([&] { return script_.runs > 0; }));
    }
    EXPECT_TRUE(process.stopIpcThread);
    EXPECT_TRUE(process.stopListenTask);
    EXPECT_FALSE(process.ipcThread.Joinable());
    EXPECT_FALSE(process.listenThread.Joinable());
    EXPECT_EQ(script_.alive, 0);
}

TEST_F(ListenService, ExceptionWhileWorkersAreEndedLeavesTheFinishingFlagClear) {
    int thrown = 0;  // outlives the service, whose end logs too
    {
        ListenProcess process(platform_);
        ListenServiceImpl service(platform_, checkPoints_, process, test::FakeCycles(script_), u"Another",
                                  test::kPublisher);
        ASSERT_TRUE(service.listenWorker().Start({.userId = u"user", .listenPath = u"C:\\Sync"}));
        machine_.faults().Fail({.call = "Threads.StartThread", .nth = 2});
        log_.OnLine([&](const sim::LogLine& line) {
            if (line.text.ends_with("Stopping the listening task.") && ++thrown == 1) {
                EXPECT_TRUE(process.suppressStoppedReport);
                throw std::bad_alloc();
            }
        });
        EXPECT_NO_THROW(service.OnStart());
        EXPECT_EQ(thrown, 1);
        EXPECT_FALSE(process.suppressStoppedReport);
    }
    log_.OnLine({});
    EXPECT_EQ(script_.alive, 0) << "it ended with the object";
}

// ---- Stop

TEST_F(ListenService, StopsInItsOrder) {
    service_.OnStart();
    StartTask();
    log_.Clear();
    service_.OnStop();
    std::vector<std::string> traces = Traces();
    std::erase(traces, "Failed to wait for the client to connect.");
    EXPECT_EQ(std::erase(traces, "ServiceWorkerListenThread ends"), 1U) << "before or after the IPC thread's end";
    EXPECT_THAT(traces,
                ElementsAre("{ListenServiceImpl.DisableService}starts",
                            "The service is stopping, wait to ServiceWorkerMainThread ends",
                            "{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO",
                            "ServiceWorkerMainThread is about to exit. Wait until ServiceWorkerIPCTThread ends.",
                            "ServiceWorkerIPCThread ends",
                            "ServiceWorkerMainThread is about to exit. Wait until ServiceWorkerListenThread ends.",
                            "ServiceWorkerMainThread ends", "{ListenServiceImpl.DisableService}ends"));
    EXPECT_TRUE(process_.stopIpcThread);
    EXPECT_TRUE(process_.stopService);
    EXPECT_TRUE(process_.stopListenTask);
    EXPECT_TRUE(process_.suppressStoppedReport);
}

TEST_F(ListenService, ShutdownDiffersFromStopInItsMessageOnly) {
    service_.OnStart();
    service_.OnShutdown();
    EXPECT_THAT(Traces(), Contains("The system is shutting down, wait to ServiceWorkerMainThread ends"));
    EXPECT_THAT(Traces(), Contains("ServiceWorkerMainThread ends"));
}

TEST_F(ListenService, StopWithoutAMainThreadOnlySetsTheFlag) {
    service_.OnStop();
    EXPECT_TRUE(process_.stopService);
    EXPECT_THAT(Traces(),
                ElementsAre("{ListenServiceImpl.DisableService}starts", "{ListenServiceImpl.DisableService}ends"));
}

TEST_F(ListenService, StopEndsWhileTheServiceWaitsForAClient) {
    service_.OnStart();
    machine_.Sleep(300);
    EXPECT_LE(TimeToStop(), 2000);
    EXPECT_EQ(log_.Count("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO"), 1U);
}

TEST_F(ListenService, StopEndsTheReadOfAClientThatIsConnectedAndSilent) {
    service_.OnStart();
    sim::PipeClient client(machine_.pipes());
    ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
    machine_.Sleep(5000);
    EXPECT_LE(TimeToStop(), 2000);
    EXPECT_THAT(log_.Texts(sim::LogKind::kNet),
                Contains("CreateNamedPipe cnp error:Failed to read the named pipe data, error code is 995"));
    EXPECT_THAT(Traces(), Contains("Failed to read the data sent by the client."));
    EXPECT_THAT(Traces(), Contains("ServiceWorkerIPCThread ends"));
}

TEST_F(ListenService, StopEndsTheReadOfHalfAFrame) {
    service_.OnStart();
    sim::PipeClient client(machine_.pipes());
    ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
    ASSERT_EQ(client.WriteMessage("\x40"), 0U);
    machine_.Sleep(5000);
    EXPECT_LE(TimeToStop(), 2000);
}

TEST_F(ListenService, StopEndsTheWaitForAClientThatNeverReadsItsReply) {
    service_.OnStart();
    sim::PipeClient client(machine_.pipes());
    ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
    ASSERT_EQ(client.WriteMessage(test::AsMessage(StatusFrame())), 0U);
    machine_.Sleep(5000);
    EXPECT_LE(TimeToStop(), 2000);
}

TEST_F(ListenService, CancellationThatMeetsNoCallIsRepeatedAndTracedOnce) {
    service_.OnStart();
    machine_.Sleep(300);
    machine_.faults().Fail({.call = "Threads.CancelSynchronousIo", .nth = 1});
    machine_.faults().Fail({.call = "Threads.CancelSynchronousIo", .nth = 2});
    EXPECT_LE(TimeToStop(), 2000);
    EXPECT_GE(machine_.faults().calls("Threads.CancelSynchronousIo"), 3U);
    EXPECT_EQ(log_.Count("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO"), 1U);
}

TEST_F(HeldExecutable, StopEndsTheCheckOfAClientWhoseOpeningForWritingWaits) {
    StopWhileOpeningsWaitFrom(1);
}

TEST_F(HeldExecutable, StopEndsTheCheckOfAClientWhoseOpeningForReadingWaits) {
    StopWhileOpeningsWaitFrom(2);
}

TEST_F(ListenService, CallsOfARequestAreNotCancelled) {
    // The request takes its time in the system, but not on the pipe.
    script_.run = [&] {
        platform_.threads.Sleep(1700);
        return true;
    };
    service_.OnStart();
    StartTask();
    machine_.Spawn("client", [&] { Ask(FinishFrame()); });
    machine_.Sleep(10);
    const std::uint64_t before = machine_.faults().calls("Threads.CancelSynchronousIo");
    service_.OnStop();
    EXPECT_LE(machine_.faults().calls("Threads.CancelSynchronousIo") - before, 1U)
        << "perhaps once for the wait that follows the reply";
}

TEST_F(ListenService, StopMeetsNoFileCallOfAStartRequest) {
    service_.OnStart();
    // Every file and lock of the request takes so long that the stop comes while it is under way.
    const auto thread = [&] { return platform_.threads.GetCurrentThreadId(); };
    std::uint32_t ipcThread = 0;
    int slow = 0;
    std::uint64_t cancellations = 0;
    files_.instead = [&](const std::u16string& path) -> std::optional<platform::Handle> {
        if (path.ends_with(u"\\Client.exe") || path.starts_with(u"\\\\.\\pipe")) {
            return std::nullopt;
        }
        ipcThread = thread();
        ++slow;
        const std::uint64_t before = machine_.faults().calls("Threads.CancelSynchronousIo");
        machine_.Sleep(1500);
        cancellations += machine_.faults().calls("Threads.CancelSynchronousIo") - before;
        return std::nullopt;
    };
    machine_.Spawn("client", [&] { EXPECT_EQ(Ask(StartFrame()), 4U); });
    machine_.Sleep(100);
    ASSERT_GE(slow, 1) << "the request opens a file";
    service_.OnStop();
    files_.instead = nullptr;
    EXPECT_EQ(cancellations, 0U);
    EXPECT_NE(ipcThread, 0U);
    EXPECT_EQ(log_.Count("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO"), 1U);
    machine_.JoinAll();
}

TEST_F(ListenService, TwoMayWaitForTheMainThreadAtTheSameTime) {
    service_.OnStart();
    bool returned = false;
    machine_.Spawn("service main", [&] {
        service_.WaitForServiceWorkerFinish();
        returned = true;
    });
    machine_.Sleep(100);
    service_.OnStop();
    machine_.JoinAll();  // everything has been told to end
    EXPECT_TRUE(returned);
    EXPECT_THAT(machine_.services().statuses(), IsEmpty()) << "the stop reports, not the wait";
}

TEST_F(ListenService, StopGivesUpTheBatchInProgress) {
    // A cycle that gathers until it is told to give up, as one with a long interval does.
    script_.run = [&] {
        while (!process_.suppressStoppedReport) {
            platform_.threads.Sleep(500);
        }
        return true;
    };
    service_.OnStart();
    StartTask();
    EXPECT_LE(TimeToStop(), 2500);
}

TEST_F(ListenService, StopDuringAStartRequestEndsTheTaskThatItStarts) {
    service_.OnStart();
    StartTask();
    // The request waits for the old task, which takes until after the stop has set its flags.
    script_.run = [&] {
        platform_.threads.Sleep(1500);
        return true;
    };
    machine_.Sleep(600);
    machine_.Spawn("client", [&] { Ask(StartFrame()); });
    machine_.Sleep(10);
    service_.OnStop();
    EXPECT_EQ(script_.made, 2) << "the request was served to its end";
    EXPECT_EQ(script_.alive, 0);
}

TEST_F(ListenService, StopDuringAFinishRequestStillKeepsTheWaitFromReporting) {
    service_.OnStart();
    StartTask();
    script_.run = [&] {
        platform_.threads.Sleep(1500);
        return true;
    };
    machine_.Sleep(600);
    machine_.Spawn("client", [&] { EXPECT_EQ(Ask(FinishFrame()), 6U); });
    machine_.Sleep(10);
    service_.OnStop();
    EXPECT_TRUE(process_.suppressStoppedReport);
    service_.WaitForServiceWorkerFinish();
    EXPECT_THAT(machine_.services().statuses(), IsEmpty());
}

TEST_F(ListenService, StopThatComesBeforeTheStartIsNotLost) {
    service_.OnStop();
    service_.OnStart();
    ASSERT_TRUE(machine_.WaitUntil([&] { return process_.mainThread.HasEnded(); }, 2000));
    EXPECT_TRUE(process_.ipcThread.HasEnded());
}

TEST_F(ListenService, ListenTaskIsToldToStopBeforeTheReportIsSuppressed) {
    // The order shows only to somebody who looks all the time.
    for (int round = 0; round < 500; ++round) {
        process_.stopListenTask = false;
        process_.suppressStoppedReport = false;
        std::atomic<bool> looking{false};
        bool toldByThen = false;
        std::thread observer([&] {
            looking = true;
            while (!process_.suppressStoppedReport.load()) {
            }
            toldByThen = process_.stopListenTask.load();
        });
        while (!looking) {
            std::this_thread::yield();
        }
        service_.TearDownWorkers();
        observer.join();
        ASSERT_TRUE(toldByThen) << "round " << round;
    }
}

TEST_F(ListenService, IpcThreadIsCancelledBeforeTheListenTaskIsToldToStop) {
    service_.OnStart();
    machine_.Sleep(100);
    bool seen = false;
    log_.OnLine([&](const sim::LogLine& line) {
        if (line.text == "{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO") {
            seen = true;
            EXPECT_TRUE(process_.stopIpcThread);
            EXPECT_FALSE(process_.stopListenTask);
            EXPECT_FALSE(process_.suppressStoppedReport);
        }
    });
    service_.OnStop();
    log_.OnLine({});
    EXPECT_TRUE(seen);
}

TEST_F(ListenService, MainThreadPollsOnceASecond) {
    EXPECT_EQ(service_.PollForStop(), ListenServiceImpl::MainNext::kGoOn);
    EXPECT_EQ(machine_.NowMilliseconds(), 1000);
    process_.stopService = true;
    EXPECT_EQ(service_.PollForStop(), ListenServiceImpl::MainNext::kTearDown);
    EXPECT_EQ(machine_.NowMilliseconds(), 1000);
}

TEST_F(ListenService, PipeThatCannotBeCreatedEndsTheWorkersWithinASecondAndReportsNothing) {
    machine_.pipes().Occupy(ipc::ListenServiceNamedPipe::PipeName, 231);
    service_.OnStart();
    service_.WaitForServiceWorkerFinish();
    EXPECT_LE(machine_.NowMilliseconds(), 1100);
    EXPECT_THAT(machine_.services().statuses(), IsEmpty());
}

// ---- Commands

TEST_F(ListenService, StatusRequestWithNoRunningTaskRepliesZero) {
    service_.OnStart();
    EXPECT_EQ(Ask(StatusFrame()), 0U);
}

TEST_F(ListenService, StatusRequestRepliesTwoWhileTheJournalIsUsableAndOneAfter) {
    service_.OnStart();
    StartTask();
    EXPECT_EQ(Ask(StatusFrame()), 2U);
    machine_.volume().WithJournal([](auto& journal) { journal.Delete(); });
    EXPECT_EQ(Ask(StatusFrame()), 1U);
}

TEST_F(ListenService, StatusRequestRepliesOneWhenTheVolumeCannotBeOpened) {
    service_.OnStart();
    StartTask();
    const auto client = machine_.Spawn("client", [&] {
        sim::PipeClient end(machine_.pipes());
        ASSERT_EQ(end.Connect(test::kClientProcess), 0U);
        machine_.Sleep(10);  // the client is accepted: no file is opened any more but the volume
        machine_.faults().Fail({.call = "Files.CreateFileW", .code = 5});
        end.WriteMessage(test::AsMessage(StatusFrame()));
        std::string reply;
        ASSERT_EQ(end.ReadMessage(reply), 0U);
        EXPECT_EQ(test::LittleEndian32(test::AsBytes(reply), 4), 1U);
    });
    machine_.Join(client);
}

TEST_F(ListenService, StatusRequestWhileTheTaskIsBeingInitialisedRepliesZero) {
    script_.init = [&] {
        platform_.threads.Sleep(3000);
        return true;
    };
    service_.OnStart();
    ASSERT_EQ(Ask(StartFrame()), 4U);
    EXPECT_EQ(Ask(StatusFrame()), 0U);
    ASSERT_TRUE(machine_.WaitUntil([&] { return script_.runs > 0; }));
    EXPECT_EQ(Ask(StatusFrame()), 2U);
}

TEST_F(ListenService, FinishRequestWithNoRunningTaskStillRepliesSix) {
    service_.OnStart();
    EXPECT_EQ(Ask(FinishFrame()), 6U);
    EXPECT_FALSE(process_.suppressStoppedReport);
}

TEST_F(ListenService, FinishRequestEndsTheTaskAndRepliesSix) {
    service_.OnStart();
    StartTask();
    EXPECT_EQ(Ask(FinishFrame()), 6U);
    EXPECT_EQ(script_.alive, 0);
    EXPECT_FALSE(process_.suppressStoppedReport);
    EXPECT_EQ(Ask(StatusFrame()), 0U);
}

TEST_F(ListenService, FinishRequestSetsTheFlagThatGivesUpABatch) {
    script_.run = [&] {
        while (!process_.suppressStoppedReport) {
            platform_.threads.Sleep(500);
        }
        return true;
    };
    service_.OnStart();
    StartTask();
    EXPECT_EQ(Ask(FinishFrame()), 6U);
}

TEST_F(ListenService, StatusRequestAfterATaskEndedByItselfRepliesZero) {
    script_.run = [] { return false; };
    service_.OnStart();
    ASSERT_EQ(Ask(StartFrame()), 4U);
    ASSERT_TRUE(machine_.WaitUntil([&] { return process_.listenThread.HasEnded(); }));
    EXPECT_EQ(Ask(StatusFrame()), 0U);
}

TEST_F(ListenService, ExceptionInAStartRequestIsLoggedAndAnswersFive) {
    service_.OnStart();
    log_.OnLine([](const sim::LogLine& line) {
        if (line.text == "First login process") {
            throw std::runtime_error("no memory");
        }
    });
    EXPECT_EQ(Ask(StartFrame()), 5U);
    log_.OnLine({});
    EXPECT_THAT(test::Errors(log_),
                Contains(ServiceError("HandleSyncFileMsgForBeginningListenTask", "std::exception : no memory")));
    EXPECT_EQ(Ask(StatusFrame()), 0U) << "the next client is served";
    EXPECT_EQ(script_.made, 0);
}

// ---- Clients that do not behave

TEST_F(ListenService, TenThousandConnectionsLeaveNothingBehind) {
    service_.OnStart();
    ASSERT_EQ(Ask(StatusFrame()), 0U);
    machine_.Sleep(10);  // the service lets go of the client
    const std::size_t handles = machine_.OpenHandles();
    for (int i = 0; i < 10000; ++i) {
        sim::PipeClient client(machine_.pipes());
        ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
        if (i % 3 == 0) {
            client.WriteMessage(test::AsMessage(StatusFrame()));
            std::string reply;
            ASSERT_EQ(client.ReadMessage(reply), 0U);
        }
        client.Close();
        if (i % 1000 == 0) {
            log_.Clear();
        }
    }
    EXPECT_EQ(Ask(StatusFrame()), 0U);
    machine_.Sleep(10);
    EXPECT_EQ(machine_.OpenHandles(), handles);
}

TEST_F(ListenService, SilentClientHoldsUpOthersOnlyAsLongAsItStays) {
    service_.OnStart();
    machine_.Spawn("silent", [&] {
        sim::PipeClient client(machine_.pipes());
        ASSERT_EQ(client.Connect(test::kClientProcess), 0U);
        machine_.Sleep(20000);
    });
    machine_.Sleep(10);
    EXPECT_EQ(Ask(StatusFrame()), 0U);
    EXPECT_GE(machine_.NowMilliseconds(), 20000);
}

}  // namespace
}  // namespace tavi::listen
