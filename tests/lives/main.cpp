// TaviLives: lives by the hundred thousand, one by its seed, the shortest story of a failing one.
#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

#include "lives/life.h"
#include "lives/shrink.h"
#include "lives/soak.h"

namespace tavi::lives {
namespace {

int SoakAWeek() {
    const SoakReport report = Soak(24, 7 * 24);
    std::cout << "a week of virtual time: " << report.callsOfService << " calls, " << report.journalBytes
              << " bytes of journal\n  memory in use after a day " << report.bytesAtFirst << " bytes, at the end "
              << report.bytesAtEnd << "\n  handles after a day " << report.handlesAtFirst << ", at the end "
              << report.handlesAtEnd << "\n";
    for (const std::string& leak : report.leaks) {
        std::cout << "  left behind: " << leak << '\n';
    }
    const bool same = report.bytesAtEnd <= report.bytesAtFirst + kSoakToleranceBytes &&
                      report.handlesAtEnd == report.handlesAtFirst && report.leaks.empty();
    std::cout << (same ? "nothing grew by more than " : "something grew by more than ") << kSoakToleranceBytes
              << " bytes\n";
    return same ? 0 : 1;
}

int Main(int argc, char** argv) {
    std::uint64_t first = 1;
    std::uint64_t count = 100;
    PlanOptions options;
    bool verbose = false;
    bool shrink = true;
    bool untilFound = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const auto value = [&] { return i + 1 < argc ? std::strtoull(argv[++i], nullptr, 10) : 0ULL; };
        if (argument == "--seed") {
            first = value();
            count = 1;
            verbose = true;
        } else if (argument == "--first") {
            first = value();
        } else if (argument == "--lives") {
            count = value();
        } else if (argument == "--soak") {
            return SoakAWeek();
        } else if (argument == "--until-found") {
            untilFound = true;
        } else if (argument == "--no-shrink") {
            shrink = false;
        } else if (argument == "--no-mishaps") {
            options.mishaps = false;
        } else if (argument == "--all-at-once") {
            options.everyThreadAtOnce = true;
        }
    }
    // Counting the library's memory costs time and tells nothing here.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    const auto begin = std::chrono::steady_clock::now();
    std::map<std::string, std::uint64_t> sums;
    std::uint64_t failed = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const Plan plan = MakePlan(seed, options);
        const Report report = Live(plan);
        sums["calls"] += report.calls;
        sums["rows"] += report.rows;
        sums["looks"] += report.looks;
        sums["takes"] += report.takes;
        sums["deaths"] += report.deaths;
        sums["starts"] += report.starts;
        sums["saves given up"] += report.savesGivenUp;
        sums["compared"] += report.compared;
        sums["virtual seconds"] += static_cast<std::uint64_t>(report.virtualMs / 1000);
        for (const Finding& finding : report.findings) {
            if (!finding.knownLimit.empty()) {
                ++sums["known: " + finding.knownLimit];
            }
        }
        if (report.unexplained()) {
            ++failed;
            std::cout << Story(plan, report);
            if (!shrink && !untilFound) {
                if (verbose) {
                    std::cout << report.log << report.finalContents;
                }
                continue;
            }
            const Plan shortest = Shrink(plan, report.firstUnexplained()->judge);
            const Report shortestReport = Live(shortest);
            std::cout << "shortest story: " << Story(shortest, shortestReport) << std::flush;
            if (verbose) {
                std::cout << shortestReport.log << shortestReport.finalContents;
            }
            if (untilFound) {
                std::cout << "found by life number " << seed - first + 1 << '\n';
                return 1;
            }
        } else if (verbose) {
            std::cout << Story(plan, report) << report.log << report.finalContents;
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::cout << count << " lives in " << took.count() << " s, " << failed << " unexplained\n";
    for (const auto& [name, sum] : sums) {
        std::cout << "  " << name << ": " << sum << '\n';
    }
    return failed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tavi::lives

int main(int argc, char** argv) {
    return tavi::lives::Main(argc, argv);
}
