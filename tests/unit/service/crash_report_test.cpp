#include "service/crash_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::service {
namespace {

using testing::IsEmpty;

class CrashReport : public testing::Test {
protected:
    // The executable's place, and the folder in which the library and the reporter lie (with its last backslash).
    void Install(const std::u16string& executable, const std::u16string& baseFolder) {
        machine_.modules().SetExecutablePath(executable);
        machine_.files().WriteText(baseFolder + u"DumpReport.exe", "MZ");
        machine_.modules().AddLibrary(baseFolder + u"ZnDumpFile.dll", {"RegisterAppCrashHandler"});
    }
    std::uint32_t Register() { return RegisterDumpHandler(platform_, holder_, u"3.0.0.300", u"TAVINOOK"); }

    sim::Machine machine_;
    platform::Platform platform_ = machine_.platform();
    DumpHandleHolder holder_{platform_};
};

TEST_F(CrashReport, IsRegisteredWithVersionAndTagAndZeros) {
    Install(u"C:\\Program Files\\App\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    EXPECT_EQ(Register(), 0U);
    ASSERT_EQ(machine_.modules().registrations().size(), 1U);
    const platform::CrashReportRegistration record = machine_.modules().registrations().front();
    EXPECT_EQ(record.size, 0U);
    EXPECT_EQ(record.flags, 0U);
    EXPECT_EQ(record.reserved, 0U);
    EXPECT_EQ(record.version, u"3.0.0.300");
    EXPECT_EQ(record.productTag, u"TAVINOOK");
}

TEST_F(CrashReport, LibraryIsLoadedFromTheBaseFolderWithItsFlags) {
    Install(u"C:\\Program Files\\App\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    EXPECT_EQ(Register(), 0U);
    ASSERT_EQ(machine_.modules().loads().size(), 1U);
    EXPECT_EQ(machine_.modules().loads().front().path, u"C:\\Program Files\\App\\ZnDumpFile.dll");
    EXPECT_EQ(machine_.modules().loads().front().flags, 0x1100U);
}

TEST_F(CrashReport, FolderNamedExactlyLumbraMeansTheParentFolder) {
    Install(u"C:\\Program Files\\App\\Lumbra\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    EXPECT_EQ(Register(), 0U);
    EXPECT_EQ(machine_.modules().loads().front().path, u"C:\\Program Files\\App\\ZnDumpFile.dll");
}

TEST_F(CrashReport, FolderNamedLumbraInAnotherCaseMeansItself) {
    Install(u"C:\\Program Files\\App\\lumbra\\TaviLumbraService.exe", u"C:\\Program Files\\App\\lumbra\\");
    EXPECT_EQ(Register(), 0U);
    EXPECT_EQ(machine_.modules().loads().front().path, u"C:\\Program Files\\App\\lumbra\\ZnDumpFile.dll");
}

TEST_F(CrashReport, FolderWhoseNameOnlyEndsWithLumbraMeansItself) {
    Install(u"C:\\Program Files\\MyLumbra\\TaviLumbraService.exe", u"C:\\Program Files\\MyLumbra\\");
    EXPECT_EQ(Register(), 0U);
}

TEST_F(CrashReport, LumbraDirectlyBelowTheDriveMeansTheDrive) {
    Install(u"D:\\Lumbra\\TaviLumbraService.exe", u"D:\\");
    EXPECT_EQ(Register(), 0U);
    EXPECT_EQ(machine_.modules().loads().front().path, u"D:\\ZnDumpFile.dll");
}

TEST_F(CrashReport, WithoutAReporterTheLibraryIsNeverLoaded) {
    machine_.modules().SetExecutablePath(u"C:\\Program Files\\App\\TaviLumbraService.exe");
    machine_.modules().AddLibrary(u"C:\\Program Files\\App\\ZnDumpFile.dll", {"RegisterAppCrashHandler"});
    EXPECT_EQ(Register(), 0xFFFFFFFFU);
    EXPECT_THAT(machine_.modules().loads(), IsEmpty());
}

TEST_F(CrashReport, ExecutableWithoutAKnownPathHasNoReporter) {
    machine_.faults().Fail({.call = "Modules.GetModuleFileNameW"});
    EXPECT_EQ(Register(), 0xFFFFFFFFU);
    EXPECT_THAT(machine_.modules().loads(), IsEmpty());
}

TEST_F(CrashReport, LibraryThatCannotBeLoadedGivesTheSystemsCode) {
    Install(u"C:\\Program Files\\App\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    machine_.faults().Fail({.call = "Modules.LoadLibraryExW", .code = 193});
    EXPECT_EQ(Register(), 193U);
    EXPECT_EQ(Register(), 0U) << "the next attempt loads it";
}

TEST_F(CrashReport, MissingExportGivesTheSystemsCode) {
    machine_.modules().SetExecutablePath(u"C:\\Program Files\\App\\TaviLumbraService.exe");
    machine_.files().WriteText(u"C:\\Program Files\\App\\DumpReport.exe", "MZ");
    machine_.modules().AddLibrary(u"C:\\Program Files\\App\\ZnDumpFile.dll", {"SomethingElse"});
    EXPECT_EQ(Register(), platform::kErrorProcNotFound);
    EXPECT_THAT(machine_.modules().registrations(), IsEmpty());
}

TEST_F(CrashReport, SecondRegistrationLoadsNothing) {
    Install(u"C:\\Program Files\\App\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    EXPECT_EQ(Register(), 0U);
    EXPECT_EQ(Register(), 0U);
    EXPECT_EQ(machine_.modules().loads().size(), 1U);
    EXPECT_EQ(machine_.modules().registrations().size(), 2U);
}

TEST_F(CrashReport, HolderReleasesWhatItHoldsAtItsEnd) {
    Install(u"C:\\Program Files\\App\\TaviLumbraService.exe", u"C:\\Program Files\\App\\");
    {
        DumpHandleHolder holder(platform_);
        EXPECT_FALSE(holder.library);
        EXPECT_FALSE(holder.object);
        EXPECT_EQ(RegisterDumpHandler(platform_, holder, u"1", u"T"), 0U);
        holder.object.Reset(platform_.files.CreateFileW(u"C:\\Program Files\\App\\DumpReport.exe",
                                                        platform::kGenericRead, platform::kFileShareRead,
                                                        platform::kOpenExisting, platform::kFileAttributeNormal));
        EXPECT_EQ(machine_.leaks().size(), 2U);
        machine_.faults().ClearHistory();
    }
    EXPECT_THAT(machine_.leaks(), IsEmpty());
    EXPECT_THAT(machine_.faults().history(), testing::ElementsAre("Modules.FreeLibrary", "Files.CloseHandle"));
    EXPECT_EQ(machine_.faults().calls("Modules.FreeLibrary"), 1U);
}

TEST_F(CrashReport, EmptyHolderReleasesNothing) {
    { const DumpHandleHolder holder(platform_); }
    EXPECT_EQ(machine_.faults().calls("Modules.FreeLibrary"), 0U);
    EXPECT_EQ(machine_.faults().calls("Files.CloseHandle"), 0U);
}

}  // namespace
}  // namespace tavi::service
