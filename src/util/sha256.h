// The name of a user's database folder: the digest of the user id. Any thread; called on the IPC thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace tavi::util {

// OPENSSL_INIT_NO_LOAD_CONFIG, which the digest library is told before anything else.
inline constexpr std::uint64_t kInitWithoutConfiguration = 0x80;

// SHA-256 over the text's UTF-8 bytes, as 64 lower-case hexadecimal digits; empty on any failure, which is logged
// except when memory for the texts runs out.
std::u16string ShA256Encode(platform::Platform& platform, std::u16string_view text);

}  // namespace tavi::util
