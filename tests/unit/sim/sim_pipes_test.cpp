#include "sim/sim_pipes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char16_t* kName = u"\\\\.\\pipe\\TestPipe";

class PipesTest : public testing::TestWithParam<Concurrency> {
protected:
    PipesTest() : machine({0, GetParam()}), platform(machine.platform()), client(machine.pipes()) {}

    Handle Create() { return platform.pipes.CreateNamedPipeW(kName, 3, 14, 1, 4096, 4096, 0, {}); }

    // The server's end with a client connected.
    Handle Connected(std::uint32_t processId = 77) {
        const Handle pipe = Create();
        const auto thread = machine.Spawn("client", [&] { EXPECT_EQ(client.Connect(processId), 0U); });
        // Where threads run freely the client may be there first, which the system reports as a failure of this kind.
        EXPECT_TRUE(platform.pipes.ConnectNamedPipe(pipe) || platform.errors.GetLastError() == kErrorPipeConnected);
        machine.Join(thread);
        return pipe;
    }

    std::pair<bool, std::string> Read(Handle pipe, std::size_t bytes = 4096) {
        std::string buffer(bytes, '\0');
        std::uint32_t read = 0;
        const bool ok = platform.files.ReadFile(pipe, std::as_writable_bytes(std::span(buffer)), read);
        error = ok ? 0 : platform.errors.GetLastError();
        return {ok, buffer.substr(0, read)};
    }

    bool Write(Handle pipe, const std::string& message) {
        std::uint32_t written = 0;
        const bool ok = platform.files.WriteFile(pipe, std::as_bytes(std::span(message)), written);
        error = ok ? 0 : platform.errors.GetLastError();
        return ok && written == message.size();
    }

    Machine machine;
    Platform platform;
    PipeClient client;
    std::atomic<std::uint32_t> error = 0;  // of the last Read or Write, which several threads make
};
INSTANTIATE_TEST_SUITE_P(SimPipes, PipesTest, testing::Values(Concurrency::kBaton, Concurrency::kFree),
                         [](const auto& mode) { return mode.param == Concurrency::kBaton ? "Baton" : "Free"; });

TEST_P(PipesTest, MessagesKeepTheirBoundaries) {
    const Handle pipe = Connected();
    EXPECT_EQ(client.WriteMessage("one"), 0U);
    EXPECT_EQ(client.WriteMessage(""), 0U);
    EXPECT_EQ(client.WriteMessage("three"), 0U);
    EXPECT_EQ(Read(pipe), std::pair(true, std::string("one")));
    EXPECT_EQ(Read(pipe), std::pair(true, std::string()));
    EXPECT_EQ(Read(pipe), std::pair(true, std::string("three")));
    platform.files.CloseHandle(pipe);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_P(PipesTest, MessageLargerThanTheBufferGives234AndGoesOn) {
    const Handle pipe = Connected();
    client.WriteMessage("abcdef");
    EXPECT_EQ(Read(pipe, 4), std::pair(false, std::string("abcd")));
    EXPECT_EQ(error, kErrorMoreData);
    EXPECT_EQ(Read(pipe, 4), std::pair(true, std::string("ef")));
}

TEST_P(PipesTest, ReadWaitsForAMessage) {
    const Handle pipe = Connected();
    machine.Spawn("writer", [&] {
        machine.Sleep(300);
        client.WriteMessage("late");
    });
    EXPECT_EQ(Read(pipe), std::pair(true, std::string("late")));
    EXPECT_EQ(machine.NowMilliseconds(), 300);
}

TEST_P(PipesTest, ClientThatClosedGives109AfterItsLastMessageAnd232ToWrites) {
    const Handle pipe = Connected();
    client.WriteMessage("last");
    client.Close();
    EXPECT_TRUE(Read(pipe).first);
    EXPECT_FALSE(Read(pipe).first);
    EXPECT_EQ(error, kErrorBrokenPipe);
    EXPECT_FALSE(Write(pipe, "x"));
    EXPECT_EQ(error, kErrorNoData);
}

TEST_P(PipesTest, ClientThatCameTooEarlyGives535) {
    const Handle pipe = Create();
    EXPECT_EQ(client.Connect(5), 0U);
    EXPECT_FALSE(platform.pipes.ConnectNamedPipe(pipe));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorPipeConnected);
    client.Close();
    EXPECT_FALSE(platform.pipes.ConnectNamedPipe(pipe));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorNoData);
}

TEST_P(PipesTest, ServesOneClientAtATime) {
    const Handle pipe = Connected();
    PipeClient second(machine.pipes());
    EXPECT_EQ(second.Connect(6, 100), kErrorPipeBusy);
    EXPECT_TRUE(platform.pipes.DisconnectNamedPipe(pipe));
    EXPECT_EQ(second.Connect(6, 100), kErrorPipeBusy) << "until the server waits again";
    machine.Spawn("second", [&] { EXPECT_EQ(second.Connect(6), 0U); });
    EXPECT_TRUE(platform.pipes.ConnectNamedPipe(pipe));
    std::uint32_t processId = 0;
    EXPECT_TRUE(platform.pipes.GetNamedPipeClientProcessId(pipe, processId));
    EXPECT_EQ(processId, 6U);
    EXPECT_EQ(client.WriteMessage("x"), kErrorPipeNotConnected) << "the first one is out";
    EXPECT_FALSE(platform.files.GetFileSizeEx(Handle{pipe}, *std::make_unique<std::int64_t>()));
}

TEST_P(PipesTest, DisconnectDropsWhatWasNotReadAndCutsBothSides) {
    const Handle pipe = Connected();
    EXPECT_TRUE(Write(pipe, "reply"));
    EXPECT_TRUE(platform.pipes.DisconnectNamedPipe(pipe));
    std::string message;
    EXPECT_EQ(client.ReadMessage(message), kErrorPipeNotConnected);
    EXPECT_FALSE(Read(pipe).first);
    EXPECT_EQ(error, kErrorPipeNotConnected);
    EXPECT_FALSE(Write(pipe, "x"));
    EXPECT_EQ(error, kErrorPipeNotConnected);
    std::uint32_t processId = 0;
    EXPECT_FALSE(platform.pipes.GetNamedPipeClientProcessId(pipe, processId));
    EXPECT_FALSE(platform.pipes.DisconnectNamedPipe(pipe));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorPipeNotConnected);
}

TEST_P(PipesTest, FlushWaitsUntilTheClientHasRead) {
    const Handle pipe = Connected();
    EXPECT_TRUE(Write(pipe, "reply"));
    std::string message;
    machine.Spawn("reader", [&] {
        machine.Sleep(250);
        EXPECT_EQ(client.ReadMessage(message), 0U);
    });
    EXPECT_TRUE(platform.files.FlushFileBuffers(pipe));
    EXPECT_EQ(machine.NowMilliseconds(), 250);
    EXPECT_EQ(message, "reply");
    EXPECT_THAT(machine.pipes().written(), ElementsAre("reply"));
}

TEST_P(PipesTest, FlushOfAReplyThatIsNeverReadEndsWithTheClientOrACancel) {
    const Handle pipe = Connected();
    EXPECT_TRUE(Write(pipe, "reply"));
    machine.Spawn("leaver", [&] {
        machine.Sleep(10);
        client.Close();
    });
    EXPECT_FALSE(platform.files.FlushFileBuffers(pipe));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorBrokenPipe);
}

TEST_P(PipesTest, WriteBlocksWhenTheBufferIsFull) {
    const Handle pipe = Connected();
    EXPECT_TRUE(Write(pipe, std::string(4000, 'a')));
    std::string message;
    machine.Spawn("reader", [&] {
        machine.Sleep(90);
        client.ReadMessage(message);
    });
    EXPECT_TRUE(Write(pipe, std::string(1000, 'b')));
    EXPECT_EQ(machine.NowMilliseconds(), 90);
}

TEST_P(PipesTest, CancelBreaksReadsWritesAndFlushes) {
    const Handle pipe = Connected();
    std::vector<std::uint32_t> codes;
    const Handle thread = platform.threads.StartThread([&] {
        EXPECT_FALSE(Read(pipe).first);
        codes.push_back(error);
        EXPECT_TRUE(Write(pipe, std::string(4000, 'a')));
        EXPECT_FALSE(Write(pipe, std::string(4000, 'b')));
        codes.push_back(error);
        EXPECT_FALSE(platform.files.FlushFileBuffers(pipe));
        codes.push_back(platform.errors.GetLastError());
    });
    for (int i = 0; i < 3; ++i) {
        machine.Sleep(1);
        EXPECT_TRUE(platform.threads.CancelSynchronousIo(thread));
    }
    EXPECT_TRUE(platform.threads.WaitForThread(thread, kInfinite));
    EXPECT_THAT(codes, ElementsAre(kErrorOperationAborted, kErrorOperationAborted, kErrorOperationAborted));
}

TEST_P(PipesTest, ServerThatClosesLetsTheClientReadWhatIsThere) {
    const Handle pipe = Connected();
    EXPECT_TRUE(Write(pipe, "last words"));
    EXPECT_TRUE(platform.files.CloseHandle(pipe));
    std::string message;
    EXPECT_EQ(client.ReadMessage(message), 0U);
    EXPECT_EQ(message, "last words");
    EXPECT_EQ(client.ReadMessage(message), kErrorBrokenPipe);
    EXPECT_EQ(client.WriteMessage("x"), kErrorNoData);
}

TEST_P(PipesTest, ClientReadGivesUpWhenNothingComes) {
    Connected();
    std::string message;
    EXPECT_EQ(client.ReadMessage(message, 500), 258U);
    EXPECT_EQ(machine.NowMilliseconds(), 500);
    PipeClient other(machine.pipes());
    EXPECT_EQ(other.ReadMessage(message), kErrorInvalidHandle) << "never connected";
}

TEST_P(PipesTest, NameIsTakenWhileTheInstanceLives) {
    const Handle pipe = Create();
    EXPECT_EQ(Create(), kInvalidHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorPipeBusy);
    platform.files.CloseHandle(pipe);
    EXPECT_NE(Create(), kInvalidHandle);
    machine.pipes().Occupy(kName, kErrorAccessDenied);
    EXPECT_EQ(Create(), kInvalidHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorAccessDenied);
    PipeClient none(machine.pipes());
}

TEST_P(PipesTest, SecurityOfThePipeCanBeLookedAt) {
    const std::array<std::uint8_t, 6> authority = {0, 0, 0, 0, 0, 5};
    const std::array<std::uint32_t, 2> subAuthorities = {32, 544};
    Sid sid = kNoSid;
    ASSERT_TRUE(platform.pipes.AllocateAndInitializeSid(authority, subAuthorities, sid));
    const std::array<ExplicitAccess, 1> entries = {{{kGenericAll, kSetAccess, 0, 0, kTrusteeIsGroup, sid}}};
    Acl acl = kNoAcl;
    ASSERT_EQ(platform.pipes.SetEntriesInAclW(entries, acl), 0U);
    const LocalMemory descriptor = platform.pipes.LocalAlloc(kLptr, 40);
    EXPECT_FALSE(platform.pipes.SetSecurityDescriptorDacl(descriptor, true, acl, false)) << "not yet initialised";
    ASSERT_TRUE(platform.pipes.InitializeSecurityDescriptor(descriptor, 1));
    ASSERT_TRUE(platform.pipes.SetSecurityDescriptorDacl(descriptor, true, acl, false));
    const Handle pipe = platform.pipes.CreateNamedPipeW(kName, 3, 14, 1, 4096, 2048, 7, {descriptor, false});
    const std::vector<PipeCreation> creations = machine.pipes().creations();
    ASSERT_EQ(creations.size(), 1U);
    EXPECT_EQ(creations[0].inBufferSize, 2048U);
    ASSERT_EQ(creations[0].grants.size(), 1U);
    EXPECT_EQ(creations[0].grants[0].access.accessPermissions, kGenericAll);
    EXPECT_THAT(creations[0].grants[0].subAuthorities, ElementsAre(32, 544));
    EXPECT_EQ(machine.leaks().size(), 4U);
    platform.files.CloseHandle(pipe);
    platform.pipes.FreeSid(sid);
    platform.pipes.FreeAcl(acl);
    platform.pipes.LocalFree(descriptor);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_P(PipesTest, ProductOpensThePipeAsAClientByItsName) {
    EXPECT_EQ(platform.files.CreateFileW(kName, kGenericRead | kGenericWrite, 0, kOpenExisting, 0), kInvalidHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorFileNotFound);
    const Handle server = Create();
    machine.pipes().SetOwnProcessId(99);
    Handle own = kInvalidHandle;
    const auto opening = machine.Spawn("client", [&] {
        machine.Sleep(5);
        own = platform.files.CreateFileW(kName, kGenericRead | kGenericWrite, 0, kOpenExisting, 0);
        EXPECT_TRUE(Write(own, "request"));
    });
    EXPECT_TRUE(platform.pipes.ConnectNamedPipe(server));
    EXPECT_EQ(Read(server).second, "request");
    machine.Join(opening);
    std::uint32_t processId = 0;
    EXPECT_TRUE(platform.pipes.GetNamedPipeClientProcessId(server, processId));
    EXPECT_EQ(processId, 99U);
    EXPECT_TRUE(Write(server, "reply"));
    EXPECT_EQ(Read(own, 3), std::pair(false, std::string("rep")));
    EXPECT_EQ(Read(own, 3), std::pair(true, std::string("ly")));
    EXPECT_TRUE(platform.files.CloseHandle(own));
    EXPECT_FALSE(Read(server).first);
    EXPECT_EQ(error, kErrorBrokenPipe);
}

}  // namespace
}  // namespace tavi::sim
