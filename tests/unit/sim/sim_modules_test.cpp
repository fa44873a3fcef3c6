#include "sim/sim_modules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::IsEmpty;
using testing::SizeIs;

class ModulesTest : public testing::Test {
protected:
    Machine machine;
    Platform platform = machine.platform();
};

TEST_F(ModulesTest, ExecutablePathIsCutToTheBuffer) {
    machine.modules().SetExecutablePath(u"C:\\Program Files\\Lumbra\\s.exe");
    EXPECT_EQ(platform.modules.GetModuleFileNameW(260), u"C:\\Program Files\\Lumbra\\s.exe");
    EXPECT_TRUE(platform.paths.PathFileExistsW(u"C:\\Program Files\\Lumbra\\s.exe"));
    EXPECT_EQ(platform.modules.GetModuleFileNameW(5), u"C:\\P");
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInsufficientBuffer);
}

TEST_F(ModulesTest, LibrariesAreLoadedCountedAndAskedForExports) {
    EXPECT_EQ(platform.modules.GetModuleHandleW(u"cldapi.dll"), kNoModule) << "not loaded yet";
    const ModuleHandle first = platform.modules.LoadLibraryExW(u"CLDAPI.dll", kLoadLibrarySearchSystem32);
    ASSERT_NE(first, kNoModule);
    EXPECT_EQ(platform.modules.LoadLibraryExW(u"cldapi.dll", 0), first);
    const ProcAddress address = platform.modules.GetProcAddress(first, "CfGetPlaceholderInfo");
    EXPECT_NE(address, kNoProcAddress);
    EXPECT_EQ(platform.modules.GetProcAddress(first, "CfGetPlaceholderInfo"), address);
    EXPECT_EQ(platform.modules.GetProcAddress(first, "none"), kNoProcAddress);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorProcNotFound);
    EXPECT_TRUE(platform.modules.FreeLibrary(first));
    EXPECT_THAT(machine.leaks(), SizeIs(1));
    EXPECT_TRUE(platform.modules.FreeLibrary(first));
    EXPECT_FALSE(platform.modules.FreeLibrary(first));
    EXPECT_THAT(machine.leaks(), IsEmpty());
    machine.modules().RemoveLibrary(u"cldapi.dll");
    EXPECT_EQ(platform.modules.LoadLibraryExW(u"cldapi.dll", 0), kNoModule);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorModNotFound);
    ASSERT_THAT(machine.modules().loads(), SizeIs(3));
    EXPECT_EQ(machine.modules().loads()[0].flags, kLoadLibrarySearchSystem32);
}

TEST_F(ModulesTest, NtdllIsThereWithoutBeingLoaded) {
    const ModuleHandle ntdll = platform.modules.GetModuleHandleW(u"ntdll.dll");
    EXPECT_NE(platform.modules.GetProcAddress(ntdll, "NtCreateFile"), kNoProcAddress);
    machine.modules().AddLibrary(u"ntdll.dll", {"NtCreateFile"});
    EXPECT_EQ(platform.modules.GetProcAddress(ntdll, "NtQueryInformationFile"), kNoProcAddress);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(ModulesTest, RegistrationsAreKeptAndTheLanguageIsTheOneThatWasSet) {
    platform.modules.CallRegisterAppCrashHandler(ProcAddress{1}, {0, 0, 0, u"3.0", u"tag"});
    ASSERT_THAT(machine.modules().registrations(), SizeIs(1));
    EXPECT_EQ(machine.modules().registrations()[0].productTag, u"tag");
    EXPECT_EQ(platform.modules.GetUserDefaultUILanguage(), 1033);
    machine.modules().SetUiLanguage(2053);
    EXPECT_EQ(platform.modules.GetUserDefaultUILanguage(), 2053);
}

TEST_F(ModulesTest, SignatureIsTheOneThatTheTestGaveTheFile) {
    machine.files().WriteText(u"C:\\Program Files\\c.exe", "client");
    machine.trust().AddProcess(77, u"C:\\Program Files\\c.exe");
    EXPECT_EQ(platform.trust.OpenProcess(1, 78), kNullHandle);
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInvalidParameter);
    const Handle process = platform.trust.OpenProcess(kProcessQueryLimitedInformation, 77);
    std::u16string path;
    ASSERT_TRUE(platform.trust.QueryFullProcessImageNameW(process, path));
    const Handle file = platform.files.CreateFileW(path, kGenericRead, kFileShareRead, kOpenExisting, 0);
    TrustState state = kNoTrustState;
    FileTime startedAt = 1;
    EXPECT_TRUE(platform.trust.GetProcessTimes(process, startedAt));
    EXPECT_EQ(startedAt, 0u);
    std::u16string own;
    EXPECT_TRUE(platform.trust.GetFinalPathNameByHandleW(file, kFileNameOpened, own));
    EXPECT_EQ(own, u"\\\\?\\" + path);
    const TrustQuestion question{path, file, kWtdRevokeNone, kWtdRevocationCheckNone};
    EXPECT_EQ(platform.trust.WinVerifyTrust(question, state), static_cast<std::int32_t>(0x800B0100));
    EXPECT_EQ(platform.trust.SignerCertificate(state, 0, 0), kNoCertificate);
    platform.trust.CloseTrustState(state);
    machine.trust().SetSignature(path, 0, u"Publisher");
    EXPECT_EQ(platform.trust.WinVerifyTrust(question, state), 0);
    const Certificate certificate = platform.trust.SignerCertificate(state, 0, 0);
    EXPECT_EQ(platform.trust.CertGetNameStringW(certificate, kOidCommonName), u"Publisher");
    EXPECT_EQ(platform.trust.CertGetNameStringW(certificate, "2.5.4.10"), u"");
    EXPECT_EQ(platform.trust.SignerCertificate(state, 0, 1), kNoCertificate);
    EXPECT_THAT(machine.leaks(), SizeIs(3));
    platform.trust.CloseTrustState(state);
    platform.files.CloseHandle(file);
    platform.files.CloseHandle(process);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

}  // namespace
}  // namespace tavi::sim
