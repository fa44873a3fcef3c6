// Paths as the file functions need them, and a file's reference number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace FileHepler {

// The form of a full path that the file functions accept whatever its length: forward slashes become backslashes, and a
// drive path that is long (248 code units or more, the shortest limit that the system documents, that of directories),
// or has a component that ends in a blank or a point, gets the "\\?\" prefix (a UNC path "\\?\UNC\"). Other paths stay
// as they are, prefixed ones too: some shell functions refuse the prefix.
std::u16string FormatLongFileName(std::u16string_view path);

// The 64-bit file reference number of a file or directory; 0 when it cannot be had. Opens a reparse point itself, not
// what it points to.
std::uint64_t GetFrnByPath(tavi::platform::Platform& platform, std::u16string_view path);

}  // namespace FileHepler
