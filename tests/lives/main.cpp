// TaviLives: lives by the hundred thousand, one by its seed, the shortest story of a failing one, and a soak.
#include <sqlite3.h>

#include <charconv>
#include <chrono>
#include <cstring>
#include <iostream>
#include <map>
#include <optional>
#include <string>

#include "lives/life.h"
#include "lives/shrink.h"
#include "lives/soak.h"

namespace tavi::lives {
namespace {

constexpr int kExitFound = 1;
constexpr int kExitUsage = 2;

constexpr const char* kUsage =
    R"(TaviLives lives whole lives of the service on a simulated machine and judges them.

  --lives N       how many (100)
  --first SEED    the first one's seed (1)
  --seed SEED     one life, with its story, the service's log and the table at its end
  --no-shrink     tell a failing life as it is, without looking for its shortest story
  --until-found   end with the first life that fails
  --no-mishaps    nothing goes wrong in them
  --plain-volume  nothing on the volume but files and directories that nobody holds
  --all-at-once   every thread runs at once; such a life does not go the same way twice
  --soak          a week of virtual time with steady work, instead

Ends with 0 when nothing is unexplained, with 1 when something is, with 2 when it was called wrongly.
)";

struct Options {
    std::uint64_t first = 1;
    std::uint64_t count = 100;
    PlanOptions plan;
    bool verbose = false;
    bool shrink = true;
    bool untilFound = false;
    bool soak = false;
    bool help = false;
};

bool ReadNumber(const char* text, std::uint64_t& number) {
    const char* const end = text + (text == nullptr ? 0 : std::strlen(text));
    return text != nullptr && std::from_chars(text, end, number).ptr == end && text != end;
}

// Nothing when an argument is unknown or lacks its number.
std::optional<Options> ReadArguments(int argc, char** argv) {
    Options options;
    const std::map<std::string, bool*> switches = {{"--no-shrink", &options.shrink},
                                                   {"--no-mishaps", &options.plan.mishaps},
                                                   {"--all-at-once", &options.plan.everyThreadAtOnce},
                                                   {"--plain-volume", &options.plan.plainVolume},
                                                   {"--until-found", &options.untilFound},
                                                   {"--soak", &options.soak},
                                                   {"--help", &options.help},
                                                   {"--seed", &options.verbose}};
    const std::map<std::string, std::uint64_t*> numbers = {
        {"--first", &options.first}, {"--seed", &options.first}, {"--lives", &options.count}};
    for (int i = 1; i < argc; ++i) {
        const auto known = switches.find(argv[i]);
        const auto number = numbers.find(argv[i]);
        if (known == switches.end() && number == numbers.end()) {
            return std::nullopt;
        }
        if (known != switches.end()) {
            *known->second = !known->first.starts_with("--no-");
        }
        if (number != numbers.end() && !ReadNumber(i + 1 < argc ? argv[++i] : nullptr, *number->second)) {
            return std::nullopt;
        }
    }
    options.count = options.verbose ? 1 : options.count;
    return options;
}

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
    return same ? 0 : kExitFound;
}

class Lives {
public:
    explicit Lives(const Options& options) : options_(options) {}

    int Run() {
        const auto begin = std::chrono::steady_clock::now();
        while (lived_ < options_.count && !(options_.untilFound && failed_ > 0)) {
            LiveNext();
            ShowProgress();
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        std::cout << lived_ << " lives in " << took.count() << " s, " << failed_ << " unexplained\n";
        for (const auto& [name, sum] : sums_) {
            std::cout << "  " << name << ": " << sum << '\n';
        }
        return failed_ == 0 ? 0 : kExitFound;
    }

private:
    void LiveNext() {
        const Plan plan = MakePlan(options_.first + lived_++, options_.plan);
        const Report report = Live(plan);
        Count(report);
        if (report.unexplained()) {
            ++failed_;
            Tell(plan, report);
            if (options_.shrink) {
                const Plan shortest = Shrink(plan, report.firstUnexplained()->judge);
                std::cout << "shortest story: ";
                Tell(shortest, Live(shortest));
            }
        } else if (options_.verbose) {
            Tell(plan, report);
        }
    }

    void Tell(const Plan& plan, const Report& report) const {
        std::cout << Story(plan, report);
        if (options_.verbose) {
            std::cout << report.log << report.finalContents;
        }
        std::cout << std::flush;
    }

    void Count(const Report& report) {
        sums_["calls"] += report.calls;
        sums_["rows"] += report.rows;
        sums_["looks"] += report.looks;
        sums_["takes"] += report.takes;
        sums_["deaths"] += report.deaths;
        sums_["losses of power"] += report.powerLosses;
        sums_["starts"] += report.starts;
        sums_["saves given up"] += report.savesGivenUp;
        sums_["compared"] += report.compared;
        sums_["virtual seconds"] += static_cast<std::uint64_t>(report.virtualMs / 1000);
        for (const Finding& finding : report.findings) {
            if (!finding.knownLimit.empty()) {
                ++sums_["known: " + finding.knownLimit];
            }
        }
    }

    void ShowProgress() const {
        constexpr std::uint64_t kEvery = 1000;
        if (lived_ % kEvery == 0) {
            std::cerr << lived_ << " of " << options_.count << " lives, " << failed_ << " unexplained\n";
        }
    }

    const Options options_;
    std::uint64_t lived_ = 0;
    std::uint64_t failed_ = 0;
    std::map<std::string, std::uint64_t> sums_;
};

int Main(int argc, char** argv) {
    const std::optional<Options> options = ReadArguments(argc, argv);
    if (!options || options->help) {
        (options ? std::cout : std::cerr) << kUsage;
        return options ? 0 : kExitUsage;
    }
    // Counting the library's memory costs time and tells nothing here.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    return options->soak ? SoakAWeek() : Lives(*options).Run();
}

}  // namespace
}  // namespace tavi::lives

int main(int argc, char** argv) {
    return tavi::lives::Main(argc, argv);
}
