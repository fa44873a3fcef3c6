// A pipe on a simulated machine with a client that is a thread of the test's. For the tests of the channel.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory_resource>
#include <string>

#include "ipc/named_pipe.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "unit/ipc/frame_builder.h"

namespace tavi::test {

inline constexpr std::uint32_t kClientProcess = 1234;

inline std::string AsMessage(const Bytes& bytes) {
    std::string message;
    for (const std::byte byte : bytes) {
        message.push_back(static_cast<char>(byte));
    }
    return message;
}

inline Bytes AsBytes(const std::string& message) {
    Bytes bytes;
    for (const char byte : message) {
        bytes.push_back(static_cast<std::byte>(byte));
    }
    return bytes;
}

class PipeBench : public testing::Test {
protected:
    void TearDown() override {
        machine_.JoinAll();
        pipe_.Close();
        EXPECT_THAT(machine_.leaks(), testing::IsEmpty());
    }

    // Creates the pipe and waits for a client that does what it is told.
    void ServeClient(std::function<void(sim::PipeClient&)> client) {
        ASSERT_TRUE(pipe_.IsValid() || pipe_.Create());
        machine_.Spawn("client", [this, client = std::move(client)] {
            sim::PipeClient end(machine_.pipes());
            EXPECT_EQ(end.Connect(kClientProcess), 0U);
            client(end);
        });
        ASSERT_TRUE(pipe_.Connect());
    }

    // A client that stays and does nothing.
    void ServeSilentClient() {
        ServeClient([this](sim::PipeClient&) { machine_.Sleep(60000); });
    }

    std::vector<std::string> NetLines() const { return log_.Texts(sim::LogKind::kNet); }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    ipc::ListenServiceNamedPipe pipe_{platform_};
};

}  // namespace tavi::test
