// Days of steady work on the simulated machine, without a mishap: what the process holds must not grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tavi::lives {

struct SoakReport {
    std::size_t bytesAtFirst = 0;  // in use in this whole program, the simulated machine included
    std::size_t bytesAtEnd = 0;
    std::size_t handlesAtFirst = 0;
    std::size_t handlesAtEnd = 0;
    std::uint64_t callsOfService = 0;
    std::int64_t journalBytes = 0;  // written by the work
    std::vector<std::string> leaks;
};

// Containers and the library's page cache breathe; what leaks once an hour passes this within the week.
inline constexpr std::size_t kSoakToleranceBytes = 16384;

// Measures after `firstHours` and after `hours` of virtual time.
SoakReport Soak(int firstHours, int hours);

}  // namespace tavi::lives
