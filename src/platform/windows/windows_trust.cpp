#include "platform/windows/windows_trust.h"

#include <windows.h>

#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

#include <array>
#include <memory>
#include <vector>

#include "platform/windows/native_handle.h"
#include "platform/windows/wide_text.h"

namespace tavi::platform {

namespace {

constexpr DWORD kLongestPath = 32768;  // code units of a Win32 path, its zero included

// One verification: the close must be given the very structures of the verification.
struct Verification {
    std::wstring path;
    WINTRUST_FILE_INFO file{};
    WINTRUST_DATA data{};
};

LONG Perform(Verification& verification, DWORD action) {
    GUID policy = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    verification.data.dwStateAction = action;
    return ::WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &policy, &verification.data);
}

}  // namespace

Handle WindowsTrust::OpenProcess(std::uint32_t access, std::uint32_t processId) {
    return FromNative<Handle>(::OpenProcess(access, FALSE, processId));
}

bool WindowsTrust::QueryFullProcessImageNameW(Handle process, std::u16string& path) {
    std::vector<wchar_t> buffer(kLongestPath);
    DWORD length = kLongestPath;
    const BOOL done = ::QueryFullProcessImageNameW(ToNative<HANDLE>(process), 0, buffer.data(), &length);
    path = FromWide({buffer.data(), done != FALSE ? length : 0});
    return done != FALSE;
}

std::int32_t WindowsTrust::WinVerifyTrust(const std::u16string& path, Handle file, TrustState& state) {
    auto verification = std::make_unique<Verification>();
    verification->path = ToWide(path);
    verification->file.cbStruct = sizeof verification->file;
    verification->file.pcwszFilePath = verification->path.c_str();
    verification->file.hFile = ToNative<HANDLE>(file);
    WINTRUST_DATA& data = verification->data;
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &verification->file;
    data.dwProvFlags = WTD_REVOCATION_CHECK_NONE | WTD_CACHE_ONLY_URL_RETRIEVAL;
    const LONG result = Perform(*verification, WTD_STATEACTION_VERIFY);
    state = FromNative<TrustState>(verification.release());
    return result;
}

bool WindowsTrust::SignerCommonName(TrustState state, std::u16string& commonName) {
    const auto* verification = ToNative<Verification*>(state);
    CRYPT_PROVIDER_DATA* provider = ::WTHelperProvDataFromStateData(verification->data.hWVTStateData);
    CRYPT_PROVIDER_SGNR* signer =
        provider != nullptr ? ::WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0) : nullptr;
    if (signer == nullptr || signer->csCertChain == 0) {
        return false;
    }
    // Not const: older headers declare the parameter so, though it is only read.
    std::string commonNameId = szOID_COMMON_NAME;
    std::array<wchar_t, 1024> name{};
    const DWORD length = ::CertGetNameStringW(signer->pasCertChain[0].pCert, CERT_NAME_ATTR_TYPE, 0,
                                              commonNameId.data(), name.data(), static_cast<DWORD>(name.size()));
    // The length counts the terminating zero; the text may hold others, which must not shorten what is compared.
    commonName = FromWide({name.data(), length > 1 ? length - 1 : 0});
    return !commonName.empty();
}

void WindowsTrust::CloseTrustState(TrustState state) {
    if (state != kNoTrustState) {
        const std::unique_ptr<Verification> verification(ToNative<Verification*>(state));
        Perform(*verification, WTD_STATEACTION_CLOSE);
    }
}

}  // namespace tavi::platform
