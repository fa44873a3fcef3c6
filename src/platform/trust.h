// Processes, a file's path by its handle, and the Authenticode signature of a file (kernel32, wintrust, crypt32). A
// call that fails returns false, an empty value or the documented code; out-parameters hold nothing of use then. Any
// thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tavi::platform {

// What WinVerifyTrust keeps between a verification and its close.
enum class TrustState : std::uintptr_t {};
inline constexpr TrustState kNoTrustState{0};

// A certificate that belongs to a trust state and goes with it.
enum class Certificate : std::uintptr_t {};
inline constexpr Certificate kNoCertificate{0};

// The fields of WINTRUST_DATA and WINTRUST_FILE_INFO that are the caller's choice. The rest is fixed: no user
// interface, a file, no policy data.
struct TrustQuestion {
    std::u16string path;
    Handle file = kInvalidHandle;  // open for reading
    std::uint32_t revocationChecks = 0;
    std::uint32_t providerFlags = 0;
};

class Trust {
public:
    virtual ~Trust() = default;

    virtual Handle OpenProcess(std::uint32_t access, std::uint32_t processId) = 0;  // kNullHandle on failure
    // The creation time only; the other times are not handed on.
    virtual bool GetProcessTimes(Handle process, FileTime& creation) = 0;
    // The image's full Win32 path.
    virtual bool QueryFullProcessImageNameW(Handle process, std::u16string& path) = 0;
    // The path of an open file, with the "\\?\" prefix.
    virtual bool GetFinalPathNameByHandleW(Handle file, std::uint32_t flags, std::u16string& path) = 0;
    // WINTRUST_ACTION_GENERIC_VERIFY_V2, WTD_STATEACTION_VERIFY. Returns 0 when the signature verifies, otherwise the
    // error (0x800B0100 when there is none). Whatever it returns, the state is released with CloseTrustState.
    virtual std::int32_t WinVerifyTrust(const TrustQuestion& question, TrustState& state) = 0;
    // WTHelperProvDataFromStateData, WTHelperGetProvSignerFromChain (no countersigner) and the certificate at that
    // place of the signer's chain, the signer's own being the first. kNoCertificate when there is none.
    virtual Certificate SignerCertificate(TrustState state, std::uint32_t signer, std::uint32_t place) = 0;
    // CERT_NAME_ATTR_TYPE: the attribute of the subject with that object identifier; empty when it has none. Zeros
    // within the text stay.
    virtual std::u16string CertGetNameStringW(Certificate certificate, const std::string& attribute) = 0;
    // WTD_STATEACTION_CLOSE; kNoTrustState is allowed.
    virtual void CloseTrustState(TrustState state) = 0;
};

}  // namespace tavi::platform
