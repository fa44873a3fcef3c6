#include "lives/soak.h"

#include <malloc.h>

#include "lives/world.h"
#include "support/sanitizers.h"

#ifdef TAVI_SANITIZED
// Of the sanitizers' common runtime; not every compiler installs the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tavi::lives {

namespace {

std::size_t BytesInUse() {
#ifdef TAVI_SANITIZED
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

// Ten minutes of somebody's work, always on the same few files.
void Work(World& world) {
    const auto perform = [&](Act act, std::u16string path, std::u16string other = {}, std::uint64_t number = 3) {
        world.workload().Perform({0, act, std::move(path), std::move(other), number});
        world.Sleep(700);
    };
    perform(Act::kWrite, u"C:\\Sync\\docs\\plan.docx");
    perform(Act::kSaveByBackup, u"C:\\Sync\\docs\\plan.docx");
    perform(Act::kSaveMatlab, u"C:\\Sync\\model.mlx");
    perform(Act::kDownload, u"C:\\Sync\\archive.7z");
    perform(Act::kRename, u"C:\\Sync\\archive.7z", u"C:\\Sync\\docs\\archive.7z");
    perform(Act::kRemove, u"C:\\Sync\\docs\\archive.7z");
    world.truth().Forget();
    world.machine().faults().ClearHistory();
    world.Sleep(10 * 60 * 1000);
}

}  // namespace

SoakReport Soak(int firstHours, int hours) {
    constexpr std::int64_t kHourMs = 3600000;
    Plan plan;
    plan.seed = 1;
    plan.intervalSeconds = 9;
    World world(plan);
    // A small journal, so that it is full long before the first look.
    world.volume().WithJournal([](sim::EmulatedJournal& journal) { journal.Create(16384, 4096); });
    world.StartProcess();
    world.AskStart(0, 0);
    const auto handles = [&] { return world.machine().OpenHandles(); };
    SoakReport report;
    while (world.machine().NowMilliseconds() < firstHours * kHourMs) {
        Work(world);
    }
    report.bytesAtFirst = BytesInUse();
    report.handlesAtFirst = handles();
    while (world.machine().NowMilliseconds() < hours * kHourMs) {
        Work(world);
    }
    report.bytesAtEnd = BytesInUse();
    report.handlesAtEnd = handles();
    report.callsOfService = world.machine().faults().calls();
    report.journalBytes = world.journalNext();
    world.Stop();
    report.leaks = world.machine().leaks();
    return report;
}

}  // namespace tavi::lives
