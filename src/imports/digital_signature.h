// Decides whether the process at the other end of the pipe is a client of ours: its executable's Authenticode signature
// verifies and its signer is the publisher that was set at build time. Whatever cannot be established is a refusal,
// with its reason in the error log (class tag "DigitalSignature", function "IsValidClient").
//
// What is verified is what runs:
//  - The process is held before anything is asked about it, and must have been there before its connection: else its
//    number has changed hands.
//  - Nothing is opened before every folder on the way to its executable is seen to be no link. The file must be one
//    that runs, which nobody can open for writing; it is then held open without sharing writes or deletes, so that
//    neither it nor a folder above it can be renamed.
//  - While it is held, the file's own path must be the path by which the system names the process's image, asked for
//    once more at the end. The system names an image by its file's present path, and two files have no path in common.
// An executable may hence be neither on the network, nor behind a link, nor, on some systems, read-only.
//
// Nothing is asked over the network, neither about revocation nor for certificates that the machine has not met: the
// service works offline, and a client's own certificate must not decide whom the local system account calls. So the
// machine must know the publisher's root certificate (docs/rolling-out.md).
//
// Refusals are cheap and bounded, because any local program can cause them: see client_refusals.h.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "imports/client_refusals.h"
#include "platform/owned_handle.h"
#include "platform/platform.h"

namespace tavi::DigitalSignature {

struct ClientConnection {
    std::uint32_t processId = 0;
    platform::FileTime acceptedAt = 0;  // by Clock::GetSystemTimePreciseAsFileTime, after the connection was there
};

// Makes the calls that may wait without limit for whoever holds an executable, and hands their result on. Whoever wants
// the thread to end may cancel them; that is a refusal.
using BlockingRunner = std::function<bool(const std::function<bool()>& calls)>;

// One for a channel's life; used by its thread alone.
class ClientCheck {
public:
    // `publisher` is compared with the subject's common name, exactly; an empty one refuses everybody.
    ClientCheck(platform::Platform& platform, std::u16string publisher, BlockingRunner runBlocking);

    // An accepted client is handed back held, so that its number names no other process as long as `client` lives. A
    // refused one leaves `client` empty.
    bool IsValidClient(const ClientConnection& connection, platform::OwnedHandle& client);

    // Milliseconds to wait before the next client is served; not 0 after several refusals in a row.
    std::uint32_t PauseMs() const { return refusals_.PauseMs(); }

private:
    platform::Platform& platform_;
    const std::u16string publisher_;
    const BlockingRunner runBlocking_;
    ClientRefusals refusals_;
};

// How the signature of a program verifies when it is asked as above: WinVerifyTrust's result, 0 when it does. Nothing
// when the file cannot be opened. For a client that wants to know why it is refused.
std::optional<std::int32_t> VerifySignature(platform::Platform& platform, const std::u16string& path);

}  // namespace tavi::DigitalSignature
