// Decides whether the process at the other end of the pipe is a client of ours: its executable's Authenticode signature
// verifies and its signer is the publisher that was set at build time. Whatever cannot be established is a refusal,
// with its reason in the error log (class tag "DigitalSignature", function "IsValidClient"), one line per client.
// Called on the IPC thread, once per client.
//
// What is checked is what runs: the process is held before anything is asked about it; its file must be one that runs,
// and is held open without sharing writes or deletes while it is checked; only then is it made sure that the path leads
// to that file without links and that the process still calls it its image. Revocation is not asked over the network:
// the service works offline.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/owned_handle.h"
#include "platform/platform.h"

namespace tavi::DigitalSignature {

// `publisher` is compared with the subject's common name, exactly; an empty one refuses everybody.
bool IsValidClient(platform::Platform& platform, std::uint32_t processId, std::u16string_view publisher);

// The same; a client that is accepted is handed back held, so that its process id names no other process as long as
// `client` lives. A refused one leaves `client` empty.
bool IsValidClient(platform::Platform& platform, std::uint32_t processId, std::u16string_view publisher,
                   platform::OwnedHandle& client);

// The two halves of it. The check only looks; its calls may wait, without limit, for whoever holds the executable, and
// may be cancelled, which is a refusal. `refusal` then says why, for the line.
bool CheckClient(platform::Platform& platform, std::uint32_t processId, std::u16string_view publisher,
                 platform::OwnedHandle& client, std::string& refusal);
void LogRefusal(std::uint32_t processId, const std::string& refusal);

}  // namespace tavi::DigitalSignature
