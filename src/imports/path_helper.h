// Paths in logs, obscured.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace PathHelper {

// A copy of the path that can be logged: in every component each code unit of the stem but the first and the last
// becomes '*'; separators and the text from a component's last point on stay. The same path always gives the same text.
std::u16string FuzzyFilePath(std::u16string_view path);
// The same in place, for a path of ASCII characters.
void FuzzyAsciiPath(std::span<char> path);

}  // namespace PathHelper
