// TaviLives: lives by the hundred thousand, one by its seed, the shortest story of a failing one.
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

#include "lives/life.h"

namespace tavi::lives {
namespace {

int Main(int argc, char** argv) {
    std::uint64_t first = 1;
    std::uint64_t count = 100;
    PlanOptions options;
    bool verbose = false;
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
        } else if (argument == "--no-mishaps") {
            options.mishaps = false;
        } else if (argument == "--all-at-once") {
            options.everyThreadAtOnce = true;
        }
    }
    const auto begin = std::chrono::steady_clock::now();
    std::map<std::string, std::uint64_t> sums;
    std::uint64_t failed = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const Plan plan = MakePlan(seed, options);
        if (verbose) {
            for (const Event& event : plan.events) {
                std::cout << "  " << Describe(event) << '\n';
            }
        }
        const Report report = Live(plan);
        sums["calls"] += report.calls;
        sums["rows"] += report.rows;
        sums["looks"] += report.looks;
        sums["deaths"] += report.deaths;
        sums["starts"] += report.starts;
        sums["compared"] += report.compared;
        sums["virtual seconds"] += static_cast<std::uint64_t>(report.virtualMs / 1000);
        for (const Finding& finding : report.findings) {
            if (!finding.knownLimit.empty()) {
                ++sums["known: " + finding.knownLimit];
            }
        }
        if (report.unexplained()) {
            ++failed;
            std::cout << "seed " << seed << '\n';
            for (const Finding& finding : report.findings) {
                std::cout << "  " << finding.judge << ": " << finding.text << ' ' << finding.knownLimit << '\n';
            }
            if (verbose) {
                std::cout << report.log << report.finalContents;
            }
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
