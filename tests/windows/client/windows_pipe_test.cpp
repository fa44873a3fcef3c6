#include "windows/windows_pipe.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tavi_client/conversation.h"

namespace tavi::client {
namespace {

// A message pipe with one instance, as the service has it, whose end a test plays on a thread of its own.
class PipeServer {
public:
    explicit PipeServer(const std::wstring& test)
        : name_(LR"(\\.\pipe\TaviClientTest)" + test + std::to_wstring(GetCurrentProcessId())),
          pipe_(CreateNamedPipeW(name_.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096,
                                 4096, 0, nullptr)) {
        EXPECT_NE(pipe_, INVALID_HANDLE_VALUE);
    }
    ~PipeServer() {
        thread_ = {};  // joins: the part uses the pipe
        CloseHandle(pipe_);
    }
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    const std::wstring& Name() const { return name_; }

    void Play(std::function<void()> part) { thread_ = std::jthread(std::move(part)); }

    void Accept() { ConnectNamedPipe(pipe_, nullptr); }
    Frame Read() {
        Frame message(4096);
        DWORD bytes = 0;
        EXPECT_TRUE(ReadFile(pipe_, message.data(), static_cast<DWORD>(message.size()), &bytes, nullptr));
        message.resize(bytes);
        return message;
    }
    // Reads until the client is gone.
    void WaitForTheClientToGo() {
        char byte = 0;
        DWORD bytes = 0;
        EXPECT_FALSE(ReadFile(pipe_, &byte, 1, &bytes, nullptr));
    }
    void Write(const Frame& message) {
        DWORD bytes = 0;
        EXPECT_TRUE(WriteFile(pipe_, message.data(), static_cast<DWORD>(message.size()), &bytes, nullptr));
        FlushFileBuffers(pipe_);
    }
    void Drop() { DisconnectNamedPipe(pipe_); }

private:
    std::wstring name_;
    HANDLE pipe_;
    std::jthread thread_;
};

const Frame kRequest = BuildFrame(Command::kStatus);

TEST(WindowsPipe, CarriesARequestAndItsReply) {
    PipeServer server(L"Carries");
    Frame received;
    server.Play([&] {
        server.Accept();
        received = server.Read();
        server.Write({8, 0, 0, 0, 2, 0, 0, 0});
        server.WaitForTheClientToGo();
    });
    WindowsPipe pipe(server.Name());
    const Answer answer = Ask(pipe, kRequest, 30000);
    EXPECT_EQ(answer.outcome, Outcome::kReplied);
    EXPECT_EQ(answer.status, 2U);
    EXPECT_EQ(received, kRequest);
}

TEST(WindowsPipe, IsNotThereWhenNobodyHasCreatedIt) {
    WindowsPipe pipe(LR"(\\.\pipe\TaviClientTestNobody)");
    const Answer answer = Ask(pipe, kRequest, 30000);
    EXPECT_EQ(answer.outcome, Outcome::kNotThere);
    EXPECT_EQ(answer.error, DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(WindowsPipe, ASilentServerIsGivenUp) {
    PipeServer server(L"Silent");
    server.Play([&] {
        server.Accept();
        server.Read();
        server.WaitForTheClientToGo();
    });
    WindowsPipe pipe(server.Name());
    EXPECT_EQ(Ask(pipe, kRequest, 200).outcome, Outcome::kNoAnswer);
}

TEST(WindowsPipe, AServerThatServesSomebodyElseIsWaitedForAndGivenUp) {
    PipeServer server(L"Busy");
    server.Play([&] {
        server.Accept();
        server.WaitForTheClientToGo();
    });
    WindowsPipe first(server.Name());
    ASSERT_EQ(first.Open(), DWORD{ERROR_SUCCESS});
    WindowsPipe second(server.Name());
    EXPECT_EQ(Ask(second, kRequest, 200).outcome, Outcome::kNoAnswer);
}

TEST(WindowsPipe, AClientDroppedWithoutAReplyIsTurnedAway) {
    PipeServer server(L"Drops");
    server.Play([&] {
        for (int time = 0; time < 2; ++time) {
            server.Accept();
            server.Drop();
        }
    });
    WindowsPipe pipe(server.Name());
    EXPECT_EQ(Ask(pipe, kRequest, 30000).outcome, Outcome::kTurnedAway);
}

TEST(WindowsPipe, AMessageTooLongForAReplyIsNone) {
    PipeServer server(L"Long");
    server.Play([&] {
        server.Accept();
        server.Read();
        server.Write(Frame(65));
    });
    WindowsPipe pipe(server.Name());
    EXPECT_EQ(Ask(pipe, kRequest, 30000).outcome, Outcome::kInvalidReply);
}

}  // namespace
}  // namespace tavi::client
