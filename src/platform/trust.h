// Processes, and the Authenticode signature of a file (kernel32, wintrust, crypt32). A call that fails returns false,
// an empty value or the documented code.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

// What WinVerifyTrust keeps between a verification and its close.
enum class TrustState : std::uintptr_t {};
inline constexpr TrustState kNoTrustState{0};

class Trust {
public:
    virtual ~Trust() = default;

    virtual Handle OpenProcess(std::uint32_t access, std::uint32_t processId) = 0;  // kNullHandle on failure
    // The image's full Win32 path.
    virtual bool QueryFullProcessImageNameW(Handle process, std::u16string& path) = 0;
    // WINTRUST_ACTION_GENERIC_VERIFY_V2 on the open file, no user interface, no revocation check, nothing fetched from
    // the network. Returns 0 when the signature verifies, otherwise the error (0x800B0100 when there is none). Whatever
    // it returns, the state is released with CloseTrustState.
    virtual std::int32_t WinVerifyTrust(const std::u16string& path, Handle file, TrustState& state) = 0;
    // The common name (2.5.4.3) of the subject of the first signer's certificate; false when it cannot be read.
    virtual bool SignerCommonName(TrustState state, std::u16string& commonName) = 0;
    virtual void CloseTrustState(TrustState state) = 0;
};

}  // namespace tavi::platform
