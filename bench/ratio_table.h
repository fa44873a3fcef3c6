// Benchmarks that are judged by ratios: every time is compared with that of a floor measured in the same run, because
// times alone say more about the machine than about the code. A program registers what it measures and which ratios it
// promises, then calls Run, which prints one line per ratio and returns 1 when one is missed.
//
// Times are the thread's CPU time, medians of repetitions that are interleaved at random.
#pragma once

#include <benchmark/benchmark.h>

#include <ctime>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tavi::bench {

double ThreadCpuSeconds();

class RatioTable {
public:
    // Measures run(input) for the input that prepare() makes; making the input and destroying the result cost nothing.
    template <typename Prepare, typename Run>
    void Measure(const std::string& name, Prepare prepare, Run run) {
        benchmark::RegisterBenchmark(name.c_str(), [prepare, run](benchmark::State& state) {
            for ([[maybe_unused]] auto iteration : state) {
                auto input = prepare();
                const double begin = ThreadCpuSeconds();
                auto result = run(std::move(input));
                benchmark::DoNotOptimize(result);
                state.SetIterationTime(ThreadCpuSeconds() - begin);
            }
        })->UseManualTime();
    }

    // time(subject) / time(base) shall be at most, or at least, the bound.
    void AtMost(std::string subject, std::string base, double bound) {
        promises_.push_back({std::move(subject), std::move(base), bound, Sense::kAtMost});
    }
    void AtLeast(std::string subject, std::string base, double bound) {
        promises_.push_back({std::move(subject), std::move(base), bound, Sense::kAtLeast});
    }

    int Run(int argc, char** argv);

private:
    enum class Sense { kAtMost, kAtLeast };
    struct Promise {
        std::string subject;
        std::string base;
        double bound;
        Sense sense;
    };

    std::vector<Promise> promises_;
};

}  // namespace tavi::bench
