// A simulated Windows machine behind the product's platform interfaces: the product's code runs against it unchanged,
// in virtual time, with every call recorded and made to fail at will.
//
//     sim::Machine machine;  // or sim::Machine({.seed = 7}): other threads may go first
//     sim::CapturedLog log;
//     machine.volume().MakeDirectory(u"C:\\Sync");
//     platform::Platform platform = machine.platform();
//
//     ListenServiceNamedPipe pipe(platform);                 // single-threaded: just call. Sleep moves the clock.
//     machine.faults().Fail({.call = "Pipes.LocalAlloc"});   // the next one fails, with its usual error code
//     EXPECT_FALSE(pipe.Create());
//     EXPECT_TRUE(log.HasNet("CreateNamedPipe lal error:..."));
//     pipe.Close();
//     EXPECT_THAT(machine.leaks(), testing::IsEmpty());
//
//     machine.Spawn("client", [&] {                          // with threads: the test's own are started here
//         sim::PipeClient client(machine.pipes());
//         EXPECT_EQ(client.Connect(1234), 0U);
//         client.WriteMessage("...");
//     });
//     EXPECT_TRUE(machine.RunProcess([&] { StartupSyncFileListenService(platform, u"..."); }));
//     machine.services().SendControl(1);                     // from another test thread, while the process runs
//     EXPECT_TRUE(machine.WaitUntil([&] { return log.Contains("ends"); }));   // polls in virtual time
//
// Fault loop: for (n = 1;; ++n) { Machine machine; machine.faults().Fail({.nth = n, .forEver = ever}); ...; check;
// if (machine.faults().fired() == 0) break; }
//
// Wait for threads through the machine only (Join, WaitUntil, a PipeClient): a wait that it does not know of holds the
// baton for ever. What belongs to which interface, and what a test sets there, stands in the sim_*.h headers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "sim/captured_log.h"
#include "sim/core.h"
#include "sim/ntfs_volume.h"
#include "sim/sim_clock.h"
#include "sim/sim_files.h"
#include "sim/sim_modules.h"
#include "sim/sim_pipes.h"
#include "sim/sim_services.h"
#include "sim/sim_sqlite.h"

namespace tavi::sim {

struct MachineOptions {
    // 0: threads change only at calls that block. Otherwise at any call, as the seed says; random numbers and journal
    // identities come from it too.
    std::uint64_t seed = 0;
    Concurrency concurrency = Concurrency::kBaton;
};

class Machine {
public:
    explicit Machine(MachineOptions options = {});
    // Ends what still runs: the process dies, test threads are waited for.
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    platform::Platform platform();

    Faults& faults() { return core_.faults; }
    NtfsVolume& volume(char16_t drive = u'C') { return files_.volume(drive); }
    SimClock& clock() { return clock_; }
    SimErrors& errors() { return errors_; }
    SimFiles& files() { return files_; }
    SimPipes& pipes() { return pipes_; }
    SimServices& services() { return services_; }
    SimModules& modules() { return modules_; }
    SimTrust& trust() { return trust_; }
    SimSqlite& sqlite() { return sqlite_; }
    SimDigest& digest() { return digest_; }

    // Test threads. Join waits, in virtual time, for one; JoinAll for all that are started, of either side.
    using ThreadId = std::uint32_t;
    ThreadId Spawn(std::string name, std::function<void()> body);
    void Join(ThreadId thread);
    void JoinAll();
    // Runs the body as a thread of the product's process and waits for it. False when the process died on the way.
    bool RunProcess(std::function<void()> body);
    // The same without waiting.
    ThreadId StartProcess(std::function<void()> body);

    // Virtual time. A test's own sleep, which no death of the product ends.
    void Sleep(std::int64_t milliseconds);
    std::int64_t NowMilliseconds() const { return core_.scheduler.Now(); }
    // Evaluates the condition every `step` milliseconds of virtual time, at most so long; false when it never held.
    bool WaitUntil(const std::function<bool()>& condition, std::int64_t milliseconds = 60000, std::int64_t step = 10);

    // The product's process dies here and now: from this moment no platform call has an effect, and its threads end at
    // their next call that blocks. Faults::KillAtCall does the same at a chosen call.
    void Kill();
    bool dead();
    // After a death: waits for the process's threads, closes what it held as the system would, and lets a new process
    // start. Volumes, journals, databases, the registry and the clock stay. Faults are cleared.
    void Restart();

    // What the product has opened and not closed: handles, memory, security objects, connections, statements, threads
    // that still run. One line each.
    std::vector<std::string> leaks();
    std::size_t OpenHandles();
    std::string DescribeThreads();
    // Told of a deadlock instead of failing the test; the machine is killed all the same.
    void OnDeadlock(std::function<void(const std::string&)> handler);
    std::uint64_t switches();

private:
    ThreadId StartThread(std::string name, Side side, std::function<void()> body);

    Core core_;
    SimErrors errors_;
    SimClock clock_;
    SimThreads threads_;
    SimHeap heap_;
    SimFiles files_;
    SimPipes pipes_;
    SimServices services_;
    SimModules modules_;
    SimTrust trust_;
    SimSqlite sqlite_;
    SimDigest digest_;
    std::map<ThreadId, std::shared_ptr<SimThread>> started_;
};

}  // namespace tavi::sim
