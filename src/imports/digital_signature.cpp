#include "imports/digital_signature.h"

#include <cstdio>
#include <string>
#include <utility>

#include "imports/file_helper.h"
#include "imports/logger_utility.h"
#include "imports/type_convert.h"

namespace tavi::DigitalSignature {

namespace {

using platform::OwnedHandle;
using platform::Platform;

// Each check returns whether the client may still be accepted; the one that refuses says why.
bool Refuse(std::string& refusal, std::string reason) {
    refusal = std::move(reason);
    return false;
}

std::string WithCode(Platform& platform, const std::string& what, std::uint32_t code) {
    return what + ", error code is " + std::to_string(code) +
           ",reason:" + Drive::LoggerUtility::GetErrorMessage(platform.errors, code);
}

std::string Hexadecimal(std::int32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

// Releases what a verification left behind, whatever its result.
class TrustStateOwner {
public:
    explicit TrustStateOwner(platform::Trust& trust) : trust_(trust) {}
    TrustStateOwner(const TrustStateOwner&) = delete;
    TrustStateOwner& operator=(const TrustStateOwner&) = delete;
    ~TrustStateOwner() { trust_.CloseTrustState(state); }

    platform::TrustState state = platform::kNoTrustState;

private:
    platform::Trust& trust_;
};

// The path without the long-path prefix when it lies on a drive of this machine, otherwise empty: a path on the network
// or on a device can answer every opening with another file.
std::u16string_view DrivePath(std::u16string_view path) {
    if (path.starts_with(u"\\\\?\\")) {
        path.remove_prefix(4);
    }
    const bool letter = !path.empty() && ((path[0] >= u'A' && path[0] <= u'Z') || (path[0] >= u'a' && path[0] <= u'z'));
    const bool drive = letter && path.size() > 3 && path[1] == u':' && path[2] == u'\\';
    return drive ? path : std::u16string_view();
}

// The number may have changed hands between the connection and the opening: then the process is younger than the
// connection. (The clock's word is taken for it. When the clock was set back, a client that was started before must be
// started again.)
bool WasThereBefore(Platform& platform, std::string& refusal, const OwnedHandle& process,
                    const ClientConnection& connection, platform::FileTime& startedAt) {
    if (!platform.trust.GetProcessTimes(process.Get(), startedAt)) {
        const std::uint32_t code = platform.errors.GetLastError();
        startedAt = 0;
        return Refuse(refusal, WithCode(platform, "failed to obtain when it was started", code));
    }
    return startedAt <= connection.acceptedAt || Refuse(refusal, "it was started after it connected");
}

bool GetImagePath(Platform& platform, std::string& refusal, const OwnedHandle& process, std::u16string& path) {
    if (!platform.trust.QueryFullProcessImageNameW(process.Get(), path)) {
        const std::uint32_t code = platform.errors.GetLastError();
        return Refuse(refusal, WithCode(platform, "failed to obtain the path of its executable", code));
    }
    if (DrivePath(path).empty()) {
        return Refuse(refusal, "its executable is not on a drive of this machine: " + TypeConvert::UnicodeToUTF8(path));
    }
    return true;
}

// Nobody can open the file of a running program for writing. One that lets itself be opened was put in the place of the
// one that runs. Any other failure says nothing, that of an opening which waited for somebody and was cancelled, too.
bool IsFileInUse(Platform& platform, std::string& refusal, const std::u16string& path) {
    const platform::Handle handle = platform.files.CreateFileW(
        FileHepler::FormatLongFileName(path), platform::kGenericWrite,
        platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete, platform::kOpenExisting,
        platform::kFileAttributeNormal | platform::kFileFlagOpenReparsePoint);
    if (handle == platform::kInvalidHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        return code == platform::kErrorSharingViolation ||
               Refuse(refusal, WithCode(platform, "whether its executable is in use could not be seen", code));
    }
    const OwnedHandle writer(platform.files, handle);
    return Refuse(refusal, "the file in its executable's place is not the one that runs");
}

// Nobody can write, rename or delete the file, or rename a folder above it, as long as `file` is open. A file that
// somebody has open for that already cannot be opened.
bool HoldFile(Platform& platform, std::string& refusal, const std::u16string& path, OwnedHandle& file) {
    const platform::Handle handle = platform.files.CreateFileW(
        FileHepler::FormatLongFileName(path), platform::kGenericRead, platform::kFileShareRead, platform::kOpenExisting,
        platform::kFileAttributeNormal | platform::kFileFlagOpenReparsePoint);
    if (handle == platform::kInvalidHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        return Refuse(refusal, WithCode(platform, "failed to open its executable", code));
    }
    file = OwnedHandle(platform.files, handle);
    return true;
}

// Walks down from the drive's root: every folder, and the file itself, must be there in its own right.
bool HasNoLinks(Platform& platform, std::string& refusal, const std::u16string& path) {
    const std::size_t root = path.size() - DrivePath(path).size() + 2;
    for (std::size_t end = root; end != std::u16string::npos;) {
        end = path.find(u'\\', end + 1);
        const std::u16string part = path.substr(0, end);
        const std::uint32_t attributes = platform.paths.GetFileAttributesW(FileHepler::FormatLongFileName(part));
        if (attributes == platform::kInvalidFileAttributes) {
            const std::uint32_t code = platform.errors.GetLastError();
            return Refuse(refusal, WithCode(platform, "failed to read attributes on the way to its executable", code));
        }
        if ((attributes & platform::kFileAttributeReparsePoint) != 0) {
            return Refuse(refusal, "a link leads to its executable: " + TypeConvert::UnicodeToUTF8(part));
        }
    }
    return true;
}

// The file may have been reached through a link, or be in the path's place for a moment only: where it is, it says
// itself, and nobody can change that any more.
bool IsWhereItWasLookedFor(Platform& platform, std::string& refusal, const OwnedHandle& file,
                           const std::u16string& path) {
    std::u16string own;
    if (!platform.trust.GetFinalPathNameByHandleW(file.Get(), platform::kFileNameOpened, own)) {
        const std::uint32_t code = platform.errors.GetLastError();
        return Refuse(refusal, WithCode(platform, "failed to obtain the path of the opened executable", code));
    }
    return (!DrivePath(own).empty() && DrivePath(own) == DrivePath(path)) ||
           Refuse(refusal, "its executable was opened in another place: " + TypeConvert::UnicodeToUTF8(own));
}

// The second flag's documentation speaks of revocation alone; it is passed on to the building of the chain, which then
// looks for no certificate outside of the machine either.
std::int32_t Verify(Platform& platform, const std::u16string& path, const OwnedHandle& file, TrustStateOwner& owner) {
    return platform.trust.WinVerifyTrust(
        {.path = path,
         .file = file.Get(),
         .revocationChecks = platform::kWtdRevokeNone,
         .providerFlags = platform::kWtdRevocationCheckNone | platform::kWtdCacheOnlyUrlRetrieval},
        owner.state);
}

bool IsSignedBy(Platform& platform, std::string& refusal, const std::u16string& path, const OwnedHandle& file,
                std::u16string_view publisher) {
    constexpr std::uint32_t kFirst = 0;
    TrustStateOwner owner(platform.trust);
    const std::int32_t result = Verify(platform, path, file, owner);
    if (result != 0) {
        return Refuse(refusal, "the signature of its executable does not verify, result is " + Hexadecimal(result));
    }
    const platform::Certificate certificate = platform.trust.SignerCertificate(owner.state, kFirst, kFirst);
    const std::u16string commonName = certificate == platform::kNoCertificate
                                          ? std::u16string()
                                          : platform.trust.CertGetNameStringW(certificate, platform::kOidCommonName);
    if (commonName.empty()) {
        return Refuse(refusal, "the signer of its executable has no readable common name");
    }
    if (publisher.empty() || commonName != publisher) {
        return Refuse(refusal,
                      "its executable is signed by another publisher: " + TypeConvert::UnicodeToUTF8(commonName));
    }
    return true;
}

// The system names a process's image by the file's present path: a file that was renamed away, to put another in its
// place, is now called differently from the one that was checked.
bool IsStillImage(Platform& platform, std::string& refusal, const OwnedHandle& process, const std::u16string& path) {
    std::u16string now;
    if (!GetImagePath(platform, refusal, process, now)) {
        return false;
    }
    return now == path || Refuse(refusal, "its executable was exchanged while it was checked");
}

// All of it. `client` is filled only when the client is accepted, `startedAt` as soon as it is known.
bool Check(Platform& platform, std::string& refusal, const ClientConnection& connection, std::u16string_view publisher,
           OwnedHandle& client, platform::FileTime& startedAt) {
    const platform::Handle handle =
        platform.trust.OpenProcess(platform::kProcessQueryLimitedInformation, connection.processId);
    if (handle == platform::kNullHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        return Refuse(refusal, WithCode(platform, "failed to open it", code));
    }
    OwnedHandle process(platform.files, handle);
    std::u16string path;
    OwnedHandle file;
    const bool valid = WasThereBefore(platform, refusal, process, connection, startedAt) &&
                       GetImagePath(platform, refusal, process, path) && HasNoLinks(platform, refusal, path) &&
                       IsFileInUse(platform, refusal, path) && HoldFile(platform, refusal, path, file) &&
                       IsWhereItWasLookedFor(platform, refusal, file, path) &&
                       IsSignedBy(platform, refusal, path, file, publisher) &&
                       IsStillImage(platform, refusal, process, path);
    if (valid) {
        client = std::move(process);
    }
    return valid;
}

}  // namespace

ClientCheck::ClientCheck(Platform& platform, std::u16string publisher, BlockingRunner runBlocking)
    : platform_(platform), publisher_(std::move(publisher)), runBlocking_(std::move(runBlocking)) {}

bool ClientCheck::IsValidClient(const ClientConnection& connection, OwnedHandle& client) {
    client.Close();
    std::string refusal;
    ProcessIdentity process{connection.processId, 0};
    // The line is written outside of the calls that somebody may cancel.
    const bool accepted =
        runBlocking_([&] { return Check(platform_, refusal, connection, publisher_, client, process.startedAt); });
    if (accepted) {
        refusals_.Accepted();
    } else {
        refusals_.Refused(process, connection.acceptedAt, refusal);
    }
    return accepted;
}

std::optional<std::int32_t> VerifySignature(Platform& platform, const std::u16string& path) {
    std::string refusal;
    OwnedHandle file;
    if (!HoldFile(platform, refusal, path, file)) {
        return std::nullopt;
    }
    TrustStateOwner owner(platform.trust);
    return Verify(platform, path, file, owner);
}

}  // namespace tavi::DigitalSignature
