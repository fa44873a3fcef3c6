#include "imports/digital_signature.h"

#include <cstdio>
#include <string>
#include <utility>

#include "imports/file_helper.h"
#include "imports/logger_utility.h"
#include "imports/sync_panel_log.h"
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
// one that runs. (A system that names images by their files' present names shows the exchange in the name as well; not
// every system does.) An opening that was cancelled, because it waited for somebody who holds the file, says nothing.
bool IsFileInUse(Platform& platform, std::string& refusal, const std::u16string& path) {
    const platform::Handle handle = platform.files.CreateFileW(
        FileHepler::FormatLongFileName(path), platform::kGenericWrite,
        platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete, platform::kOpenExisting,
        platform::kFileAttributeNormal | platform::kFileFlagOpenReparsePoint);
    if (handle == platform::kInvalidHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        return code != platform::kErrorOperationAborted ||
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

bool IsSignedBy(Platform& platform, std::string& refusal, const std::u16string& path, const OwnedHandle& file,
                std::u16string_view publisher) {
    TrustStateOwner owner(platform.trust);
    const std::int32_t result = platform.trust.WinVerifyTrust(path, file.Get(), owner.state);
    if (result != 0) {
        return Refuse(refusal, "the signature of its executable does not verify, result is " + Hexadecimal(result));
    }
    std::u16string commonName;
    if (!platform.trust.SignerCommonName(owner.state, commonName)) {
        return Refuse(refusal, "the signer of its executable has no readable common name");
    }
    if (publisher.empty() || commonName != publisher) {
        return Refuse(refusal,
                      "its executable is signed by another publisher: " + TypeConvert::UnicodeToUTF8(commonName));
    }
    return true;
}

// The system names a process's image by the file's present name: a file that was renamed away after the start, to put
// another in its place, is now called differently from the one that was checked.
bool IsStillImage(Platform& platform, std::string& refusal, const OwnedHandle& process, const std::u16string& path) {
    std::u16string now;
    if (!GetImagePath(platform, refusal, process, now)) {
        return false;
    }
    return now == path || Refuse(refusal, "its executable was exchanged while it was checked");
}

}  // namespace

bool IsValidClient(Platform& platform, std::uint32_t processId, std::u16string_view publisher) {
    OwnedHandle client;
    return IsValidClient(platform, processId, publisher, client);
}

bool IsValidClient(Platform& platform, std::uint32_t processId, std::u16string_view publisher, OwnedHandle& client) {
    std::string refusal;
    if (CheckClient(platform, processId, publisher, client, refusal)) {
        return true;
    }
    LogRefusal(processId, refusal);
    return false;
}

bool CheckClient(Platform& platform, std::uint32_t processId, std::u16string_view publisher, OwnedHandle& client,
                 std::string& refusal) {
    client.Close();
    const platform::Handle handle = platform.trust.OpenProcess(platform::kProcessQueryLimitedInformation, processId);
    if (handle == platform::kNullHandle) {
        const std::uint32_t code = platform.errors.GetLastError();
        return Refuse(refusal, WithCode(platform, "failed to open it", code));
    }
    OwnedHandle process(platform.files, handle);
    std::u16string path;
    OwnedHandle file;
    const bool valid = GetImagePath(platform, refusal, process, path) && IsFileInUse(platform, refusal, path) &&
                       HoldFile(platform, refusal, path, file) && HasNoLinks(platform, refusal, path) &&
                       IsSignedBy(platform, refusal, path, file, publisher) &&
                       IsStillImage(platform, refusal, process, path);
    if (valid) {
        client = std::move(process);
    }
    return valid;
}

void LogRefusal(std::uint32_t processId, const std::string& refusal) {
    Drive::SyncPanelLog::WriteErrorLog("DigitalSignature", "IsValidClient",
                                       "Refused the client process " + std::to_string(processId) + ": " + refusal);
}

}  // namespace tavi::DigitalSignature
