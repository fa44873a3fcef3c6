#include "ratio_table.h"

#include <cstdio>
#include <map>

namespace tavi::bench {
namespace {

// Keeps the medians, by the name under which a benchmark was registered.
class MedianReporter : public benchmark::BenchmarkReporter {
public:
    explicit MedianReporter(std::map<std::string, double>& seconds) : seconds_(seconds) {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                seconds_[run.run_name.function_name] =
                    run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            }
        }
    }

private:
    std::map<std::string, double>& seconds_;
};

std::string Duration(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, seconds < 1e-3 ? "%.1f us" : "%.2f ms", seconds * (seconds < 1e-3 ? 1e6 : 1e3));
    return text;
}

}  // namespace

double ThreadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

int RatioTable::Run(int argc, char** argv) {
    // Before the caller's own arguments, so that these win.
    std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=9",
                                          "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 2;
    }

    std::map<std::string, double> seconds;
    MedianReporter reporter(seconds);
    benchmark::RunSpecifiedBenchmarks(&reporter);

    bool kept = true;
    std::printf("%-44s %12s   %-28s %12s %9s   %s\n", "subject", "median", "compared with", "median", "ratio",
                "promise");
    for (const Promise& promise : promises_) {
        const auto subject = seconds.find(promise.subject);
        const auto base = seconds.find(promise.base);
        if (subject == seconds.end() || base == seconds.end()) {
            continue;  // left out with --benchmark_filter
        }
        const double ratio = subject->second / base->second;
        const bool met = promise.sense == Sense::kAtMost ? ratio <= promise.bound : ratio >= promise.bound;
        kept = kept && met;
        std::printf("%-44s %12s   %-28s %12s %9.2f   %s %g%s\n", promise.subject.c_str(),
                    Duration(subject->second).c_str(), promise.base.c_str(), Duration(base->second).c_str(), ratio,
                    promise.sense == Sense::kAtMost ? "at most" : "at least", promise.bound, met ? "" : "   MISSED");
    }
    return kept ? 0 : 1;
}

}  // namespace tavi::bench
