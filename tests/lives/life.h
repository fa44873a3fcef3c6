// Lives a plan and judges it. What a judge finds is told by letters:
//   a  the rows and the position are those of an undisturbed life over the same journal
//   b  a start reply tells the truth about records that were skipped
//   c  every row's path, number and time come from a journal record inside the folder
//   d  a file that changed and exists at the end under a name that is no noise appears
//   e  position and rows never disagree, whoever looks, whenever
//   f  threads, handles and memory return to where they were
//   g  stopping is quick, and a task goes on through what it has to bear
// A finding with a known limit is one that docs/known-limits.md describes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lives/plan.h"

namespace tavi::lives {

struct Finding {
    char judge = 'a';
    std::string text;
    std::string knownLimit;  // empty: not explained
};

struct Report {
    std::vector<Finding> findings;
    // The life in numbers; equal for equal plans unless every thread runs at once.
    std::uint64_t calls = 0;
    std::uint64_t switches = 0;
    std::int64_t virtualMs = 0;
    std::uint64_t deaths = 0;
    std::uint64_t powerLosses = 0;
    std::uint64_t starts = 0;
    std::uint64_t savesGivenUp = 0;  // batches that had to be dealt with again
    std::uint64_t rows = 0;
    std::uint64_t looks = 0;
    std::uint64_t takes = 0;             // times that the client dealt with all rows
    std::uint64_t compared = 0;          // stretches that an undisturbed life was held against
    std::vector<std::uint32_t> replies;  // to the starts that were answered, in order
    std::string finalContents;
    std::string log;  // the last lines, when something was found

    bool unexplained() const;
    const Finding* firstUnexplained() const;
};

Report Live(const Plan& plan);

}  // namespace tavi::lives
