// What a look at the change journal found, in words. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "machine/journal_look.h"

namespace tavi::client {

enum class PositionState { kValid, kExpired, kAhead };

// A position equal to either end of the journal is valid, as it is for the service.
PositionState JudgePosition(const JournalLook& look, std::int64_t position);

// "23,456 bytes behind the journal's end, 100 bytes ahead of its beginning", or why that cannot be said.
std::string DescribePosition(const JournalLook& look, std::int64_t position);

// How long the journal will hold what is written to it now, when it goes on at the rate of what it holds; nothing when
// there is too little to tell.
std::optional<double> HoursHeld(const JournalLook& look);

// Why the look failed, a sentence without its point; empty when it did not.
std::string DescribeLookProblem(const JournalLook& look, const std::u16string& folder);

// "32 MiB", "1.5 GiB", "512 bytes".
std::string FormatBytes(std::uint64_t bytes);

}  // namespace tavi::client
