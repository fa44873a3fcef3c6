// The wait between two attempts at something that others may be busy with.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace Drive {

// Milliseconds, uniform between 10 and 100, both included.
std::uint64_t GetRandWaitTime(tavi::platform::Clock& clock);

}  // namespace Drive
