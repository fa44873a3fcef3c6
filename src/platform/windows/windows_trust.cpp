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

bool WindowsTrust::GetProcessTimes(Handle process, FileTime& creation) {
    FILETIME created{};
    FILETIME exited{};
    FILETIME inKernel{};
    FILETIME inUser{};
    const BOOL done = ::GetProcessTimes(ToNative<HANDLE>(process), &created, &exited, &inKernel, &inUser);
    creation = (FileTime{created.dwHighDateTime} << 32) | FileTime{created.dwLowDateTime};
    return done != FALSE;
}

bool WindowsTrust::QueryFullProcessImageNameW(Handle process, std::u16string& path) {
    std::vector<wchar_t> buffer(kLongestPath);
    DWORD length = kLongestPath;
    const BOOL done = ::QueryFullProcessImageNameW(ToNative<HANDLE>(process), 0, buffer.data(), &length);
    path = FromWide({buffer.data(), done != FALSE ? length : 0});
    return done != FALSE;
}

bool WindowsTrust::GetFinalPathNameByHandleW(Handle file, std::uint32_t flags, std::u16string& path) {
    std::vector<wchar_t> buffer(kLongestPath);
    // A length that does not fit the buffer counts the terminating zero, and nothing was written.
    const DWORD length = ::GetFinalPathNameByHandleW(ToNative<HANDLE>(file), buffer.data(), kLongestPath, flags);
    const bool done = length != 0 && length < kLongestPath;
    path = FromWide({buffer.data(), done ? length : 0});
    return done;
}

std::int32_t WindowsTrust::WinVerifyTrust(const TrustQuestion& question, TrustState& state) {
    auto verification = std::make_unique<Verification>();
    verification->path = ToWide(question.path);
    verification->file.cbStruct = sizeof verification->file;
    verification->file.pcwszFilePath = verification->path.c_str();
    verification->file.hFile = ToNative<HANDLE>(question.file);
    WINTRUST_DATA& data = verification->data;
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = question.revocationChecks;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &verification->file;
    data.dwProvFlags = question.providerFlags;
    const LONG result = Perform(*verification, WTD_STATEACTION_VERIFY);
    state = FromNative<TrustState>(verification.release());
    return result;
}

Certificate WindowsTrust::SignerCertificate(TrustState state, std::uint32_t signer, std::uint32_t place) {
    const auto* verification = ToNative<Verification*>(state);
    CRYPT_PROVIDER_DATA* provider =
        verification != nullptr ? ::WTHelperProvDataFromStateData(verification->data.hWVTStateData) : nullptr;
    const CRYPT_PROVIDER_SGNR* found =
        provider != nullptr ? ::WTHelperGetProvSignerFromChain(provider, signer, FALSE, 0) : nullptr;
    const bool present = found != nullptr && place < found->csCertChain;
    return present ? FromNative<Certificate>(found->pasCertChain[place].pCert) : kNoCertificate;
}

std::u16string WindowsTrust::CertGetNameStringW(Certificate certificate, const std::string& attribute) {
    // Not const: older headers declare the parameter so, though it is only read.
    std::string identifier = attribute;
    std::array<wchar_t, 1024> name{};
    const DWORD length = ::CertGetNameStringW(ToNative<PCCERT_CONTEXT>(certificate), CERT_NAME_ATTR_TYPE, 0,
                                              identifier.data(), name.data(), static_cast<DWORD>(name.size()));
    // The length counts the terminating zero.
    return FromWide({name.data(), length > 1 ? length - 1 : 0});
}

void WindowsTrust::CloseTrustState(TrustState state) {
    if (state != kNoTrustState) {
        const std::unique_ptr<Verification> verification(ToNative<Verification*>(state));
        Perform(*verification, WTD_STATEACTION_CLOSE);
    }
}

}  // namespace tavi::platform
