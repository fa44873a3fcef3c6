#include "imports/random_wait.h"

namespace Drive {

namespace {

constexpr std::uint64_t kShortest = 10;
constexpr std::uint64_t kLongest = 100;

}  // namespace

std::uint64_t GetRandWaitTime(tavi::platform::Clock& clock) {
    // The remainder's bias is below 91 / 2^64.
    return kShortest + clock.RandomNumber() % (kLongest - kShortest + 1);
}

}  // namespace Drive
