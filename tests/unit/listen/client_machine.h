// A simulated machine with a client on it: a signed program that the service accepts, and others that it does not.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sim/captured_log.h"
#include "sim/machine.h"
#include "unit/ipc/frame_builder.h"
#include "unit/ipc/pipe_bench.h"

namespace tavi::test {

inline constexpr const char16_t* kPublisher = u"Test Publisher";
inline constexpr std::uint32_t kUnsignedProcess = 666;
inline constexpr std::uint32_t kOtherPublisherProcess = 667;

inline void AddProgram(sim::Machine& machine, std::uint32_t processId, std::u16string path,
                       std::optional<std::u16string> signer) {
    machine.files().WriteText(path, "MZ");
    if (signer) {
        machine.trust().SetSignature(path, 0, signer);
    }
    machine.trust().AddProcess(processId, std::move(path));
}

inline void AddClients(sim::Machine& machine) {
    AddProgram(machine, kClientProcess, u"C:\\Program Files\\Client\\Client.exe", kPublisher);
    AddProgram(machine, kUnsignedProcess, u"C:\\Program Files\\Evil\\Unsigned.exe", std::nullopt);
    AddProgram(machine, kOtherPublisherProcess, u"C:\\Program Files\\Evil\\Other.exe", u"Somebody Else");
}

// Sends one message and waits for the answer: the reply's status, or nothing when there was none.
inline std::optional<std::uint32_t> Ask(sim::Machine& machine, const Bytes& message,
                                        std::uint32_t processId = kClientProcess, std::int64_t patience = 60000) {
    sim::PipeClient client(machine.pipes());
    std::string reply;
    if (client.Connect(processId, patience) != 0 || client.WriteMessage(AsMessage(message)) != 0 ||
        client.ReadMessage(reply, patience) != 0) {
        return std::nullopt;
    }
    const Bytes bytes = AsBytes(reply);
    EXPECT_EQ(bytes.size(), 8U);
    EXPECT_EQ(LittleEndian32(bytes, 0), 8U);
    return LittleEndian32(bytes, 4);
}

inline Bytes StartFrame(std::u16string_view userId = u"user", std::u16string_view listenPath = u"C:\\Sync",
                        std::u16string_view interval = u"1") {
    return Frame(0, StartJson(userId, listenPath, u"C:\\ProgramData\\Base", interval));
}
inline Bytes FinishFrame() {
    return Frame(1);
}
inline Bytes StatusFrame() {
    return Frame(2);
}

}  // namespace tavi::test
