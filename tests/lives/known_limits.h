// The blind spots of the rules, told apart by what the rules did: a change that a rule drops in one of the ways that
// docs/known-limits.md describes is no defect of the program. Each name here is a heading there.
#pragma once

#include <string>

#include "lives/reference.h"

namespace tavi::lives {

struct Drop {
    std::string step;        // after which the path is in no list; empty: it never was in one, or is not dropped
    std::string knownLimit;  // empty: none explains it
    std::string before;      // the list that the step was given, one record a row
};

// Where the steps dropped the file with that path and number for the last time, and why.
Drop FindDrop(const Batches& batches, const std::u16string& path, std::uint64_t frn);

}  // namespace tavi::lives
