#include "ipc/named_pipe.h"

#include <algorithm>
#include <functional>
#include <new>

#include "support/forwarding.h"
#include "support/platform_with.h"
#include "unit/ipc/pipe_bench.h"

namespace tavi::ipc {
namespace {

using test::AsBytes;
using test::AsMessage;
using test::Bytes;
using test::RawFrame;
using testing::ElementsAre;
using testing::IsEmpty;

class NamedPipe : public test::PipeBench {
protected:
    bool Read(Bytes& received) {
        FrameBuffer frame(&memory_);
        const bool complete = pipe_.Read(frame);
        received.assign(frame.begin(), frame.end());
        return complete;
    }

    BoundedMemory memory_;
};

TEST_F(NamedPipe, IsCreatedForOneLocalClientInMessageMode) {
    ASSERT_TRUE(pipe_.Create());
    ASSERT_EQ(machine_.pipes().creations().size(), 1U);
    const sim::PipeCreation creation = machine_.pipes().creations().front();
    EXPECT_EQ(creation.name, u"\\\\.\\pipe\\TaviListenServiceNamePipe");
    EXPECT_EQ(creation.openMode, 3U);
    EXPECT_EQ(creation.pipeMode, 14U);
    EXPECT_EQ(creation.maximumInstances, 1U);
    EXPECT_EQ(creation.outBufferSize, 4096U);
    EXPECT_EQ(creation.inBufferSize, 4096U);
    EXPECT_EQ(creation.defaultTimeout, 0U);
    EXPECT_FALSE(creation.inheritHandle);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(NamedPipe, RemoteClientIsRefusedByThePipeMode) {
    ASSERT_TRUE(pipe_.Create());
    constexpr std::uint32_t kRejectRemoteClients = 8;
    EXPECT_NE(machine_.pipes().creations().front().pipeMode & kRejectRemoteClients, 0U);
}

TEST_F(NamedPipe, GrantsLocalProcessesReadAndWriteAndAdministratorsEverything) {
    ASSERT_TRUE(pipe_.Create());
    const sim::PipeCreation creation = machine_.pipes().creations().front();
    EXPECT_EQ(creation.descriptorFlags, 0x40U) << "zeroed";
    EXPECT_EQ(creation.descriptorBytes, 40U);
    EXPECT_TRUE(creation.daclPresent);
    EXPECT_FALSE(creation.daclDefaulted);
    ASSERT_EQ(creation.grants.size(), 2U);

    const auto& local = creation.grants[0];
    EXPECT_EQ(local.authority, (std::array<std::uint8_t, 6>{0, 0, 0, 0, 0, 2}));
    EXPECT_THAT(local.subAuthorities, ElementsAre(0U));
    EXPECT_EQ(local.access.accessPermissions, 0xC0000000U);
    EXPECT_EQ(local.access.accessMode, 2U);
    EXPECT_EQ(local.access.inheritance, 0U);
    EXPECT_EQ(local.access.trusteeForm, 0U);
    EXPECT_EQ(local.access.trusteeType, 5U);

    const auto& administrators = creation.grants[1];
    EXPECT_EQ(administrators.authority, (std::array<std::uint8_t, 6>{0, 0, 0, 0, 0, 5}));
    EXPECT_THAT(administrators.subAuthorities, ElementsAre(32U, 544U));
    EXPECT_EQ(administrators.access.accessPermissions, 0x10000000U);
    EXPECT_EQ(administrators.access.accessMode, 2U);
    EXPECT_EQ(administrators.access.inheritance, 0U);
    EXPECT_EQ(administrators.access.trusteeForm, 0U);
    EXPECT_EQ(administrators.access.trusteeType, 2U);
}

TEST_F(NamedPipe, EachStepOfTheCreationFailsWithItsOwnText) {
    struct Row {
        const char* call;
        std::uint64_t nth;
        const char* line;
    };
    const Row rows[] = {
        {"Pipes.AllocateAndInitializeSid", 1,
         "CreateNamedPipe error:Failed to initialize the local sid, error code is 1717"},
        {"Pipes.AllocateAndInitializeSid", 2,
         "CreateNamedPipe sid error:Failed to initialize the admin sid, error code is 1717"},
        {"Pipes.SetEntriesInAclW", 1, "CreateNamedPipe acl error:Failed to set Entries In ACL, error code is 1717"},
        {"Pipes.LocalAlloc", 1, "CreateNamedPipe lal error:Failed to allocate space for the SD, error code is 1717"},
        {"Pipes.InitializeSecurityDescriptor", 1,
         "CreateNamedPipe isde error:Failed to initialize the security descriptor, error code is 1717"},
        {"Pipes.SetSecurityDescriptorDacl", 1,
         "CreateNamedPipe sdda error:Failed to set the security descriptor Dacl, error code is 1717"},
        {"Pipes.CreateNamedPipeW", 1, "CreateNamedPipe cnp error:Failed to create the named pipe, error code is 1717"},
    };
    std::size_t built = 0;  // how many objects stand before the failing step: one more each time, up to four
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        log_.Clear();
        machine_.faults().Fail({.call = row.call, .nth = row.nth, .code = 1717});
        EXPECT_FALSE(pipe_.Create());
        EXPECT_FALSE(pipe_.IsValid());
        EXPECT_THAT(NetLines(), ElementsAre(row.line));
        EXPECT_EQ(log_.Lines().size(), 1U) << log_.Dump();
        EXPECT_EQ(machine_.leaks().size(), std::min<std::size_t>(built, 4)) << "left for Close to release";
        pipe_.Close();
        EXPECT_THAT(machine_.leaks(), IsEmpty());
        ++built;
    }
    EXPECT_TRUE(pipe_.Create()) << "the next attempt is as good as the first";
}

TEST_F(NamedPipe, NameThatAnotherProgramCreatedFirstIsAFailure) {
    machine_.pipes().Occupy(ListenServiceNamedPipe::PipeName, 231);
    EXPECT_FALSE(pipe_.Create());
    EXPECT_THAT(NetLines(),
                ElementsAre("CreateNamedPipe cnp error:Failed to create the named pipe, error code is 231"));
}

TEST_F(NamedPipe, CloseMayBeCalledAgain) {
    ASSERT_TRUE(pipe_.Create());
    pipe_.Close();
    EXPECT_FALSE(pipe_.IsValid());
    EXPECT_THAT(machine_.leaks(), IsEmpty());
    machine_.faults().ClearHistory();
    pipe_.Close();
    EXPECT_THAT(machine_.faults().history(), IsEmpty()) << "nothing is released twice";
}

TEST_F(NamedPipe, CreatingAgainReleasesWhatAFailedCreationLeft) {
    machine_.faults().Fail({.call = "Pipes.CreateNamedPipeW", .nth = 1, .code = 1717});
    ASSERT_FALSE(pipe_.Create());
    const std::size_t left = machine_.leaks().size();
    ASSERT_TRUE(pipe_.Create());
    EXPECT_TRUE(pipe_.IsValid());
    EXPECT_EQ(machine_.leaks().size(), left + 1) << "the same again and the pipe";
}

TEST_F(NamedPipe, ClientThatConnectedBeforeTheWaitIsReportedAsAFailure) {
    ASSERT_TRUE(pipe_.Create());
    sim::PipeClient early(machine_.pipes());
    ASSERT_EQ(early.Connect(test::kClientProcess), 0U);
    EXPECT_FALSE(pipe_.Connect());
    EXPECT_THAT(NetLines(), ElementsAre("ConnectNamedPipe error:Failed to connect to the client, error code is 535"));
}

TEST_F(NamedPipe, ClientProcessIdIsHandedBack) {
    ServeSilentClient();
    EXPECT_EQ(pipe_.GetClientProcessId(), (std::pair<std::uint32_t, bool>{test::kClientProcess, true}));
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(NamedPipe, ClientProcessIdThatCannotBeHadIsAFailure) {
    ServeSilentClient();
    machine_.faults().Fail({.call = "Pipes.GetNamedPipeClientProcessId", .code = 1717});
    EXPECT_EQ(pipe_.GetClientProcessId(), (std::pair<std::uint32_t, bool>{0, false}));
    EXPECT_THAT(NetLines(), ElementsAre("GetNamedPipeClientProcessId error:Failed to obtain the client process ID, "
                                        "error code is 1717"));
}

TEST_F(NamedPipe, FrameOfOneMessageIsReadWhole) {
    const Bytes sent = RawFrame(300, 1, 292);
    ServeClient([&](sim::PipeClient& client) { client.WriteMessage(AsMessage(sent)); });
    Bytes received;
    EXPECT_TRUE(Read(received));
    EXPECT_EQ(received, sent);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(NamedPipe, FrameThatAnnouncesMoreThanArrivesKeepsTheReadWaiting) {
    const Bytes sent = RawFrame(24, 1, 16);
    ServeClient([&](sim::PipeClient& client) {
        const std::string message = AsMessage(sent);
        client.WriteMessage(message.substr(0, 10));
        machine_.Sleep(5000);
        EXPECT_TRUE(pipe_.blockingCalls().UnderWay());
        client.WriteMessage(message.substr(10, 13));
        machine_.Sleep(5000);
        EXPECT_TRUE(pipe_.blockingCalls().UnderWay());
        client.WriteMessage(message.substr(23));
    });
    Bytes received;
    EXPECT_TRUE(Read(received));
    EXPECT_EQ(received, sent);
    EXPECT_EQ(machine_.NowMilliseconds(), 10000);
    EXPECT_FALSE(pipe_.blockingCalls().UnderWay());
}

TEST_F(NamedPipe, FewerThanFourBytesAreAssembledWithTheNextMessages) {
    const Bytes sent = RawFrame(8, 1);
    ServeClient([&](sim::PipeClient& client) {
        for (const char byte : AsMessage(sent)) {
            client.WriteMessage(std::string(1, byte));
        }
    });
    Bytes received;
    EXPECT_TRUE(Read(received));
    EXPECT_EQ(received, sent);
}

TEST_F(NamedPipe, MessageThatFillsTheScratchBufferIsReadAndALongerOneFails) {
    ServeClient([](sim::PipeClient& client) { client.WriteMessage(AsMessage(RawFrame(4096, 1, 4088))); });
    Bytes received;
    EXPECT_TRUE(Read(received));
    EXPECT_EQ(received.size(), 4096U);
    pipe_.FlushAndDisconnect();

    ServeClient([](sim::PipeClient& client) { client.WriteMessage(AsMessage(RawFrame(4097, 1, 4089))); });
    EXPECT_FALSE(Read(received));
    EXPECT_THAT(NetLines(),
                ElementsAre("CreateNamedPipe cnp error:Failed to read the named pipe data, error code is 234"));
}

TEST_F(NamedPipe, MoreBytesThanAnnouncedEndTheRead) {
    ServeClient([](sim::PipeClient& client) { client.WriteMessage(AsMessage(RawFrame(8, 1, 100))); });
    Bytes received;
    EXPECT_TRUE(Read(received)) << "whether they are right is for the frame's checks to say";
    EXPECT_EQ(received.size(), 108U);
}

TEST_F(NamedPipe, ReadOfNothingFails) {
    ServeClient([](sim::PipeClient& client) { client.WriteMessage(""); });
    Bytes received;
    EXPECT_FALSE(Read(received));
    ASSERT_EQ(NetLines().size(), 1U);
    EXPECT_THAT(NetLines().front(),
                testing::StartsWith("CreateNamedPipe cnp error:Failed to read the named pipe data, error code is "));
}

TEST_F(NamedPipe, ClientThatIsGoneEndsTheRead) {
    ServeClient([](sim::PipeClient& client) {
        client.WriteMessage("abc");
        client.Close();
    });
    Bytes received;
    EXPECT_FALSE(Read(received));
    EXPECT_THAT(NetLines(),
                ElementsAre("CreateNamedPipe cnp error:Failed to read the named pipe data, error code is 109"));
}

TEST_F(NamedPipe, ReadBeginsWithAnEmptyBuffer) {
    ServeClient([](sim::PipeClient& client) { client.WriteMessage(AsMessage(RawFrame(8, 2))); });
    FrameBuffer frame(100, std::byte{0xFF}, &memory_);
    EXPECT_TRUE(pipe_.Read(frame));
    EXPECT_EQ(Bytes(frame.begin(), frame.end()), RawFrame(8, 2));
}

TEST_F(NamedPipe, FailedReadLeavesAnEmptyBuffer) {
    ServeClient([](sim::PipeClient& client) {
        client.WriteMessage("abc");
        client.Close();
    });
    FrameBuffer frame(100, std::byte{0xFF}, &memory_);
    EXPECT_FALSE(pipe_.Read(frame));
    EXPECT_THAT(frame, IsEmpty()) << "what had come says nothing without the rest";
}

TEST_F(NamedPipe, MessageOfExactlyFourBytesIsTheLengthOfWhatFollows) {
    const Bytes sent = RawFrame(24, 1, 16);
    ServeClient([&](sim::PipeClient& client) {
        client.WriteMessage(AsMessage(sent).substr(0, 4));
        client.WriteMessage(AsMessage(sent).substr(4));
    });
    Bytes received;
    EXPECT_TRUE(Read(received));
    EXPECT_EQ(received, sent);
}

TEST_F(NamedPipe, MessageOfFourBytesThatAnnouncesFourIsAWholeFrame) {
    ServeClient([](sim::PipeClient& client) {
        client.WriteMessage(std::string("\4\0\0\0", 4));
        client.WriteMessage("never asked for");
    });
    Bytes received;
    EXPECT_TRUE(Read(received)) << "that it is too short is for the frame's checks to say";
    EXPECT_EQ(received.size(), 4U);
}

TEST_F(NamedPipe, NoScratchBufferMeansNoRead) {
    ServeSilentClient();
    machine_.faults().Fail({.call = "Heap.HeapAlloc"});
    Bytes received(10);
    EXPECT_FALSE(Read(received));
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(NamedPipe, FrameThatAnnouncesFourGigabytesIsRefused) {
    ServeClient([](sim::PipeClient& client) { client.WriteMessage(AsMessage(RawFrame(0xFFFFFFFF, 0, 100))); });
    Bytes received;
    EXPECT_FALSE(Read(received));
    EXPECT_THAT(NetLines(), ElementsAre("Failed to reserve space for receive data"));
}

TEST_F(NamedPipe, NoClientMakesTheServiceTakeMoreMemoryThanTheLimit) {
    // What was announced could be reserved; what follows overshoots it, and cannot.
    BoundedMemory small(4096);
    ServeClient([](sim::PipeClient& client) {
        client.WriteMessage(AsMessage(RawFrame(4096, 0, 4000)));
        client.WriteMessage(std::string(4096, 'x'));
    });
    FrameBuffer frame(&small);
    EXPECT_FALSE(pipe_.Read(frame));
    EXPECT_LE(frame.capacity(), 4096U);
    EXPECT_THAT(NetLines(), ElementsAre("Failed to reserve space for receive data"));
}

TEST_F(NamedPipe, ReplyOfEightBytesIsWrittenByOneCall) {
    ServeClient([](sim::PipeClient& client) {
        std::string reply;
        EXPECT_EQ(client.ReadMessage(reply), 0U);
        EXPECT_EQ(reply, "12345678");
    });
    EXPECT_TRUE(pipe_.Write(AsBytes("12345678")));
    EXPECT_EQ(machine_.faults().calls("Files.WriteFile"), 1U);
}

TEST_F(NamedPipe, ReplyOf2500BytesIsWrittenInThreePieces) {
    ServeSilentClient();
    EXPECT_TRUE(pipe_.Write(Bytes(2500)));
    std::vector<std::size_t> sizes;
    for (const std::string& piece : machine_.pipes().written()) {
        sizes.push_back(piece.size());
    }
    EXPECT_THAT(sizes, ElementsAre(1024U, 1024U, 452U));
}

// Takes fewer bytes than it is offered.
class SlowFiles : public test::ForwardingFiles {
public:
    SlowFiles(platform::Files& real, std::size_t atMost) : ForwardingFiles(real), atMost_(atMost) {}

    bool WriteFile(platform::Handle handle, std::span<const std::byte> bytes, std::uint32_t& written) override {
        offered.push_back(bytes.size());
        return ForwardingFiles::WriteFile(handle, bytes.first(std::min(bytes.size(), atMost_)), written);
    }

    std::vector<std::size_t> offered;

private:
    std::size_t atMost_;
};

// A pipe on a machine whose calls take at most `atMost` bytes, with a client that reads until all has come.
struct SlowWriting {
    SlowWriting(sim::Machine& machine, std::size_t atMost) {
        const platform::Platform own = machine.platform();
        SlowFiles files(own.files, atMost);
        platform::Platform slow = test::PlatformWith(own, files);
        ListenServiceNamedPipe pipe(slow);
        EXPECT_TRUE(pipe.Create());
        machine.Spawn("client", [&machine, this] {
            sim::PipeClient client(machine.pipes());
            EXPECT_EQ(client.Connect(test::kClientProcess), 0U);
            std::string message;
            while (client.ReadMessage(message) == 0U) {
                arrived += message;
            }
        });
        EXPECT_TRUE(pipe.Connect());
        written = pipe.Write(AsBytes("12345678"));
        pipe.FlushAndDisconnect();
        machine.JoinAll();
        offered = files.offered;
    }

    bool written = false;
    std::vector<std::size_t> offered;
    std::string arrived;
};

TEST_F(NamedPipe, WritingGoesOnBehindWhatACallTook) {
    const SlowWriting slow(machine_, 3);
    EXPECT_TRUE(slow.written);
    EXPECT_THAT(slow.offered, ElementsAre(8U, 5U, 2U));
    EXPECT_EQ(slow.arrived, "12345678");
}

TEST_F(NamedPipe, CallThatTakesNothingEndsTheWriting) {
    const SlowWriting slow(machine_, 0);
    EXPECT_FALSE(slow.written);
    EXPECT_THAT(slow.offered, ElementsAre(8U));
}

TEST_F(NamedPipe, WritingNothingIsASuccessWithoutACall) {
    ServeSilentClient();
    EXPECT_TRUE(pipe_.Write({}));
    EXPECT_EQ(machine_.faults().calls("Files.WriteFile"), 0U);
}

TEST_F(NamedPipe, FailedPieceEndsTheWriting) {
    ServeSilentClient();
    machine_.faults().Fail({.call = "Files.WriteFile", .nth = 2, .code = 1717});
    EXPECT_FALSE(pipe_.Write(Bytes(2500)));
    EXPECT_EQ(machine_.faults().calls("Files.WriteFile"), 2U);
    EXPECT_THAT(NetLines(),
                ElementsAre("ListenServiceNamedPipe error:Failed to write the named pipe, error code is 1717"));
}

TEST_F(NamedPipe, IsFlushedBeforeItIsDisconnected) {
    ServeSilentClient();
    machine_.faults().ClearHistory();
    pipe_.FlushAndDisconnect();
    EXPECT_THAT(machine_.faults().history(), ElementsAre("Files.FlushFileBuffers", "Pipes.DisconnectNamedPipe"));
}

TEST_F(NamedPipe, FlushWaitsForAClientThatDoesNotRead) {
    ServeClient([&](sim::PipeClient& client) {
        machine_.Sleep(3000);
        EXPECT_TRUE(pipe_.blockingCalls().UnderWay());
        std::string reply;
        client.ReadMessage(reply);
    });
    EXPECT_TRUE(pipe_.Write(AsBytes("12345678")));
    pipe_.FlushAndDisconnect();
    EXPECT_EQ(machine_.NowMilliseconds(), 3000);
    EXPECT_FALSE(pipe_.blockingCalls().UnderWay());
}

// The log is what finds no memory first: its lines are texts put together.
TEST_F(NamedPipe, NoOperationLetsAnExceptionOut) {
    struct Row {
        const char* call;
        std::function<bool()> operation;
    };
    FrameBuffer frame(&memory_);
    const Row rows[] = {
        {"Pipes.CreateNamedPipeW", [&] { return pipe_.Create(); }},
        {"Pipes.ConnectNamedPipe", [&] { return pipe_.Connect(); }},
        {"Pipes.GetNamedPipeClientProcessId", [&] { return pipe_.GetClientProcessId().second; }},
        {"Files.ReadFile", [&] { return pipe_.Read(frame); }},
        {"Files.WriteFile", [&] { return pipe_.Write(Bytes(8)); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        log_.Clear();
        machine_.faults().Fail({.call = row.call});
        log_.OnLine([](const sim::LogLine& line) {
            if (line.kind == sim::LogKind::kNet) {
                throw std::bad_alloc();
            }
        });
        bool done = true;
        EXPECT_NO_THROW(done = row.operation());
        log_.OnLine({});
        EXPECT_FALSE(done);
        EXPECT_TRUE(log_.HasError("ListenServiceImpl", "ListenServiceNamedPipe",
                                  std::string("std::exception : ") + std::bad_alloc().what()));
        EXPECT_FALSE(pipe_.blockingCalls().UnderWay());
    }
    EXPECT_FALSE(pipe_.IsValid());
}

// Another program has made the pipe's name before the service.
class TakenName : public NamedPipe {
protected:
    void TearDown() override {
        platform_.files.CloseHandle(first_);
        NamedPipe::TearDown();
    }
    void MakeFirst(std::uint32_t instances) {
        first_ = platform_.pipes.CreateNamedPipeW(ListenServiceNamedPipe::PipeName, platform::kPipeAccessDuplex,
                                                  platform::kPipeTypeMessage, instances, 0, 0, 0, {});
        ASSERT_NE(first_, platform::kInvalidHandle);
    }

    platform::Handle first_ = platform::kInvalidHandle;
};

TEST_F(TakenName, WithRoomForOneInstanceTheCreationIsRefused) {
    MakeFirst(1);
    EXPECT_FALSE(pipe_.Create());
    EXPECT_FALSE(pipe_.IsValid());
    EXPECT_THAT(NetLines(),
                ElementsAre("CreateNamedPipe cnp error:Failed to create the named pipe, error code is 231"));
}

TEST_F(TakenName, WithRoomForMoreTheFurtherInstanceIsGivenUpAgain) {
    for (const std::uint32_t instances : {2U, 255U}) {
        SCOPED_TRACE(instances);
        log_.Clear();
        MakeFirst(instances);
        EXPECT_FALSE(pipe_.Create());
        EXPECT_FALSE(pipe_.IsValid());
        EXPECT_THAT(NetLines(),
                    ElementsAre("CreateNamedPipe gnpi error:The name of the named pipe is another program's, flags 5, "
                                "instances " +
                                std::to_string(instances)));
        platform_.files.CloseHandle(first_);
        first_ = platform::kInvalidHandle;
        pipe_.Close();
        EXPECT_THAT(machine_.leaks(), IsEmpty()) << "no client can come in by it";
    }
    EXPECT_TRUE(pipe_.Create()) << "as soon as the name is free";
}

TEST_F(NamedPipe, PipeThatCannotBeAskedWhatItIsIsNotUsed) {
    machine_.faults().Fail({.call = "Pipes.GetNamedPipeInfo", .code = 1717});
    EXPECT_FALSE(pipe_.Create());
    EXPECT_FALSE(pipe_.IsValid());
    EXPECT_THAT(NetLines(),
                ElementsAre("CreateNamedPipe gnpi error:Failed to ask what the named pipe is, error code is 1717"));
}

}  // namespace
}  // namespace tavi::ipc
