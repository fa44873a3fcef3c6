#include "sim/machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::sim {
namespace {

TEST(Machine, SleepOnTheOnlyThreadJustMovesTheClock) {
    Machine machine;
    platform::Platform platform = machine.platform();
    platform.threads.Sleep(86400000);
    EXPECT_EQ(machine.NowMilliseconds(), 86400000);
}

}  // namespace
}  // namespace tavi::sim
