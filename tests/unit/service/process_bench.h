// The whole process on a simulated machine: from its entry point on, under the service control manager, with the real
// cycle and a real database, and a client that talks to it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "service/entry.h"
#include "unit/listen/client_machine.h"
#include "unit/listen/database_view.h"

namespace tavi::test {

class ServiceMachine {
public:
    explicit ServiceMachine(sim::MachineOptions options = {}) : machine(options) {
        AddClients(machine);
        machine.volume().MakeDirectory(u"C:\\Sync");
        machine.volume().MakeDirectory(u"C:\\Other");
    }

    void StartProcess(std::vector<std::u16string> arguments = {}) {
        process_ = machine.StartProcess([this, arguments = std::move(arguments)] {
            service::DumpHandleHolder holder(platform);
            exitCode = service::RunEntryPoint(platform, holder, arguments, kPublisher);
        });
    }
    bool WaitUntilRunning() { return machine.services().WaitForState(platform::kServiceRunning); }
    // Sends the control and waits for the process's end; milliseconds of virtual time until then.
    std::int64_t Stop(std::uint32_t control = platform::kServiceControlStop) {
        const std::int64_t before = machine.NowMilliseconds();
        EXPECT_TRUE(machine.services().SendControl(control));
        machine.Join(process_);
        return machine.NowMilliseconds() - before;
    }
    void Join() { machine.Join(process_); }

    std::optional<std::uint32_t> Ask(const Bytes& message) { return test::Ask(machine, message); }
    DatabaseView View(std::u16string_view userId = u"user") {
        return {machine, DatabasePath(platform, u"C:\\ProgramData\\Base", userId)};
    }

    sim::CapturedLog log;
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    int exitCode = -1;

private:
    sim::Machine::ThreadId process_ = 0;
};

}  // namespace tavi::test
