// How a change is printed: as a line with columns, coloured or not, or as one JSON object. Pure functions; texts are
// UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tavi_client/change_table.h"

namespace tavi::client {

enum class LineStyle { kPlain, kColoured };

// "2026-11-21 12:10:42.123  rename  new.txt  (was old.txt)"; a directory ends with a backslash. No line end.
std::string FormatChangeLine(const Change& change, LineStyle style);
// On one line, ASCII; numbers as numbers, the time as text, too. No line end.
std::string FormatChangeJson(const Change& change);

// "2026-11-21 12:10:42.123" for milliseconds since 1970.
std::string FormatTimestamp(std::int64_t milliseconds);
// The text with every control character replaced, so that a file's name cannot steer the terminal.
std::string WithoutControls(std::string_view text);
// "1,234,567".
std::string FormatNumber(std::int64_t number);

}  // namespace tavi::client
