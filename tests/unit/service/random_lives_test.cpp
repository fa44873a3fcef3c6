// Lives of the whole service in which starts, requests, finishes and the stop come at moments that a seed chooses. Half
// of the lives run their threads one at a time in an order that the seed chooses too, and so can be repeated exactly;
// in the other half all threads run at once, which is what ThreadSanitizer wants to see. TAVI_LIVES sets their number,
// TAVI_FIRST_SEED where they begin.
#include <atomic>
#include <cstdlib>
#include <random>

#include "unit/service/process_bench.h"

namespace tavi::service {
namespace {

using testing::IsEmpty;

std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::strtoull(value, nullptr, 10) : otherwise;
}

test::Bytes RandomRequest(std::mt19937_64& random) {
    switch (random() % 6) {
        case 0:
            return test::FinishFrame();
        case 1:
            return test::StatusFrame();
        case 2:
            return test::RawFrame(7, 1);
        case 3:
            return test::StartFrame(u"second", u"C:\\Other", u"0");
        default:
            return test::StartFrame(u"user", random() % 2 == 0 ? u"C:\\Sync" : u"C:\\Other", u"0");
    }
}

// Requests, clients that drop and clients that stay silent, until the process is gone.
void BeClients(test::ServiceMachine& bench, std::uint64_t seed, const std::atomic<bool>& stopped) {
    std::mt19937_64 random(seed);
    while (!stopped) {
        sim::PipeClient client(bench.machine.pipes());
        if (client.Connect(test::kClientProcess, 200) == 0 && random() % 4 != 0) {
            client.WriteMessage(test::AsMessage(RandomRequest(random)));
            std::string reply;
            if (random() % 4 != 0) {
                client.ReadMessage(reply, 2000);
            }
        }
        bench.machine.Sleep(static_cast<std::int64_t>(random() % 300));
    }
}

void Live(std::uint64_t seed, sim::Concurrency concurrency) {
    SCOPED_TRACE("seed " + std::to_string(seed) + (concurrency == sim::Concurrency::kFree ? ", all at once" : ""));
    test::ServiceMachine bench({.seed = seed, .concurrency = concurrency});
    std::mt19937_64 random(seed);
    std::atomic<bool> stopped{false};
    bench.StartProcess();
    ASSERT_TRUE(bench.WaitUntilRunning());
    const auto clients = bench.machine.Spawn("clients", [&] { BeClients(bench, seed + 1, stopped); });
    const auto user = bench.machine.Spawn("user", [&] {
        for (int i = 0; i < 5 && !stopped; ++i) {
            bench.machine.volume().MakeFile(u"C:\\Sync\\file" + std::u16string(1, static_cast<char16_t>(u'a' + i)));
            bench.machine.Sleep(300);
        }
    });
    bench.machine.Sleep(static_cast<std::int64_t>(random() % 3000));
    const std::int64_t time = bench.Stop(random() % 2 == 0 ? 1 : 5);
    stopped = true;
    bench.machine.Join(clients);
    bench.machine.Join(user);
    // Two seconds after the call that is under way has returned; the longest one here is a cycle's pause.
    EXPECT_LE(time, 2500);
    EXPECT_EQ(bench.exitCode, 0);
    EXPECT_EQ(bench.machine.services().state(), platform::kServiceStopped);
    EXPECT_EQ(bench.log.Count("{ListenServiceImpl.CancelWaitingForNamedPipe}Cancel Named Pipe Synchronization IO"), 1U);
    EXPECT_THAT(bench.machine.leaks(), IsEmpty());
}

TEST(RandomLives, StopEndsThemQuicklyWhateverTheThreadsAreDoing) {
    const std::uint64_t first = FromEnvironment("TAVI_FIRST_SEED", 1);
    const std::uint64_t lives = FromEnvironment("TAVI_LIVES", 40);
    for (std::uint64_t seed = first; seed < first + lives && !testing::Test::HasFailure(); ++seed) {
        Live(seed, seed % 2 == 0 ? sim::Concurrency::kBaton : sim::Concurrency::kFree);
    }
}

}  // namespace
}  // namespace tavi::service
