#include "replay/progress.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tavi::replay {
namespace {

using std::chrono::milliseconds;

// A clock that moves when told to.
struct ManualClock {
    std::chrono::steady_clock::time_point now{};
    Progress::Clock Read() {
        return [this] { return now; };
    }
};

TEST(Progress, NothingAppearsWithoutATerminal) {
    ManualClock clock;
    std::ostringstream output;
    Progress progress(output, false, clock.Read());
    clock.now += milliseconds(5000);
    progress.Show("x");
    progress.Wipe();
    EXPECT_EQ(output.str(), "");
}

TEST(Progress, NothingAppearsInTheFirstSecond) {
    ManualClock clock;
    std::ostringstream output;
    Progress progress(output, true, clock.Read());
    clock.now += milliseconds(999);
    progress.Show("x");
    progress.Wipe();
    EXPECT_EQ(output.str(), "");
}

TEST(Progress, TheLineIsRewrittenAFewTimesASecondAndWipedAtTheEnd) {
    ManualClock clock;
    std::ostringstream output;
    {
        Progress progress(output, true, clock.Read());
        clock.now += milliseconds(1000);
        progress.Show("one");
        progress.Show("too early");
        clock.now += milliseconds(200);
        progress.Show("two");
    }
    EXPECT_EQ(output.str(), "\rone\x1b[K\rtwo\x1b[K\r\x1b[K");
}

}  // namespace
}  // namespace tavi::replay
