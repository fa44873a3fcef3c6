// Who is served over the pipe, and what the service makes of requests that no proper client sends.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include "e2e/pipe_client.h"
#include "e2e/scenario.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

class Channel : public Scenario {
protected:
    // Sends the bytes; true when the service hung up without a reply.
    static bool IsTurnedAway(const std::string& bytes) {
        PipeClient client;
        return client.Connect() && client.Send(bytes) && !client.Receive(10000).has_value();
    }
};

std::string Bytes(std::uint32_t length, std::uint32_t command, const std::string& rest) {
    std::string bytes(8, '\0');
    std::memcpy(bytes.data(), &length, 4);
    std::memcpy(bytes.data() + 4, &command, 4);
    return bytes + rest;
}

TEST_F(Channel, MalformedFramesGetNoReplyAndDoNotDisturbTheNextClient) {
    const std::string frames[] = {
        Bytes(4, 1, ""),        // the length says it is all there, less than a header
        Bytes(7, 1, ""),        // likewise
        Bytes(8, 3, ""),        // no such command
        Bytes(9, 1, "x"),       // half a code unit
        Bytes(8, 1, "xx"),      // more than the length says
        Frame(0, u"not JSON"),  // not JSON
        Frame(0, u"[]"),        // not an object
        Frame(0, u"{\"userId\":\"\",\"listenPath\":\"C:\\\\x\",\"databasePath\":\"C:\\\\y\"}"),
        Frame(0, u"{\"userId\":\"u\",\"listenPath\":\"C:\\\\x\",\"databasePath\":\"\"}"),
        Frame(0, u"{\"userId\":\"" + std::u16string(61, u'u') +
                     u"\",\"listenPath\":\"C:\\\\x\",\"databasePath\":\"C:\\\\y\"}"),
    };
    for (const std::string& frame : frames) {
        EXPECT_TRUE(IsTurnedAway(frame)) << testing::PrintToString(frame);
        EXPECT_EQ(Status(), 0) << testing::PrintToString(frame);
    }
}

// What TaviListenClient ends with when the service hangs up, and when it says that no task runs.
constexpr int kRefused = 4;
constexpr int kNoTask = 7;

TEST_F(Channel, ClientWithoutASignatureIsTurnedAwayAndTheLogSaysSo) {
    const Finished unsignedClient = Client({L"status"}, L"UnsignedClient.exe");
    EXPECT_EQ(unsignedClient.exitCode, kRefused) << unsignedClient.output;
    EXPECT_GT(TimesLogged("Invalid client connection"), 0U);
    EXPECT_EQ(Status(), 0);
}

TEST_F(Channel, TamperedAndWronglySignedClientsAreTurnedAway) {
    for (const wchar_t* program : {L"TamperedClient.exe", L"OtherPublisherClient.exe"}) {
        const std::size_t before = TimesLogged("Invalid client connection");
        EXPECT_EQ(Client({L"status"}, program).exitCode, kRefused);
        EXPECT_GT(TimesLogged("Invalid client connection"), before);
    }
    EXPECT_EQ(Client({L"status"}).exitCode, kNoTask);
}

TEST_F(Channel, RequestInTwoMessagesIsPutTogether) {
    PipeClient client;
    ASSERT_TRUE(client.Connect());
    const std::string frame = Frame(1);
    ASSERT_TRUE(client.Send(frame.substr(0, 3)));
    ASSERT_TRUE(client.Send(frame.substr(3)));
    EXPECT_EQ(ReplyStatus(client.Receive()), 6);
}

TEST_F(Channel, ClientsThatDropAtOnceDoNotDisturbTheNext) {
    for (int i = 0; i < 50; ++i) {
        PipeClient client;
        ASSERT_TRUE(client.Connect());
        if (i % 2 == 1) {
            client.Send("\x10");
        }
    }
    EXPECT_EQ(Status(), 0);
}

// TAVI_E2E_REQUESTS sets how many.
TEST_F(Channel, ManyRequestsLeaveHandlesThreadsAndMemoryAsAFewDid) {
    const std::wstring wanted = ReadEnvironment(L"TAVI_E2E_REQUESTS");
    const int requests = wanted.empty() ? 120 : std::stoi(wanted);
    const int few = std::min(100, requests / 2);
    constexpr SIZE_T kNoise = 4 << 20;
    Holdings afterFew;
    for (int i = 0; i < requests; ++i) {
        ASSERT_EQ(Status(), 0) << "request " << i;
        if (i + 1 == few) {
            afterFew = ServiceHoldings();
        }
    }
    const Holdings many = ServiceHoldings();
    EXPECT_TRUE(afterFew.handles > 0 || emulated());
    EXPECT_GT(afterFew.threads, 0U);
    EXPECT_GT(afterFew.bytes, 0U);
    EXPECT_EQ(many.handles, afterFew.handles);
    EXPECT_EQ(many.threads, afterFew.threads);
    EXPECT_LE(many.bytes, afterFew.bytes + kNoise);
    std::cout << requests << " requests: " << many.handles << " handles, " << many.threads << " threads, " << many.bytes
              << " bytes; after " << few << ": " << afterFew.bytes << " bytes\n";
}

TEST_F(Channel, StopWhileAClientIsConnectedAndSilentEndsWithinTwoSeconds) {
    PipeClient client;
    ASSERT_TRUE(client.Connect());
    Sleep(300);
    const int milliseconds = StopInstalledService();
    EXPECT_GE(milliseconds, 0);
    EXPECT_LE(milliseconds, 2000);
}

// What the manager was told: stop and shutdown and nothing else, no wait hint in any state, a check point while pending
// only.
TEST_F(Channel, StatusOfTheRunningAndOfTheStoppingServiceIsWhatItReports) {
    const SERVICE_STATUS_PROCESS running = ServiceStatus();
    EXPECT_EQ(running.dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_EQ(running.dwServiceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
    EXPECT_EQ(running.dwControlsAccepted, static_cast<DWORD>(SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN));
    EXPECT_EQ(running.dwWin32ExitCode, 0U);
    EXPECT_EQ(running.dwServiceSpecificExitCode, 0U);
    EXPECT_EQ(running.dwCheckPoint, 0U);
    EXPECT_EQ(running.dwWaitHint, 0U);

    SERVICE_STATUS_PROCESS pending{};
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        while (!done) {
            const SERVICE_STATUS_PROCESS now = ServiceStatus();
            pending = now.dwCurrentState == SERVICE_STOP_PENDING ? now : pending;
            Sleep(10);
        }
    });
    EXPECT_GE(StopInstalledService(), 0);
    done = true;
    watcher.join();
    EXPECT_EQ(pending.dwCurrentState, static_cast<DWORD>(SERVICE_STOP_PENDING)) << "the stop takes up to a second";
    EXPECT_EQ(pending.dwCheckPoint, 2U) << "the first one was the start's";
    EXPECT_EQ(pending.dwWaitHint, 0U);
    const SERVICE_STATUS_PROCESS stopped = ServiceStatus();
    EXPECT_EQ(stopped.dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(stopped.dwWin32ExitCode, 0U);
    EXPECT_EQ(stopped.dwCheckPoint, 0U);
    EXPECT_TRUE(StartInstalledService());
}

TEST_F(Channel, StopWithoutAClientEndsWithinTwoSeconds) {
    const int milliseconds = StopInstalledService();
    EXPECT_GE(milliseconds, 0);
    EXPECT_LE(milliseconds, 2000);
}

}  // namespace
}  // namespace tavi::e2e
