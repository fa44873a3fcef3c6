#include "listen/ipc_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "unit/listen/client_machine.h"
#include "unit/listen/hooked_platform.h"
#include "unit/listen/log_matching.h"

namespace tavi::listen {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// Answers every status request with 2, and looks at the machine meanwhile.
class OneAnswer : public ipc::ClientCommands {
public:
    explicit OneAnswer(sim::Machine& machine) : machine_(machine) {}
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams&) override { return 4; }
    void FinishCurrentListenTask() override {}
    void SetFinishing(bool) override {}
    UsnStatus DetectUsnStatus() override {
        ++asked;
        if (throws) {
            throw std::runtime_error("no memory");
        }
        for (const std::string& open : machine_.leaks()) {
            processesHeld += open.find("process") != std::string::npos ? 1 : 0;
        }
        return UsnStatus::kUsable;
    }

    bool throws = false;
    int asked = 0;
    int processesHeld = 0;

private:
    sim::Machine& machine_;
};

class IpcWorkerTest : public testing::Test {
protected:
    IpcWorkerTest() { test::AddClients(machine_); }
    void TearDown() override {
        machine_.JoinAll();
        worker_.pipe().Close();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    // One turn of the thread's loop, with a client that does this meanwhile.
    void Serve(std::function<void(sim::PipeClient&)> client, std::uint32_t processId = test::kClientProcess) {
        ASSERT_TRUE(worker_.pipe().IsValid() || worker_.pipe().Create());
        const auto thread = machine_.Spawn("client", [this, processId, client = std::move(client)] {
            sim::PipeClient end(machine_.pipes());
            ASSERT_EQ(end.Connect(processId), 0U);
            client(end);
        });
        worker_.ServeOneClient();
        machine_.Join(thread);
    }
    void ExpectNoReply(const test::Bytes& message) {
        Serve([&](sim::PipeClient& client) {
            client.WriteMessage(test::AsMessage(message));
            std::string reply;
            EXPECT_NE(client.ReadMessage(reply), 0U);
        });
    }
    void ExpectGoodClientIsServed() {
        Serve([](sim::PipeClient& client) {
            client.WriteMessage(test::AsMessage(test::StatusFrame()));
            std::string reply;
            EXPECT_EQ(client.ReadMessage(reply), 0U);
            EXPECT_EQ(test::LittleEndian32(test::AsBytes(reply), 4), 2U);
        });
    }
    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }

    sim::CapturedLog log_;
    sim::Machine machine_;
    test::HookedFiles files_{machine_};
    test::HookedThreads threads_{machine_};
    platform::Platform platform_ = test::PlatformWith(machine_.platform(), files_, threads_);
    ListenProcess process_{platform_};
    OneAnswer commands_{machine_};
    IpcWorker worker_{platform_, process_, commands_, test::kPublisher};
};

TEST_F(IpcWorkerTest, GoodClientIsAnsweredAndDisconnectedOnce) {
    ExpectGoodClientIsServed();
    EXPECT_THAT(Traces(), ElementsAre("SyncFile requests to detect USN status"));
    EXPECT_EQ(machine_.faults().calls("Files.FlushFileBuffers"), 1U);
    EXPECT_EQ(machine_.faults().calls("Pipes.DisconnectNamedPipe"), 1U);
}

TEST_F(IpcWorkerTest, ClientsProcessIsHeldWhileItIsServed) {
    ExpectGoodClientIsServed();
    EXPECT_EQ(commands_.processesHeld, 1);
}

TEST_F(IpcWorkerTest, ExceptionIsLoggedAndCostsThisClientItsConnectionOnly) {
    commands_.throws = true;
    ExpectNoReply(test::StatusFrame());
    EXPECT_THAT(test::Errors(log_),
                ElementsAre(test::ServiceError("ServiceWorkerIPCThread", "std::exception : no memory")));
    EXPECT_EQ(machine_.faults().calls("Pipes.DisconnectNamedPipe"), 1U);
    commands_.throws = false;
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, FailedWaitIsTracedAndThePipeMadeReadyAgain) {
    ASSERT_TRUE(worker_.pipe().Create());
    machine_.faults().Fail({.call = "Pipes.ConnectNamedPipe"});
    machine_.faults().ClearHistory();
    worker_.ServeOneClient();
    EXPECT_THAT(Traces(), ElementsAre("Failed to wait for the client to connect."));
    EXPECT_THAT(machine_.faults().history(),
                ElementsAre("Pipes.ConnectNamedPipe", "Files.FlushFileBuffers", "Pipes.DisconnectNamedPipe"));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, WaitsThatFailTimeAndAgainDoNotSpin) {
    ASSERT_TRUE(worker_.pipe().Create());
    machine_.faults().Fail({.call = "Pipes.ConnectNamedPipe", .forEver = true});
    for (int i = 0; i < 12; ++i) {
        worker_.ServeOneClient();
    }
    EXPECT_EQ(machine_.NowMilliseconds(), 1000) << "from the third on, each waits a tenth of a second";
    machine_.faults().Clear();
    ExpectGoodClientIsServed();
    EXPECT_EQ(machine_.NowMilliseconds(), 1000);
}

TEST_F(IpcWorkerTest, ClientWithoutAProcessIdIsTurnedAway) {
    machine_.faults().Fail({.call = "Pipes.GetNamedPipeClientProcessId"});
    ExpectNoReply(test::StatusFrame());
    EXPECT_THAT(Traces(), ElementsAre("Failed to obtain the client process ID", "The client connection is invalid."));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, ClientsWithoutTheRightSignatureAreTurnedAway) {
    for (const std::uint32_t processId : {test::kUnsignedProcess, test::kOtherPublisherProcess, 31337U}) {
        log_.Clear();
        Serve(
            [](sim::PipeClient& client) {
                client.WriteMessage(test::AsMessage(test::StatusFrame()));
                std::string reply;
                EXPECT_NE(client.ReadMessage(reply), 0U);
            },
            processId);
        EXPECT_THAT(Traces(), ElementsAre("Invalid client connection", "The client connection is invalid."));
        EXPECT_EQ(test::Errors(log_).size(), 1U) << "the reason, once per client";
    }
    EXPECT_EQ(commands_.asked, 0);
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, ClientThatConnectsAndDropsIsTraced) {
    Serve([](sim::PipeClient& client) { client.Close(); });
    EXPECT_THAT(Traces(), ElementsAre("Failed to read the data sent by the client."));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, HalfAFrameAndADropIsTraced) {
    Serve([](sim::PipeClient& client) {
        client.WriteMessage(test::AsMessage(test::StartFrame()).substr(0, 20));
        client.Close();
    });
    EXPECT_THAT(Traces(), ElementsAre("Failed to read the data sent by the client."));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, FrameThatAnnouncesFourGigabytesGetsNoReply) {
    ExpectNoReply(test::RawFrame(0xFFFFFFFF, 0));
    EXPECT_THAT(Traces(), ElementsAre("Failed to read the data sent by the client."));
    EXPECT_THAT(log_.Texts(sim::LogKind::kNet), ElementsAre("Failed to reserve space for receive data"));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, EachMalformedFrameGetsNoReplyAndDoesNotDisturbTheNextClient) {
    struct Row {
        const char* error;
        test::Bytes frame;
    };
    const Row rows[] = {
        {"The total length of received data is incorrect", test::Bytes(4)},
        {"The total length field in the received data is incorrect", test::RawFrame(7, 1)},
        {"The total length field in the received data is incorrect", test::RawFrame(8, 1, 1)},
        {"The command in the received message is incorrect", test::RawFrame(8, 3)},
        {"The length of the JSON data is incorrect", test::RawFrame(9, 0, 1)},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.error);
        log_.Clear();
        ExpectNoReply(row.frame);
        EXPECT_THAT(test::Errors(log_), ElementsAre(test::ServiceError("GetSyncFileMessageAndCheck", row.error)));
        EXPECT_THAT(Traces(), ElementsAre("The format of the data sent from the client is incorrect."));
        ExpectGoodClientIsServed();
    }
}

TEST_F(IpcWorkerTest, BadParametersGetNoReplyAndDoNotDisturbTheNextClient) {
    ExpectNoReply(test::Frame(0, u"[]"));
    EXPECT_THAT(Traces(), ElementsAre("Failed to parse JSON data or not object",
                                      "The format of the data sent from the client is incorrect."));
    log_.Clear();
    ExpectNoReply(test::StartFrame(u""));
    EXPECT_THAT(Traces(), ElementsAre("Invalid parameter,userIdSize:0",
                                      "The format of the data sent from the client is incorrect."));
    ExpectGoodClientIsServed();
}

TEST_F(IpcWorkerTest, PipeThatCannotBeCreatedEndsTheWholeService) {
    machine_.pipes().Occupy(ipc::ListenServiceNamedPipe::PipeName, 231);
    worker_.ServiceWorkerIPCThread();
    EXPECT_TRUE(process_.stopIpcThread);
    EXPECT_TRUE(process_.stopService);
    EXPECT_THAT(Traces(), ElementsAre("ServiceWorkerIPCThread starts", "ServiceWorkerIPCThread ends"));
    EXPECT_EQ(machine_.faults().calls("Pipes.CreateNamedPipeW"), 1U) << "it is tried once";
}

TEST_F(IpcWorkerTest, PipeIsClosedBeforeTheServiceIsToldToStop) {
    int closed = 0;
    files_.beforeClose = [&](platform::Handle) {
        if (process_.stopIpcThread) {  // the pipe's: the client's process was let go of before
            ++closed;
            EXPECT_FALSE(process_.stopService);
        }
    };
    machine_.faults().Fail({.call = "Pipes.ConnectNamedPipe"});
    log_.OnLine([&](const sim::LogLine& line) {
        if (line.text == "Failed to wait for the client to connect.") {
            process_.stopIpcThread = true;
        }
    });
    worker_.ServiceWorkerIPCThread();
    log_.OnLine({});
    EXPECT_EQ(closed, 1);
    EXPECT_TRUE(process_.stopService);
}

TEST_F(IpcWorkerTest, SecurityObjectsOfAPipeThatCannotBeCreatedAreReleasedBeforeTheFlagsAreSet) {
    test::HookedPipes pipes(machine_);
    platform::Platform hooked = test::PlatformWith(machine_.platform(), pipes);
    int freed = 0;
    pipes.beforeFreeSid = [&] {
        ++freed;
        EXPECT_FALSE(process_.stopIpcThread);
        EXPECT_FALSE(process_.stopService);
    };
    machine_.pipes().Occupy(ipc::ListenServiceNamedPipe::PipeName, 231);
    IpcWorker worker(hooked, process_, commands_, test::kPublisher);
    worker.ServiceWorkerIPCThread();
    EXPECT_EQ(freed, 2);
    EXPECT_TRUE(process_.stopIpcThread);
    EXPECT_TRUE(process_.stopService);
}

TEST_F(IpcWorkerTest, ThreadServesClientsUntilItIsToldToStop) {
    machine_.Spawn("clients", [&] {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(test::Ask(machine_, test::StatusFrame()), 2U);
        }
        sim::PipeClient last(machine_.pipes());
        ASSERT_EQ(last.Connect(test::kClientProcess), 0U);
        process_.stopIpcThread = true;
        last.WriteMessage(test::AsMessage(test::StatusFrame()));
        std::string reply;
        EXPECT_EQ(last.ReadMessage(reply), 0U) << "the one that is being served";
    });
    worker_.ServiceWorkerIPCThread();
    EXPECT_EQ(commands_.asked, 4);
    EXPECT_FALSE(worker_.pipe().IsValid());
    EXPECT_TRUE(process_.stopService);
}

TEST_F(IpcWorkerTest, ThreadThatIsToldToStopBeforeItBeginsCreatesNoPipe) {
    process_.stopIpcThread = true;
    worker_.ServiceWorkerIPCThread();
    EXPECT_EQ(machine_.faults().calls("Pipes.CreateNamedPipeW"), 0U);
    EXPECT_FALSE(process_.stopService);
}

}  // namespace
}  // namespace tavi::listen
