#include "util/retry.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tavi::util {
namespace {

enum class Outcome { kBusy, kDone, kBroken };

// What happened, in order: the attempts' outcomes and "pause".
class Tries {
public:
    explicit Tries(std::vector<Outcome> outcomes) : outcomes_(std::move(outcomes)) {}

    Outcome Run(int retries) {
        return TryWithRetries(
            retries,
            [&] {
                trace_ += trace_.empty() ? "attempt" : ", attempt";
                return outcomes_.at(next_++);
            },
            [](Outcome outcome) { return outcome == Outcome::kBusy; }, [&] { trace_ += ", pause"; });
    }
    const std::string& trace() const { return trace_; }

private:
    std::vector<Outcome> outcomes_;
    std::size_t next_ = 0;
    std::string trace_;
};

TEST(Retry, FirstSuccessIsTheOnlyAttempt) {
    Tries tries({Outcome::kDone});
    EXPECT_EQ(tries.Run(5), Outcome::kDone);
    EXPECT_EQ(tries.trace(), "attempt");
}

TEST(Retry, PausesStandBetweenAttemptsAndNoneAfterTheLast) {
    Tries tries({Outcome::kBusy, Outcome::kBusy, Outcome::kBusy});
    EXPECT_EQ(tries.Run(2), Outcome::kBusy);
    EXPECT_EQ(tries.trace(), "attempt, pause, attempt, pause, attempt");
}

TEST(Retry, SuccessEndsTheRetries) {
    Tries tries({Outcome::kBusy, Outcome::kDone});
    EXPECT_EQ(tries.Run(5), Outcome::kDone);
    EXPECT_EQ(tries.trace(), "attempt, pause, attempt");
}

TEST(Retry, ResultThatIsNotWorthItEndsTheRetries) {
    Tries tries({Outcome::kBusy, Outcome::kBroken});
    EXPECT_EQ(tries.Run(5), Outcome::kBroken);
    EXPECT_EQ(tries.trace(), "attempt, pause, attempt");
}

TEST(Retry, WithNoRetriesThereIsOneAttempt) {
    Tries tries({Outcome::kBusy});
    EXPECT_EQ(tries.Run(0), Outcome::kBusy);
    EXPECT_EQ(tries.trace(), "attempt");
}

TEST(Retry, ExceptionOfAnAttemptReachesTheCaller) {
    const auto attempt = []() -> int { throw std::runtime_error("broken"); };
    EXPECT_THROW(TryWithRetries(
                     5, attempt, [](int) { return true; }, [] {}),
                 std::runtime_error);
}

}  // namespace
}  // namespace tavi::util
