// The service with its threads on a simulated machine, with cycles of the test's own, and a client that can talk to it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "listen/listen_service_impl.h"
#include "unit/listen/client_machine.h"
#include "unit/listen/fake_cycle.h"
#include "unit/listen/hooked_platform.h"
#include "unit/listen/log_matching.h"

namespace tavi::test {

class ServiceBench : public testing::Test {
protected:
    explicit ServiceBench(sim::MachineOptions options = {}) : machine_(options) {
        AddClients(machine_);
        machine_.volume().MakeDirectory(u"C:\\Sync");
        machine_.volume().MakeDirectory(u"C:\\Other");
        // What the service main function gets from the system before it starts the service.
        service_.SetStatusHandle(
            platform_.services.RegisterServiceCtrlHandlerW(service_.serviceName(), [](std::uint32_t) {}));
    }
    void TearDown() override {
        service_.OnStop();
        machine_.JoinAll();
        EXPECT_EQ(script_.alive, 0);
        EXPECT_THAT(machine_.leaks(), testing::IsEmpty());
    }

    std::optional<std::uint32_t> Ask(const Bytes& message) { return test::Ask(machine_, message); }
    // Starts a task and lets it come to its first cycle.
    void StartTask() {
        const int runs = script_.runs;
        ASSERT_LE(Ask(StartFrame()).value_or(5), 4U);
        ASSERT_TRUE(machine_.WaitUntil([&] { return script_.runs > runs; }));
    }
    std::vector<std::string> Traces() const { return log_.Texts(sim::LogKind::kTrace); }

    sim::CapturedLog log_;
    sim::Machine machine_;
    HookedFiles files_{machine_};
    HookedThreads threads_{machine_};
    platform::Platform platform_ = PlatformWith(machine_.platform(), files_, threads_);
    CycleScript script_;
    service::CheckPointCounter checkPoints_;
    listen::ListenProcess process_{platform_};
    listen::ListenServiceImpl service_{platform_,           checkPoints_,         process_,
                                       FakeCycles(script_), u"TaviLumbraService", kPublisher};
};

}  // namespace tavi::test
