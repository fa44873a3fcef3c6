// Processes and Authenticode signatures on Windows. A TrustState is the address of what one verification needs until it
// is closed; closing none is allowed.
#pragma once

#include "platform/trust.h"

namespace tavi::platform {

class WindowsTrust final : public Trust {
public:
    Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    bool GetProcessTimes(Handle process, FileTime& creation) override;
    bool QueryFullProcessImageNameW(Handle process, std::u16string& path) override;
    bool GetFinalPathNameByHandleW(Handle file, std::uint32_t flags, std::u16string& path) override;
    std::int32_t WinVerifyTrust(const TrustQuestion& question, TrustState& state) override;
    Certificate SignerCertificate(TrustState state, std::uint32_t signer, std::uint32_t place) override;
    std::u16string CertGetNameStringW(Certificate certificate, const std::string& attribute) override;
    void CloseTrustState(TrustState state) override;
};

}  // namespace tavi::platform
