// The name of a user's database folder: the digest of the user id. Called on the IPC thread.
#pragma once

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace tavi::util {

// SHA-256 over the text's UTF-8 bytes, as 64 lower-case hexadecimal digits; empty on any failure, which is logged.
std::u16string ShA256Encode(platform::Platform& platform, std::u16string_view text);

}  // namespace tavi::util
