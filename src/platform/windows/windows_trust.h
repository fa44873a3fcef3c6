// Processes and Authenticode signatures on Windows. A TrustState is the address of what one verification needs until it
// is closed; closing none is allowed.
#pragma once

#include "platform/trust.h"

namespace tavi::platform {

class WindowsTrust final : public Trust {
public:
    Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    bool QueryFullProcessImageNameW(Handle process, std::u16string& path) override;
    std::int32_t WinVerifyTrust(const std::u16string& path, Handle file, TrustState& state) override;
    bool SignerCommonName(TrustState state, std::u16string& commonName) override;
    void CloseTrustState(TrustState state) override;
};

}  // namespace tavi::platform
