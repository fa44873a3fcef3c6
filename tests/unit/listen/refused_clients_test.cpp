// A local program that connects as often as it can and is refused each time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "listen/ipc_worker.h"
#include "unit/listen/client_machine.h"

namespace tavi::listen {
namespace {

using testing::IsEmpty;

class OneAnswer : public ipc::ClientCommands {
public:
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams&) override { return 4; }
    void FinishCurrentListenTask() override {}
    void SetFinishing(bool) override {}
    UsnStatus DetectUsnStatus() override { return UsnStatus::kUsable; }
};

class RefusedClients : public testing::Test {
protected:
    RefusedClients() { test::AddClients(machine_); }
    void SetUp() override { ASSERT_TRUE(worker_.pipe().Create()); }
    void TearDown() override {
        worker_.pipe().Close();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
    }

    // So many connections, one after the other, of the process that the function names.
    template <typename ProcessOf>
    void Connect(int connections, ProcessOf processOf) {
        const auto clients = machine_.Spawn("clients", [this, connections, processOf] {
            for (int i = 0; i < connections; ++i) {
                sim::PipeClient client(machine_.pipes());
                ASSERT_EQ(client.Connect(processOf(i)), 0U);
                std::string reply;
                ASSERT_NE(client.ReadMessage(reply), 0U);
            }
        });
        for (int i = 0; i < connections; ++i) {
            worker_.ServeOneClient();
        }
        machine_.Join(clients);
    }
    // How long the genuine client waits for its reply.
    std::int64_t AskMs() {
        const std::int64_t before = machine_.NowMilliseconds();
        std::optional<std::uint32_t> reply;
        const auto client =
            machine_.Spawn("genuine client", [this, &reply] { reply = test::Ask(machine_, test::StatusFrame()); });
        worker_.ServeOneClient();
        machine_.Join(client);
        EXPECT_EQ(reply, 2U);
        return machine_.NowMilliseconds() - before;
    }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    ListenProcess process_{platform_};
    OneAnswer commands_;
    IpcWorker worker_{platform_, process_, commands_, test::kPublisher};
};

TEST_F(RefusedClients, AHundredThousandConnectionsOfOneProcessAreOneLine) {
    constexpr int kConnections = 100'000;
    const std::int64_t before = machine_.NowMilliseconds();
    Connect(kConnections, [](int) { return test::kUnsignedProcess; });
    EXPECT_EQ(log_.Texts(sim::LogKind::kError).size(), 1U);
    // The service pauses between them and so does little for them.
    EXPECT_GE(machine_.NowMilliseconds() - before, (kConnections - 4) * std::int64_t{100});
    EXPECT_LE(AskMs(), 1000);
}

TEST_F(RefusedClients, ConnectionsOfManyProcessesAreAtMostAHundredLinesAnHour) {
    constexpr int kConnections = 2'000;  // with pauses of 100 ms: three minutes
    Connect(kConnections, [](int i) { return 100'000U + static_cast<std::uint32_t>(i); });  // none is there any more
    EXPECT_EQ(log_.Texts(sim::LogKind::kError).size(), 100U);
    EXPECT_LE(AskMs(), 1000);
}

}  // namespace
}  // namespace tavi::listen
