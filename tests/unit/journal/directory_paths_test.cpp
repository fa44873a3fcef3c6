#include "journal/directory_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>

#include "unit/journal/journal_rig.h"

namespace tavi::journal {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DirectoryPathsTest : public ::testing::Test, protected testing::JournalRig {
protected:
    DirectoryPathsTest() {
        volumeHandle_ = platform::OwnedHandle(
            platform.files, platform.files.CreateFileW(u"\\\\.\\C:", platform::kGenericRead,
                                                       platform::kFileShareRead | platform::kFileShareWrite,
                                                       platform::kOpenExisting, 0));
        paths.SetVolume(volumeHandle_.Get());
    }
    std::u16string PathOf(platform::FileReferenceNumber number) {
        std::u16string path = u"what was there before";
        validity = paths.GetFullPathByFileReferenceNumber(number, mapping, path);
        return path;
    }

    PathMapping knownDirectories{database, u"C:\\Sync"};
    PathMapping* mapping = &knownDirectories;
    DirectoryPaths paths{platform};
    ParentPaths::Validity validity = ParentPaths::Validity::kThisRecord;  // of the last answer
    platform::OwnedHandle volumeHandle_;
};

// What the system answers: the length in bytes, then the name without a terminator.
std::int32_t Answer(std::span<std::byte> buffer, std::u16string_view name) {
    const auto bytes = static_cast<std::uint32_t>(name.size() * sizeof(char16_t));
    std::memcpy(buffer.data(), &bytes, sizeof bytes);
    std::memcpy(buffer.data() + sizeof bytes, name.data(), std::min<std::size_t>(bytes, buffer.size() - sizeof bytes));
    return platform::kStatusSuccess;
}

TEST_F(DirectoryPathsTest, DirectoryIsOpenedByItsNumberBelowTheVolume) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
    ASSERT_EQ(files.openingsById.size(), 1U);
    const platform::NtOpenById& request = files.openingsById[0];
    EXPECT_NE(request.rootDirectory, platform::kInvalidHandle);
    EXPECT_EQ(request.fileReferenceNumber, frn);
    EXPECT_EQ(request.objectAttributes, 0x40U);
    EXPECT_EQ(request.desiredAccess, 0x10000000U);
    EXPECT_EQ(request.fileAttributes, 0x80U);
    EXPECT_EQ(request.shareAccess, 3U);
    EXPECT_EQ(request.createDisposition, 1U);
    EXPECT_EQ(request.createOptions, 0x2000U);
    EXPECT_THAT(files.nameQueries, ElementsAre(std::pair(9U, std::size_t{1056})));
    EXPECT_EQ(machine.clock().locale(), u"chs");
}

TEST_F(DirectoryPathsTest, NoHandleStaysOpen) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    const std::size_t before = machine.OpenHandles();
    PathOf(frn);
    EXPECT_EQ(machine.OpenHandles(), before);
    machine.faults().Fail({.call = "NativeCalls.NtQueryInformationFile"});
    PathOf(frn);
    EXPECT_EQ(machine.OpenHandles(), before);
}

TEST_F(DirectoryPathsTest, NoHandleStaysOpenWhenTheQueryCannotBeFound) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    const std::size_t before = machine.OpenHandles();
    machine.faults().Fail({.call = "Modules.GetProcAddress", .nth = 2});
    EXPECT_EQ(PathOf(frn), u"");
    EXPECT_EQ(machine.OpenHandles(), before);
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs") << "the next look-up tries again";
}

TEST_F(DirectoryPathsTest, MissingModuleOrFunctionGivesAnEmptyPathAndAsksNothing) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    for (const char* call : {"Modules.GetModuleHandleW", "Modules.GetProcAddress"}) {
        machine.faults().Fail({.call = call});
        EXPECT_EQ(PathOf(frn), u"");
        EXPECT_THAT(files.openingsById, IsEmpty());
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(DirectoryPathsTest, FunctionsAreLookedUpOnce) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    for (int i = 0; i < 3; ++i) {
        PathOf(frn);
    }
    EXPECT_EQ(machine.faults().calls("Modules.GetProcAddress"), 2U);
}

TEST_F(DirectoryPathsTest, DirectoryThatCannotBeOpenedIsRebuiltFromTheMapping) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    mapping->LearnSyncFolder(1, u"\\Sync");
    mapping->Load({{frn, 1, false, u"As mapped"}});
    machine.faults().Fail({.call = "NativeCalls.NtCreateFile"});
    EXPECT_EQ(PathOf(frn), u"\\Sync\\As mapped");
    EXPECT_EQ(PathOf(4711), u"");
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DirectoryPathsTest, FailedNameQueryIsLoggedAndRebuiltFromTheMapping) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    mapping->LearnSyncFolder(1, u"\\Sync");
    mapping->Load({{frn, 1, false, u"As mapped"}});
    machine.faults().Fail({.call = "Paths.GetFileAttributesW", .code = 31});
    EXPECT_EQ(platform.paths.GetFileAttributesW(u"C:\\Sync"), platform::kInvalidFileAttributes);
    files.nameAnswer = [](std::span<std::byte>) { return static_cast<std::int32_t>(0xC0000001); };
    EXPECT_EQ(PathOf(frn), u"\\Sync\\As mapped");
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/GetFullPathByFileReferenceNumber/"
                                      "Failed to query the file information, error code is 31"));
}

TEST_F(DirectoryPathsTest, WithoutAMappingADirectoryThatIsGoneHasNoPath) {
    mapping = nullptr;
    EXPECT_EQ(PathOf(4711), u"");
}

TEST_F(DirectoryPathsTest, PathFromTheFileSystemHoldsForTheReadAndEveryOtherAnswerForOneRecord) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    mapping->LearnSyncFolder(1, u"\\Sync");
    mapping->Load({{4711, 1, false, u"Gone"}});
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
    EXPECT_EQ(validity, ParentPaths::Validity::kWholeRead);
    EXPECT_EQ(PathOf(4711), u"\\Sync\\Gone");
    EXPECT_EQ(validity, ParentPaths::Validity::kThisRecord);
    EXPECT_EQ(PathOf(4712), u"");
    EXPECT_EQ(validity, ParentPaths::Validity::kThisRecord);
    files.refusedAccess = {platform::kGenericAll};
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
    EXPECT_EQ(validity, ParentPaths::Validity::kThisRecord);
}

TEST_F(DirectoryPathsTest, HeldDirectoryThatTheMappingDoesNotKnowIsOpenedForItsAttributes) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    files.refusedAccess = {platform::kGenericAll};
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
    ASSERT_EQ(files.openingsById.size(), 2U);
    platform::NtOpenById expected = files.openingsById[0];
    expected.desiredAccess = 0x80;
    expected.shareAccess = 7;
    const platform::NtOpenById& second = files.openingsById[1];
    EXPECT_EQ(second.rootDirectory, expected.rootDirectory);
    EXPECT_EQ(second.fileReferenceNumber, frn);
    EXPECT_EQ(second.objectAttributes, expected.objectAttributes);
    EXPECT_EQ(second.desiredAccess, expected.desiredAccess);
    EXPECT_EQ(second.fileAttributes, expected.fileAttributes);
    EXPECT_EQ(second.shareAccess, expected.shareAccess);
    EXPECT_EQ(second.createDisposition, expected.createDisposition);
    EXPECT_EQ(second.createOptions, expected.createOptions);
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DirectoryPathsTest, DirectoryThatAProcessHoldsAsItsCurrentOneIsResolved) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    const platform::OwnedHandle current(
        platform.files, platform.files.CreateFileW(u"C:\\Sync\\Docs", platform::kGenericRead,
                                                   platform::kFileShareRead | platform::kFileShareWrite,
                                                   platform::kOpenExisting, platform::kFileFlagBackupSemantics));
    ASSERT_TRUE(current.IsValid());
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
    EXPECT_EQ(files.openingsById.size(), 2U);
}

TEST_F(DirectoryPathsTest, HeldDirectoryThatTheMappingKnowsIsNotOpenedAgain) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    mapping->LearnSyncFolder(1, u"\\Sync");
    mapping->Load({{frn, 1, false, u"As mapped"}});
    files.refusedAccess = {platform::kGenericAll};
    EXPECT_EQ(PathOf(frn), u"\\Sync\\As mapped");
    EXPECT_EQ(files.openingsById.size(), 1U);
}

TEST_F(DirectoryPathsTest, DirectoryThatBothOpeningsAreRefusedHasNoPath) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    files.refusedAccess = {platform::kGenericAll, platform::kFileReadAttributes};
    EXPECT_EQ(PathOf(frn), u"");
    EXPECT_EQ(files.openingsById.size(), 2U);
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DirectoryPathsTest, FailedNameQueryOfTheSecondOpeningIsLoggedOnceAndGivesNoPath) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    files.refusedAccess = {platform::kGenericAll};
    files.nameAnswer = [](std::span<std::byte>) { return static_cast<std::int32_t>(0xC0000001); };
    EXPECT_EQ(PathOf(frn), u"");
    EXPECT_EQ(Errors().size(), 1U);
}

TEST_F(DirectoryPathsTest, DirectoryThatWasOpenedButNotNamedIsNotOpenedAgain) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    files.nameAnswer = [](std::span<std::byte>) { return static_cast<std::int32_t>(0xC0000001); };
    EXPECT_EQ(PathOf(frn), u"");
    EXPECT_EQ(files.openingsById.size(), 1U);
}

// Every call of a look-up fails once, of a directory that anybody may open and of one that is held.
TEST_F(DirectoryPathsTest, WhateverFailsNoHandleStaysOpenAndTheNextLookUpSucceeds) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    const std::size_t before = machine.OpenHandles();
    for (const bool held : {false, true}) {
        std::uint64_t nth = 1;
        for (std::uint64_t fired = machine.faults().fired();; ++nth) {
            files.refusedAccess = held ? std::set{platform::kGenericAll} : std::set<std::uint32_t>{};
            DirectoryPaths fresh(platform);
            fresh.SetVolume(volumeHandle_.Get());
            std::u16string path;
            machine.faults().Fail({.nth = nth});
            fresh.GetFullPathByFileReferenceNumber(frn, nullptr, path);
            machine.faults().Clear();
            EXPECT_EQ(machine.OpenHandles(), before) << machine.faults().lastFired();
            EXPECT_THAT(path, ::testing::AnyOf(u"", u"\\Sync\\Docs")) << machine.faults().lastFired();
            EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs") << machine.faults().lastFired();
            if (std::exchange(fired, machine.faults().fired()) == machine.faults().fired()) {
                break;
            }
        }
        EXPECT_GT(nth, 6U) << "two functions are looked up and called";
    }
}

TEST_F(DirectoryPathsTest, NameEndsAtTheFirstZeroWhateverItsLengthSays) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    files.nameAnswer = [](std::span<std::byte> buffer) {
        Answer(buffer, u"\\Sync\\Docs");
        std::memset(buffer.data(), 0xFF, 4);
        return platform::kStatusSuccess;
    };
    EXPECT_EQ(PathOf(frn), u"\\Sync\\Docs");
}

TEST_F(DirectoryPathsTest, NameThatFillsTheBufferIsTakenWhole) {
    const std::uint64_t frn = volume().MakeDirectory(u"C:\\Sync\\Docs");
    const std::u16string longest = u"\\Sync\\" + std::u16string(520, u'x');
    files.nameAnswer = [&](std::span<std::byte> buffer) { return Answer(buffer, longest); };
    EXPECT_EQ(PathOf(frn), longest);
}

TEST_F(DirectoryPathsTest, PathLongerThanTheBufferComesFromTheMapping) {
    std::u16string path = u"C:\\Sync";
    while (path.size() < 600) {
        path += u"\\" + std::u16string(100, u'x');
    }
    const std::uint64_t frn = volume().MakeDirectory(path);
    EXPECT_EQ(PathOf(frn), u"");
    mapping->LearnSyncFolder(1, u"\\Sync");
    mapping->Load({{frn, 1, false, u"deep"}});
    EXPECT_EQ(PathOf(frn), u"\\Sync\\deep");
}

TEST_F(DirectoryPathsTest, RootOfTheVolumeIsABackslash) {
    EXPECT_EQ(PathOf(volume().root()), u"\\");
}

}  // namespace
}  // namespace tavi::journal
