// Signatures and the check of a client, on programs that the build has signed (sign_probes.sh).
#include "platform/trust.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "imports/digital_signature.h"
#include "sim/captured_log.h"
#include "windows/platform/child_process.h"
#include "windows/platform/windows_world.h"

namespace tavi::contract {
namespace {

using testing::HasSubstr;

constexpr std::int32_t kNoSignature = static_cast<std::int32_t>(0x800B0100);
constexpr std::int32_t kBadDigest = static_cast<std::int32_t>(0x80096010);
constexpr std::int32_t kUntrustedRoot = static_cast<std::int32_t>(0x800B0109);
constexpr char16_t kPublisher[] = u"" TAVI_PUBLISHER;

std::u16string Probe(std::u16string_view kind) {
    return ProgramFolder() + u"\\probes\\" + std::u16string(kind) + u"_probe.exe";
}

class TrustTest : public testing::Test {
protected:
    void SetUp() override {
        if (!parts.paths.PathFileExistsW(Probe(u"publisher"))) {
            GTEST_SKIP() << "the build found no osslsigncode, so there is no signed program";
        }
        if (Verify(u"publisher") == kUntrustedRoot) {
            GTEST_SKIP() << "this system does not trust the certificate made for the test";
        }
    }

    std::int32_t Verify(std::u16string_view kind, std::u16string* signer = nullptr, bool* named = nullptr) {
        const std::u16string path = Probe(kind);
        const platform::OwnedHandle file(
            parts.files, parts.files.CreateFileW(path, platform::kGenericRead, platform::kFileShareRead,
                                                 platform::kOpenExisting, platform::kFileAttributeNormal));
        platform::TrustState state = platform::kNoTrustState;
        const std::int32_t result = parts.trust.WinVerifyTrust(
            {.path = path,
             .file = file.Get(),
             .revocationChecks = platform::kWtdRevokeNone,
             .providerFlags = platform::kWtdRevocationCheckNone | platform::kWtdCacheOnlyUrlRetrieval},
            state);
        if (signer != nullptr) {
            const platform::Certificate certificate = parts.trust.SignerCertificate(state, 0, 0);
            *signer = certificate == platform::kNoCertificate
                          ? std::u16string()
                          : parts.trust.CertGetNameStringW(certificate, platform::kOidCommonName);
            *named = !signer->empty();
        }
        parts.trust.CloseTrustState(state);
        return result;
    }
    // The process connects now, or did so before.
    bool IsValidClient(std::uint32_t processId, platform::FileTime acceptedAt) {
        DigitalSignature::ClientCheck check(parts, kPublisher, [](const auto& calls) { return calls(); });
        platform::OwnedHandle client;
        return check.IsValidClient({.processId = processId, .acceptedAt = acceptedAt}, client);
    }
    bool IsValidClient(std::uint32_t processId) {
        return IsValidClient(processId, parts.clock.GetSystemTimePreciseAsFileTime());
    }
    bool IsAccepted(const std::u16string& program) {
        const ChildProcess client(program);
        EXPECT_TRUE(client.Started()) << testing::PrintToString(program);
        return IsValidClient(client.Id());
    }
    bool Copy(const std::u16string& from, const std::u16string& to) {
        return ::CopyFileW(platform::ToWide(from).c_str(), platform::ToWide(to).c_str(), TRUE) != FALSE;
    }
    bool Move(const std::u16string& from, const std::u16string& to) {
        return ::MoveFileW(platform::ToWide(from).c_str(), platform::ToWide(to).c_str()) != FALSE;
    }

    WindowsWorld world;
    platform::Platform parts = world.Parts();
    sim::CapturedLog log;
};

TEST_F(TrustTest, ASignedFileVerifiesAndNamesItsSigner) {
    std::u16string signer;
    bool named = false;
    EXPECT_EQ(Verify(u"publisher", &signer, &named), 0);
    EXPECT_TRUE(named);
    EXPECT_TRUE(signer == kPublisher) << testing::PrintToString(signer);
}

TEST_F(TrustTest, AnotherPublisherIsNamedInFull) {
    std::u16string signer;
    bool named = false;
    EXPECT_EQ(Verify(u"other", &signer, &named), 0);
    EXPECT_TRUE(named && signer == std::u16string(kPublisher) + u" Ltd") << testing::PrintToString(signer);
}

TEST_F(TrustTest, ACertificateWithoutACommonNameHasNone) {
    std::u16string signer;
    bool named = true;
    EXPECT_EQ(Verify(u"nameless", &signer, &named), 0);
    EXPECT_FALSE(named) << testing::PrintToString(signer);
}

TEST_F(TrustTest, AnUnsignedAndATamperedFileHaveTheirCodes) {
    EXPECT_EQ(Verify(u"unsigned"), kNoSignature);
    EXPECT_EQ(Verify(u"tampered"), kBadDigest);
}

TEST_F(TrustTest, ClosingNoStateIsAllowed) {
    parts.trust.CloseTrustState(platform::kNoTrustState);
    EXPECT_EQ(Verify(u"unsigned"), kNoSignature);
}

TEST_F(TrustTest, AProcessNamesItsProgram) {
    const platform::OwnedHandle self(
        parts.files, parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, ::GetCurrentProcessId()));
    ASSERT_TRUE(self.IsValid());
    std::u16string path;
    EXPECT_TRUE(parts.trust.QueryFullProcessImageNameW(self.Get(), path));
    EXPECT_TRUE(path == parts.modules.GetModuleFileNameW(32768)) << testing::PrintToString(path);
    EXPECT_EQ(parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, 0xFFFFFFF0), platform::kNullHandle);
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorInvalidParameter);
}

TEST_F(TrustTest, OnlyTheClientOfThePublisherIsAccepted) {
    EXPECT_TRUE(IsAccepted(Probe(u"publisher"))) << log.Dump();
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_FALSE(IsAccepted(Probe(u"unsigned")));
    EXPECT_TRUE(log.Contains("does not verify, result is 0x800B0100"));
    EXPECT_FALSE(IsAccepted(Probe(u"tampered")));
    EXPECT_TRUE(log.Contains("does not verify, result is 0x80096010"));
    EXPECT_FALSE(IsAccepted(Probe(u"other")));
    EXPECT_TRUE(log.Contains("is signed by another publisher"));
    EXPECT_FALSE(IsAccepted(Probe(u"nameless")));
    EXPECT_TRUE(log.Contains("has no readable common name"));
    EXPECT_EQ(log.Lines().size(), 4u) << log.Dump();
    EXPECT_TRUE(IsAccepted(Probe(u"publisher"))) << "the next good one is accepted at once";
}

TEST_F(TrustTest, ANumberThatNoProcessHasIsRefused) {
    EXPECT_FALSE(IsValidClient(0xFFFFFFF0));
    EXPECT_TRUE(log.Contains("failed to open it, error code is 87")) << log.Dump();
}

TEST_F(TrustTest, ASignedFilePutInTheRunningOnesPlaceIsNotTakenForIt) {
    const std::u16string image = world.Folder() + u"\\client.exe";
    ASSERT_TRUE(Copy(Probe(u"unsigned"), image));
    const ChildProcess client(image);
    ASSERT_TRUE(client.Started());
    ASSERT_TRUE(Move(image, world.Folder() + u"\\old.exe"));
    ASSERT_TRUE(Copy(Probe(u"publisher"), image));
    EXPECT_FALSE(IsValidClient(client.Id()));
}

TEST_F(TrustTest, AnUnsignedFilePutInTheRunningOnesPlaceIsNotAccepted) {
    const std::u16string image = world.Folder() + u"\\client.exe";
    ASSERT_TRUE(Copy(Probe(u"publisher"), image));
    const ChildProcess client(image);
    ASSERT_TRUE(client.Started());
    ASSERT_TRUE(Move(image, world.Folder() + u"\\old.exe"));
    ASSERT_TRUE(Copy(Probe(u"unsigned"), image));
    const platform::OwnedHandle process(
        parts.files, parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, client.Id()));
    std::u16string path;
    ASSERT_TRUE(parts.trust.QueryFullProcessImageNameW(process.Get(), path));
    // A system that names the image by its file's present name leads to the signed file, which is what runs.
    EXPECT_EQ(IsValidClient(client.Id()), path.ends_with(u"old.exe"));
}

// What the check of a client rests on. Wine names an image by the path that it was started from.
TEST_F(TrustTest, AnImageIsNamedByItsFilesPresentPath) {
    if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
        GTEST_SKIP() << "Wine does not";
    }
    const std::u16string image = world.Folder() + u"\\client.exe";
    ASSERT_TRUE(Copy(Probe(u"publisher"), image));
    const ChildProcess client(image);
    ASSERT_TRUE(client.Started());
    ASSERT_TRUE(Move(image, world.Folder() + u"\\renamed.exe"));
    const platform::OwnedHandle process(
        parts.files, parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, client.Id()));
    std::u16string path;
    ASSERT_TRUE(parts.trust.QueryFullProcessImageNameW(process.Get(), path));
    EXPECT_TRUE(path.ends_with(u"\\renamed.exe")) << testing::PrintToString(path);
    EXPECT_TRUE(IsValidClient(client.Id())) << log.Dump();
}

TEST_F(TrustTest, AFileThatSomebodyHasOpenToDeleteIsRefused) {
    const std::u16string image = world.Folder() + u"\\client.exe";
    ASSERT_TRUE(Copy(Probe(u"publisher"), image));
    const ChildProcess client(image);
    ASSERT_TRUE(client.Started());
    const platform::OwnedHandle deleter(
        parts.files, parts.files.CreateFileW(image, platform::kDelete, 7, platform::kOpenExisting, 0));
    ASSERT_TRUE(deleter.IsValid());
    EXPECT_FALSE(IsValidClient(client.Id()));
    EXPECT_TRUE(log.Contains("failed to open its executable, error code is 32")) << log.Dump();
}

TEST_F(TrustTest, AnOpenFileNamesItsOwnPath) {
    const std::u16string path = Probe(u"publisher");
    const platform::OwnedHandle file(parts.files,
                                     parts.files.CreateFileW(path, platform::kGenericRead, platform::kFileShareRead,
                                                             platform::kOpenExisting, platform::kFileAttributeNormal));
    ASSERT_TRUE(file.IsValid());
    std::u16string own;
    EXPECT_TRUE(parts.trust.GetFinalPathNameByHandleW(file.Get(), platform::kFileNameOpened, own));
    EXPECT_TRUE(own == u"\\\\?\\" + path) << testing::PrintToString(own);
    EXPECT_FALSE(parts.trust.GetFinalPathNameByHandleW(platform::kInvalidHandle, platform::kFileNameOpened, own));
    EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorInvalidHandle);
}

TEST_F(TrustTest, AProcessIsAsOldAsItIs) {
    const platform::FileTime before = parts.clock.GetSystemTimePreciseAsFileTime();
    const ChildProcess client(Probe(u"publisher"));
    ASSERT_TRUE(client.Started());
    const platform::FileTime after = parts.clock.GetSystemTimePreciseAsFileTime();
    const platform::OwnedHandle process(
        parts.files, parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, client.Id()));
    platform::FileTime startedAt = 0;
    ASSERT_TRUE(parts.trust.GetProcessTimes(process.Get(), startedAt));
    EXPECT_GE(startedAt, before - 200'000) << "a tick of the clock may lie between the two ways to ask";
    EXPECT_LE(startedAt, after);
}

TEST_F(TrustTest, AProcessThatWasStartedAfterItsConnectionIsRefused) {
    constexpr platform::FileTime kSecond = 10'000'000;
    const ChildProcess client(Probe(u"publisher"));
    ASSERT_TRUE(client.Started());
    EXPECT_FALSE(IsValidClient(client.Id(), parts.clock.GetSystemTimePreciseAsFileTime() - 60 * kSecond));
    EXPECT_TRUE(log.Contains("it was started after it connected")) << log.Dump();
    EXPECT_TRUE(IsValidClient(client.Id()));
}

// Some systems look at the attribute before they look for a running image, and then nothing shows that it runs.
TEST_F(TrustTest, AReadOnlyExecutableIsAcceptedOnlyWhereTheSystemShowsThatItRuns) {
    const std::u16string image = world.Folder() + u"\\client.exe";
    ASSERT_TRUE(Copy(Probe(u"publisher"), image));
    const std::wstring path = platform::ToWide(image);
    ASSERT_TRUE(::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    {
        const ChildProcess client(image);
        ASSERT_TRUE(client.Started());
        constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        ASSERT_EQ(::CreateFileW(path.c_str(), GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr),
                  INVALID_HANDLE_VALUE);
        const DWORD code = ::GetLastError();
        EXPECT_EQ(IsValidClient(client.Id()), code == ERROR_SHARING_VIOLATION) << code;
        EXPECT_NE(log.Contains("whether its executable is in use could not be seen, error code is 5"),
                  code == ERROR_SHARING_VIOLATION)
            << log.Dump();
    }
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(TrustTest, AFolderExchangedForALinkToASignedProgramIsRefused) {
    const std::u16string folder = world.Folder() + u"\\client";
    ASSERT_TRUE(::CreateDirectoryW(platform::ToWide(folder).c_str(), nullptr));
    ASSERT_TRUE(Copy(Probe(u"unsigned"), folder + u"\\publisher_probe.exe"));
    const ChildProcess client(folder + u"\\publisher_probe.exe");
    ASSERT_TRUE(client.Started());
    if (!Move(folder, world.Folder() + u"\\aside") ||
        !::CreateSymbolicLinkW(platform::ToWide(folder).c_str(),
                               platform::ToWide(ProgramFolder() + u"\\probes").c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY)) {
        GTEST_SKIP() << "this system moves no folder of a running program, or this account makes no symbolic links";
    }
    EXPECT_FALSE(IsValidClient(client.Id()));
    ::RemoveDirectoryW(platform::ToWide(folder).c_str());
}

TEST_F(TrustTest, ALinkOnTheWayIsRefused) {
    const std::u16string link = world.Folder() + u"\\link";
    if (!::CreateSymbolicLinkW(platform::ToWide(link).c_str(), platform::ToWide(ProgramFolder() + u"\\probes").c_str(),
                               SYMBOLIC_LINK_FLAG_DIRECTORY) ||
        !parts.paths.PathFileExistsW(link)) {
        GTEST_SKIP() << "this system or account makes no symbolic links";
    }
    const ChildProcess client(link + u"\\publisher_probe.exe");
    ASSERT_TRUE(client.Started());
    platform::OwnedHandle process(parts.files,
                                  parts.trust.OpenProcess(platform::kProcessQueryLimitedInformation, client.Id()));
    std::u16string path;
    ASSERT_TRUE(parts.trust.QueryFullProcessImageNameW(process.Get(), path));
    // A system that names the image behind the link has nothing to refuse.
    EXPECT_EQ(IsValidClient(client.Id()), !path.starts_with(link)) << log.Dump();
}

}  // namespace
}  // namespace tavi::contract
