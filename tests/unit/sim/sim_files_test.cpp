#include "sim/sim_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "sim/machine.h"

namespace tavi::sim {
namespace {

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

class FilesTest : public testing::Test {
protected:
    Handle Open(const std::u16string& path, std::uint32_t access, std::uint32_t share = 7,
                std::uint32_t disposition = kOpenExisting, std::uint32_t flags = 0) {
        const Handle handle = platform.files.CreateFileW(path, access, share, disposition, flags);
        error = handle == kInvalidHandle ? platform.errors.GetLastError() : 0;
        return handle;
    }

    std::vector<std::u16string> List(const std::u16string& pattern) {
        std::vector<std::u16string> names;
        FindData data;
        const FindHandle handle = platform.paths.FindFirstFileW(pattern, data);
        error = handle == kInvalidFindHandle ? platform.errors.GetLastError() : 0;
        if (handle != kInvalidFindHandle) {
            do {
                names.push_back(data.fileName);
            } while (platform.paths.FindNextFileW(handle, data));
            EXPECT_EQ(platform.errors.GetLastError(), kErrorNoMoreFiles);
            platform.paths.FindClose(handle);
        }
        return names;
    }

    Machine machine;
    Platform platform = machine.platform();
    std::uint32_t error = 0;
};

TEST_F(FilesTest, OpeningSaysWhatIsMissing) {
    machine.volume().MakeDirectory(u"\\Sync");
    for (const std::u16string root : {u"C:\\Sync", u"C:\\Users"}) {
        EXPECT_EQ(Open(root + u"\\none", kGenericRead), kInvalidHandle);
        EXPECT_EQ(error, kErrorFileNotFound);
        EXPECT_EQ(Open(root + u"\\none\\f", kGenericRead), kInvalidHandle);
        EXPECT_EQ(error, kErrorPathNotFound);
        EXPECT_EQ(Open(root, kGenericRead), kInvalidHandle) << "a directory without backup semantics";
        EXPECT_EQ(error, kErrorAccessDenied);
        const Handle directory = Open(root, kGenericRead, 7, kOpenExisting, kFileFlagBackupSemantics);
        EXPECT_NE(directory, kInvalidHandle);
        EXPECT_TRUE(platform.files.CloseHandle(directory));
        EXPECT_FALSE(platform.files.CloseHandle(directory)) << "twice";
    }
    EXPECT_EQ(Open(u"no drive", kGenericRead), kInvalidHandle);
    EXPECT_EQ(Open(u"\\\\.\\X:", kGenericRead), kInvalidHandle);
    EXPECT_EQ(error, kErrorFileNotFound);
}

TEST_F(FilesTest, ReadsWritesSeeksAndTruncatesOnTheHostAndOnAVolume) {
    machine.volume().MakeDirectory(u"\\Sync");
    for (const std::u16string path : {u"C:\\Sync\\f", u"C:\\Users\\f"}) {
        Handle file = Open(path, kGenericRead | kGenericWrite, kFileShareRead, kOpenAlways, kFileAttributeNormal);
        ASSERT_NE(file, kInvalidHandle);
        const std::string text = "0123456789";
        std::uint32_t count = 0;
        EXPECT_TRUE(platform.files.WriteFile(file, std::as_bytes(std::span(text)), count));
        EXPECT_EQ(count, 10U);
        std::int64_t size = 0;
        EXPECT_TRUE(platform.files.GetFileSizeEx(file, size));
        EXPECT_EQ(size, 10);
        EXPECT_TRUE(platform.files.SetFilePointerEx(file, 4, kFileBegin));
        std::string part(3, '\0');
        EXPECT_TRUE(platform.files.ReadFile(file, std::as_writable_bytes(std::span(part)), count));
        EXPECT_EQ(part, "456");
        EXPECT_TRUE(platform.files.SetFilePointerEx(file, 0, kFileEnd));
        EXPECT_TRUE(platform.files.ReadFile(file, std::as_writable_bytes(std::span(part)), count));
        EXPECT_EQ(count, 0U);
        EXPECT_TRUE(platform.files.WriteFile(file, std::as_bytes(std::span(text)), count));
        EXPECT_FALSE(platform.files.SetFilePointerEx(file, -1, kFileBegin));
        platform.files.CloseHandle(file);
        EXPECT_EQ(machine.files().ReadText(path), "01234567890123456789");
        file = Open(path, kGenericWrite, kFileShareRead, kTruncateExisting, kFileAttributeNormal);
        EXPECT_FALSE(platform.files.ReadFile(file, std::as_writable_bytes(std::span(part)), count));
        EXPECT_EQ(platform.errors.GetLastError(), kErrorAccessDenied);
        platform.files.CloseHandle(file);
        EXPECT_EQ(machine.files().ReadText(path), "");
    }
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(FilesTest, SharingIsEnforcedBothWays) {
    machine.volume().MakeFile(u"\\f");
    const Handle reader = Open(u"C:\\f", kGenericRead, kFileShareRead);
    EXPECT_EQ(Open(u"c:\\F", kGenericWrite, 7), kInvalidHandle);
    EXPECT_EQ(error, kErrorSharingViolation);
    EXPECT_EQ(Open(u"C:\\f", kGenericRead, kFileShareWrite), kInvalidHandle) << "denies the reading that goes on";
    EXPECT_FALSE(platform.paths.DeleteFileW(u"C:\\f"));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorSharingViolation);
    const Handle second = Open(u"\\\\?\\C:\\f", kGenericRead, kFileShareRead);
    EXPECT_NE(second, kInvalidHandle);
    const Handle attributes = Open(u"C:\\f", kFileReadAttributes, 0);
    EXPECT_NE(attributes, kInvalidHandle) << "attributes take no part in sharing";
    platform.files.CloseHandle(attributes);
    platform.files.CloseHandle(reader);
    platform.files.CloseHandle(second);
    EXPECT_TRUE(platform.paths.DeleteFileW(u"C:\\f"));
    EXPECT_FALSE(platform.paths.DeleteFileW(u"C:\\f"));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorFileNotFound);
}

TEST_F(FilesTest, DirectoryThatAnotherProgramHoldsIsSharedAsThatOneSays) {
    const Frn frn = machine.volume().MakeDirectory(u"\\Sync");
    const Handle volume = Open(u"\\\\.\\C:", kGenericRead, 3);
    const auto statusOf = [&](std::uint32_t access, std::uint32_t share) {
        const NtOpenById request{volume, frn,         kObjCaseInsensitive, access, kFileAttributeNormal,
                                 share,  kNtFileOpen, kFileOpenByFileId};
        Handle opened = kInvalidHandle;
        const std::int32_t status = platform.nativeCalls.NtCreateFile(ProcAddress{1}, request, opened);
        if (status == kStatusSuccess) {
            platform.files.CloseHandle(opened);
        }
        return status;
    };
    EXPECT_EQ(statusOf(kGenericAll, 3), kStatusSuccess);
    machine.volume().Hold(u"\\Sync", kCurrentDirectory);
    EXPECT_LT(statusOf(kGenericAll, 3), 0) << "deletion is not shared";
    EXPECT_EQ(statusOf(kFileReadAttributes, 7), kStatusSuccess);
    EXPECT_EQ(Open(u"C:\\Sync", kGenericAll, 7, kOpenExisting, kFileFlagBackupSemantics), kInvalidHandle);
    EXPECT_EQ(error, kErrorSharingViolation);
    machine.volume().Release(frn);
    EXPECT_EQ(statusOf(kGenericAll, 3), kStatusSuccess);
    platform.files.CloseHandle(volume);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(FilesTest, ListsDirectoriesWithTheirOwnEntries) {
    machine.volume().MakeDirectory(u"\\Sync\\b");
    machine.volume().MakeFile(u"\\Sync\\A.txt");
    machine.files().WriteText(u"C:\\Users\\u\\x y \x4E00.txt", "");
    EXPECT_THAT(List(u"C:\\Sync\\*.*"), ElementsAre(u".", u"..", u"A.txt", u"b"));
    EXPECT_THAT(List(u"\\\\?\\C:\\users\\U\\*"), ElementsAre(u".", u"..", u"x y \x4E00.txt"));
    EXPECT_THAT(List(u"C:\\*.*"), ElementsAre(u"Sync")) << "a root has no entries for itself";
    EXPECT_THAT(List(u"C:\\Sync\\a.TXT"), ElementsAre(u"A.txt"));
    EXPECT_THAT(List(u"C:\\none\\*.*"), IsEmpty());
    EXPECT_EQ(error, kErrorPathNotFound);
    EXPECT_THAT(List(u"C:\\Sync\\none"), IsEmpty());
    EXPECT_EQ(error, kErrorFileNotFound);
}

TEST_F(FilesTest, EntriesTellTheirReparseTag) {
    machine.volume().MakeDirectory(u"\\Sync\\link");
    machine.volume().SetReparseTag(u"\\Sync\\link", 0xA0000003);
    FindData data;
    const FindHandle handle = platform.paths.FindFirstFileW(u"C:\\Sync\\link", data);
    EXPECT_EQ(data.reparseTag, 0xA0000003U);
    EXPECT_EQ(data.fileAttributes, 0x410U);
    platform.paths.FindClose(handle);
}

TEST_F(FilesTest, AttributesAndExistenceAreThoseOfTheDisk) {
    machine.volume().MakeFile(u"\\ro", "", kFileAttributeReadOnly);
    EXPECT_EQ(platform.paths.GetFileAttributesW(u"C:\\ro"), kFileAttributeReadOnly);
    EXPECT_EQ(platform.paths.GetFileAttributesW(u"C:\\Users"), kFileAttributeDirectory);
    EXPECT_EQ(platform.paths.GetFileAttributesW(u"C:\\none"), kInvalidFileAttributes);
    EXPECT_EQ(platform.paths.Waccess(u"C:\\ro", 0), 0);
    EXPECT_EQ(platform.paths.Waccess(u"C:\\ro", 2), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(platform.paths.Waccess(u"C:\\none", 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(platform.paths.DeleteFileW(u"C:\\ro"));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorAccessDenied);
}

TEST_F(FilesTest, CreatesDirectoriesWithTheirParents) {
    for (const std::u16string path : {u"C:\\Sync\\a\\b", u"C:\\Users\\u\\a\\b", u"\\\\?\\D:\\x\\y"}) {
        EXPECT_EQ(platform.paths.SHCreateDirectoryExW(path), 0);
        EXPECT_TRUE(platform.paths.PathFileExistsW(path));
        EXPECT_EQ(platform.paths.SHCreateDirectoryExW(path + u"\\"), 183);
    }
    EXPECT_EQ(platform.paths.SHCreateDirectoryExW(u"relative"), 161);
    EXPECT_NE(machine.volume().Find(u"\\Sync\\a\\b"), 0U);
    EXPECT_FALSE(machine.files().IsOnHost(u"C:\\Sync\\a"));
    EXPECT_TRUE(machine.files().IsOnHost(u"C:\\users\\U"));
    EXPECT_FALSE(machine.files().IsOnHost(u"C:\\Users2"));
}

TEST_F(FilesTest, AVolumeFolderInsideAHostFolderWins) {
    machine.files().AddVolumeFolder(u"C:\\Users\\u\\Sync");
    EXPECT_NE(machine.volume().Find(u"\\Users\\u\\Sync"), 0U);
    EXPECT_FALSE(machine.files().IsOnHost(u"C:\\Users\\u\\Sync\\f"));
    EXPECT_TRUE(machine.files().IsOnHost(u"C:\\Users\\u\\Other"));
}

TEST_F(FilesTest, VolumeInformationIsNtfsUnlessSet) {
    std::uint32_t length = 0;
    std::u16string name;
    EXPECT_TRUE(platform.volumes.GetVolumeInformationW(u"C:\\", length, name));
    EXPECT_EQ(name, u"NTFS");
    EXPECT_EQ(length, 255U);
    machine.files().SetFileSystem(u'E', u"FAT32");
    EXPECT_TRUE(platform.volumes.GetVolumeInformationW(u"e:\\", length, name));
    EXPECT_EQ(name, u"FAT32");
    EXPECT_FALSE(platform.volumes.GetVolumeInformationW(u"C:", length, name));
}

TEST_F(FilesTest, OpensByReferenceNumberAndTellsTheName) {
    const Frn frn = machine.volume().MakeDirectory(u"\\Sync\\sub");
    const Handle volume = Open(u"\\\\.\\C:", kGenericRead, 3);
    NtOpenById request{volume, frn,         kObjCaseInsensitive, kGenericAll, kFileAttributeNormal,
                       3,      kNtFileOpen, kFileOpenByFileId};
    Handle opened = kInvalidHandle;
    ASSERT_EQ(platform.nativeCalls.NtCreateFile(ProcAddress{1}, request, opened), kStatusSuccess);
    std::array<std::byte, 64> buffer{};
    EXPECT_EQ(platform.nativeCalls.NtQueryInformationFile(ProcAddress{2}, opened, buffer, kFileNameInformation),
              kStatusSuccess);
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, buffer.data(), sizeof bytes);
    std::u16string name(bytes / 2, u'\0');
    std::memcpy(name.data(), buffer.data() + 4, bytes);
    EXPECT_EQ(name, u"\\Sync\\sub");
    EXPECT_LT(platform.nativeCalls.NtQueryInformationFile(ProcAddress{2}, opened, std::span(buffer).first(10),
                                                          kFileNameInformation),
              0)
        << "a part of the name is a warning, which is negative";
    FileInformation information;
    EXPECT_TRUE(platform.files.GetFileInformationByHandle(opened, information));
    EXPECT_EQ(information.fileIndex, frn);
    platform.files.CloseHandle(opened);
    request.fileReferenceNumber = frn + 1;
    EXPECT_LT(platform.nativeCalls.NtCreateFile(ProcAddress{1}, request, opened), 0);
    request.rootDirectory = Handle{4};
    EXPECT_LT(platform.nativeCalls.NtCreateFile(ProcAddress{1}, request, opened), 0);
    platform.files.CloseHandle(volume);
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(FilesTest, JournalCodesNeedAVolumeHandle) {
    machine.volume().MakeFile(u"\\f");
    const Handle volume = Open(u"\\\\.\\c:", kGenericRead, 3);
    const Handle file = Open(u"C:\\f", kGenericRead);
    UsnJournalData data;
    std::uint32_t bytes = 0;
    const auto output = std::as_writable_bytes(std::span(&data, 1));
    EXPECT_TRUE(platform.volumes.DeviceIoControl(volume, kFsctlQueryUsnJournal, {}, output, bytes));
    EXPECT_EQ(data.nextUsn, 128);
    EXPECT_FALSE(platform.volumes.DeviceIoControl(file, kFsctlQueryUsnJournal, {}, output, bytes));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInvalidFunction);
    EXPECT_FALSE(platform.volumes.DeviceIoControl(Handle{4}, kFsctlQueryUsnJournal, {}, output, bytes));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorInvalidHandle);
    machine.volume().WithJournal([](EmulatedJournal& journal) { journal.Delete(); });
    EXPECT_FALSE(platform.volumes.DeviceIoControl(volume, kFsctlQueryUsnJournal, {}, output, bytes));
    EXPECT_EQ(platform.errors.GetLastError(), kErrorJournalNotActive);
}

TEST_F(FilesTest, PlaceholdersAreRecognisedByTheirMark) {
    machine.volume().MakeFile(u"\\cloud");
    machine.volume().MakeFile(u"\\plain");
    machine.volume().SetPlaceholder(u"\\cloud", true);
    std::array<std::byte, 128> buffer{};
    for (const bool cloud : {true, false}) {
        const Handle file = Open(cloud ? u"C:\\cloud" : u"C:\\plain", kFileReadAttributes);
        EXPECT_EQ(
            platform.cloudFiles.CfGetPlaceholderInfo(ProcAddress{3}, file, kCfPlaceholderInfoStandard, buffer) == kSOk,
            cloud);
        platform.files.CloseHandle(file);
    }
}

TEST_F(FilesTest, ChangesByTheProductItselfAreInTheJournalToo) {
    machine.volume().MakeFile(u"\\f");
    EXPECT_TRUE(platform.paths.DeleteFileW(u"C:\\f"));
    machine.volume().WithJournal(
        [](EmulatedJournal& journal) { EXPECT_EQ(journal.Entries().back().reason, kReasonFileDelete | kReasonClose); });
}

}  // namespace
}  // namespace tavi::sim
