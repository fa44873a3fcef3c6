// Decides whether the process at the other end of the pipe is a client of ours: its executable's Authenticode signature
// verifies and its signer is the publisher that was set at build time. Whatever cannot be established is a refusal,
// with its reason in the error log. Called on the IPC thread, once per client.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/platform.h"

namespace tavi::DigitalSignature {

// `publisher` is compared with the subject's common name, exactly.
bool IsValidClient(platform::Platform& platform, std::uint32_t processId, std::u16string_view publisher);

}  // namespace tavi::DigitalSignature
