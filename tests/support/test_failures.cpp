// Part of every test program that uses the simulated machine: a deadlock fails the test. Programs that are no tests use
// the machine without it.
#include <gtest/gtest.h>

#include "sim/scheduler.h"

namespace tavi::sim {
namespace {

[[maybe_unused]] const bool kInstalled = [] {
    Scheduler::deadlockReport = [](const std::string& text) { ADD_FAILURE() << text; };
    return true;
}();

}  // namespace
}  // namespace tavi::sim
