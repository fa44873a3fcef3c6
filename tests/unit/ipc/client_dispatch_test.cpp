#include "ipc/client_dispatch.h"

#include <new>

#include "support/forwarding.h"
#include "support/platform_with.h"
#include "unit/ipc/pipe_bench.h"

namespace tavi::ipc {
namespace {

using test::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;

// Writes down what it is asked for.
class RecordedCommands : public ClientCommands {
public:
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ListenTaskParams& params) override {
        asked.push_back("start");
        started = params;
        return startStatus;
    }
    void FinishCurrentListenTask() override { asked.push_back("finish"); }
    void SetFinishing(bool finishing) override { asked.push_back(finishing ? "finishing" : "not finishing"); }
    UsnStatus DetectUsnStatus() override {
        asked.push_back("detect");
        return usnStatus;
    }

    std::vector<std::string> asked;
    ListenTaskParams started;
    std::uint32_t startStatus = 0;
    UsnStatus usnStatus = UsnStatus::kNoTask;
};

class ClientDispatch : public test::PipeBench {
protected:
    // Dispatches the command for a client that reads its reply; the reply's status.
    std::uint32_t Dispatch(const ListenTaskParams& params) {
        std::string reply;
        ServeClient([&reply](sim::PipeClient& client) { EXPECT_EQ(client.ReadMessage(reply), 0U); });
        DispatchClientMessage(pipe_, commands_, params);
        machine_.JoinAll();
        const Bytes bytes = test::AsBytes(reply);
        EXPECT_EQ(bytes.size(), 8U);
        EXPECT_EQ(test::LittleEndian32(bytes, 0), 8U);
        return test::LittleEndian32(bytes, 4);
    }

    static ListenTaskParams Command(std::uint32_t command) {
        ListenTaskParams params;
        params.valid = true;
        params.command = command;
        return params;
    }

    RecordedCommands commands_;
};

TEST_F(ClientDispatch, StartIsAnsweredWithItsHandlersStatus) {
    ListenTaskParams params = Command(protocol::kStartListenTask);
    params.userId = u"user";
    params.listenPath = u"C:\\Sync";
    params.databasePath = u"C:\\Data";
    params.recordSplitInterval = 7;
    for (std::uint32_t status = 0; status <= 5; ++status) {
        commands_.startStatus = status;
        EXPECT_EQ(Dispatch(params), status);
        EXPECT_EQ(commands_.started, params);
    }
    EXPECT_EQ(log_.Count(sim::LogKind::kNet, "SyncFile requests to start a listening task"), 6U);
    EXPECT_EQ(log_.Lines().size(), 6U) << log_.Dump();
}

TEST_F(ClientDispatch, FinishEndsTheTaskWhileTheFinishingFlagIsSet) {
    EXPECT_EQ(Dispatch(Command(protocol::kFinishListenTasks)), 6U);
    EXPECT_THAT(commands_.asked, ElementsAre("finishing", "finish", "not finishing"));
    EXPECT_THAT(log_.Texts(sim::LogKind::kTrace), ElementsAre("SyncFile requests to finish listening tasks"));
}

TEST_F(ClientDispatch, FinishingFlagIsClearedAfterTheReplyOnly) {
    ServeClient([](sim::PipeClient& client) {
        std::string reply;
        client.ReadMessage(reply);
    });
    struct Watching final : RecordedCommands {
        explicit Watching(sim::Machine& machine) : machine_(machine) {}
        void SetFinishing(bool finishing) override {
            writes.push_back(machine_.faults().calls("Files.WriteFile"));
            RecordedCommands::SetFinishing(finishing);
        }
        sim::Machine& machine_;
        std::vector<std::uint64_t> writes;
    } watching(machine_);
    DispatchClientMessage(pipe_, watching, Command(protocol::kFinishListenTasks));
    EXPECT_THAT(watching.writes, ElementsAre(0U, 1U));
}

TEST_F(ClientDispatch, ReplyThatThrowsLeavesTheFinishingFlagClear) {
    struct ThrowingFiles final : test::ForwardingFiles {
        using ForwardingFiles::ForwardingFiles;
        bool WriteFile(platform::Handle, std::span<const std::byte>, std::uint32_t&) override {
            throw std::bad_alloc();
        }
    } files(platform_.files);
    platform::Platform platform = test::PlatformWith(platform_, files);
    ListenServiceNamedPipe pipe(platform);
    DispatchClientMessage(pipe, commands_, Command(protocol::kFinishListenTasks));
    EXPECT_TRUE(log_.HasError("ListenServiceImpl", "ListenServiceNamedPipe",
                              std::string("std::exception : ") + std::bad_alloc().what()));
    EXPECT_THAT(commands_.asked, ElementsAre("finishing", "finish", "not finishing"));
    EXPECT_FALSE(pipe.blockingCalls().UnderWay());
}

TEST_F(ClientDispatch, TaskWhoseEndThrowsLeavesTheFinishingFlagClear) {
    struct Throwing final : RecordedCommands {
        void FinishCurrentListenTask() override { throw std::bad_alloc(); }
    } throwing;
    EXPECT_THROW(DispatchClientMessage(pipe_, throwing, Command(protocol::kFinishListenTasks)), std::bad_alloc);
    EXPECT_THAT(throwing.asked, ElementsAre("finishing", "not finishing"));
}

TEST_F(ClientDispatch, StatusRequestWithNoRunningTaskAnswersZero) {
    commands_.usnStatus = ClientCommands::UsnStatus::kNoTask;
    EXPECT_EQ(Dispatch(Command(protocol::kDetectUsnStatus)), 0U);
    EXPECT_THAT(commands_.asked, ElementsAre("detect"));
    EXPECT_THAT(log_.Texts(sim::LogKind::kTrace), ElementsAre("SyncFile requests to detect USN status"));
}

TEST_F(ClientDispatch, StatusRequestAnswersOneForAnUnusablePositionAndTwoForAUsableOne) {
    commands_.usnStatus = ClientCommands::UsnStatus::kUnusable;
    EXPECT_EQ(Dispatch(Command(protocol::kDetectUsnStatus)), 1U);
    commands_.usnStatus = ClientCommands::UsnStatus::kUsable;
    EXPECT_EQ(Dispatch(Command(protocol::kDetectUsnStatus)), 2U);
}

TEST_F(ClientDispatch, EveryCommandEndsWithFlushAndDisconnect) {
    for (const std::uint32_t command :
         {protocol::kStartListenTask, protocol::kFinishListenTasks, protocol::kDetectUsnStatus}) {
        ServeClient([](sim::PipeClient& client) {
            std::string reply;
            client.ReadMessage(reply);
        });
        machine_.faults().ClearHistory();
        DispatchClientMessage(pipe_, commands_, Command(command));
        EXPECT_THAT(machine_.faults().history(),
                    ElementsAre("Files.WriteFile", "Files.FlushFileBuffers", "Pipes.DisconnectNamedPipe"));
        machine_.JoinAll();
    }
}

TEST_F(ClientDispatch, ReplyThatCannotBeWrittenIsLoggedAndThePipeStillDisconnected) {
    ServeSilentClient();
    machine_.faults().Fail({.call = "Files.WriteFile", .code = 1717});
    machine_.faults().ClearHistory();
    DispatchClientMessage(pipe_, commands_, Command(protocol::kDetectUsnStatus));
    EXPECT_THAT(NetLines(),
                ElementsAre("ListenServiceNamedPipe error:Failed to write the named pipe, error code is 1717"));
    EXPECT_THAT(machine_.faults().history(),
                ElementsAre("Files.WriteFile", "Files.FlushFileBuffers", "Pipes.DisconnectNamedPipe"));
}

TEST_F(ClientDispatch, SendReplySaysWhetherItWasWritten) {
    ServeSilentClient();
    EXPECT_TRUE(SendReply(pipe_, 3));
    machine_.faults().Fail({.call = "Files.WriteFile"});
    EXPECT_FALSE(SendReply(pipe_, 3));
}

}  // namespace
}  // namespace tavi::ipc
