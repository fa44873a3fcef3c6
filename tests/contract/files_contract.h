// What Files, Paths, Volumes, NativeCalls and CodePage promise of files and directories.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "contract/world.h"

namespace tavi::contract {

template <typename World>
class FilesContract : public testing::Test {
protected:
    World world;
    platform::Platform parts = world.Parts();
    platform::Files& files = parts.files;
    platform::Paths& paths = parts.paths;
    platform::Volumes& volumes = parts.volumes;
    platform::NativeCalls& nativeCalls = parts.nativeCalls;
    platform::CodePage& codePage = parts.codePage;
    std::u16string folder = world.Folder();

    platform::OwnedHandle Open(const std::u16string& path, std::uint32_t access, std::uint32_t share,
                               std::uint32_t disposition = platform::kOpenExisting,
                               std::uint32_t flags = platform::kFileAttributeNormal) {
        return {files, files.CreateFileW(path, access, share, disposition, flags)};
    }
    std::uint32_t FailureOf(const std::u16string& path, std::uint32_t access, std::uint32_t share) {
        const platform::Handle handle =
            files.CreateFileW(path, access, share, platform::kOpenExisting, platform::kFileAttributeNormal);
        const std::uint32_t code = parts.errors.GetLastError();
        EXPECT_EQ(handle, platform::kInvalidHandle);
        return code;
    }
    std::set<std::u16string> List(const std::u16string& pattern) {
        std::set<std::u16string> names;
        platform::FindData data;
        const platform::FindHandle find = paths.FindFirstFileW(pattern, data);
        EXPECT_NE(find, platform::kInvalidFindHandle);
        do {
            names.insert(data.fileName);
        } while (paths.FindNextFileW(find, data));
        EXPECT_EQ(parts.errors.GetLastError(), platform::kErrorNoMoreFiles);
        EXPECT_TRUE(paths.FindClose(find));
        return names;
    }
};

TYPED_TEST_SUITE_P(FilesContract);

TYPED_TEST_P(FilesContract, WhatIsWrittenIsReadBackFromAnyPosition) {
    const std::u16string path = this->folder + u"\\file.txt";
    platform::OwnedHandle file =
        this->Open(path, platform::kGenericRead | platform::kGenericWrite, 0, platform::kOpenAlways);
    ASSERT_TRUE(file.IsValid());
    EXPECT_TRUE(WriteAll(this->files, file.Get(), "0123456789"));
    EXPECT_TRUE(this->files.FlushFileBuffers(file.Get()));
    std::int64_t size = 0;
    EXPECT_TRUE(this->files.GetFileSizeEx(file.Get(), size));
    EXPECT_EQ(size, 10);
    EXPECT_TRUE(this->files.SetFilePointerEx(file.Get(), 4, platform::kFileBegin));
    bool done = false;
    EXPECT_EQ(ReadOnce(this->files, file.Get(), 3, done), "456");
    EXPECT_TRUE(this->files.SetFilePointerEx(file.Get(), 0, platform::kFileEnd));
    EXPECT_EQ(ReadOnce(this->files, file.Get(), 3, done), "");
    EXPECT_TRUE(done) << "the end of a file is no failure";
}

TYPED_TEST_P(FilesContract, TruncateExistingEmptiesAFileAndNeedsOne) {
    const std::u16string path = this->folder + u"\\file.txt";
    const platform::Handle missing = this->files.CreateFileW(
        path, platform::kGenericWrite, 0, platform::kTruncateExisting, platform::kFileAttributeNormal);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
    EXPECT_EQ(missing, platform::kInvalidHandle);
    ASSERT_TRUE(MakeFile(this->files, path, "something"));
    const platform::OwnedHandle file = this->Open(path, platform::kGenericWrite, 0, platform::kTruncateExisting);
    ASSERT_TRUE(file.IsValid());
    std::int64_t size = -1;
    EXPECT_TRUE(this->files.GetFileSizeEx(file.Get(), size));
    EXPECT_EQ(size, 0);
}

TYPED_TEST_P(FilesContract, OpeningFailsWithTheSystemsCodes) {
    ASSERT_TRUE(MakeFile(this->files, this->folder + u"\\file.txt", "x"));
    EXPECT_EQ(this->FailureOf(this->folder + u"\\missing.txt", platform::kGenericRead, 7),
              platform::kErrorFileNotFound);
    EXPECT_EQ(this->FailureOf(this->folder + u"\\missing\\file.txt", platform::kGenericRead, 7),
              platform::kErrorPathNotFound);
    EXPECT_EQ(this->FailureOf(this->folder, platform::kGenericRead, 7), platform::kErrorAccessDenied)
        << "a directory is opened with backup semantics only";
}

TYPED_TEST_P(FilesContract, OpeningsThatDoNotShareEachOthersAccessFail) {
    const std::u16string path = this->folder + u"\\file.txt";
    ASSERT_TRUE(MakeFile(this->files, path, "x"));
    const platform::OwnedHandle reader = this->Open(path, platform::kGenericRead, platform::kFileShareRead);
    ASSERT_TRUE(reader.IsValid());
    EXPECT_TRUE(this->Open(path, platform::kGenericRead, platform::kFileShareRead).IsValid());
    EXPECT_EQ(this->FailureOf(path, platform::kGenericWrite, 7), platform::kErrorSharingViolation);
    EXPECT_EQ(this->FailureOf(path, platform::kDelete, 7), platform::kErrorSharingViolation);
    EXPECT_EQ(this->FailureOf(path, platform::kGenericRead, 0), platform::kErrorSharingViolation)
        << "the second must share what the first has";
    EXPECT_TRUE(this->Open(path, platform::kFileReadAttributes, 0).IsValid()) << "attributes are no sharing matter";
    EXPECT_FALSE(this->paths.DeleteFileW(path));
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorSharingViolation);
}

TYPED_TEST_P(FilesContract, ExistenceAndAttributesAgree) {
    const std::u16string path = this->folder + u"\\file.txt";
    EXPECT_FALSE(this->paths.PathFileExistsW(path));
    EXPECT_EQ(this->paths.Waccess(path, 0), -1);
    EXPECT_EQ(this->paths.GetFileAttributesW(path), platform::kInvalidFileAttributes);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
    ASSERT_TRUE(MakeFile(this->files, path, "x"));
    EXPECT_TRUE(this->paths.PathFileExistsW(path));
    EXPECT_EQ(this->paths.Waccess(path, 0), 0);
    EXPECT_EQ(this->paths.GetFileAttributesW(path) & platform::kFileAttributeDirectory, 0u);
    EXPECT_EQ(this->paths.GetFileAttributesW(this->folder) & platform::kFileAttributeDirectory,
              platform::kFileAttributeDirectory);
    EXPECT_TRUE(this->paths.DeleteFileW(path));
    EXPECT_FALSE(this->paths.PathFileExistsW(path));
    EXPECT_FALSE(this->paths.DeleteFileW(path));
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
}

TYPED_TEST_P(FilesContract, ADirectoryListsItselfItsParentAndEveryEntry) {
    const std::vector<std::u16string> names = {u"a.txt", u".hidden", u"\u540C\u6B65.docx", u"no extension"};
    for (const std::u16string& name : names) {
        ASSERT_TRUE(MakeFile(this->files, this->folder + u"\\" + name, ""));
    }
    ASSERT_EQ(this->paths.SHCreateDirectoryExW(this->folder + u"\\sub"), 0);
    std::set<std::u16string> expected(names.begin(), names.end());
    expected.merge(std::set<std::u16string>{u".", u"..", u"sub"});
    EXPECT_TRUE(this->List(this->folder + u"\\*") == expected);
    EXPECT_TRUE(this->List(this->folder + u"\\sub\\*") == (std::set<std::u16string>{u".", u".."}));
}

TYPED_TEST_P(FilesContract, AListedEntryHasItsAttributesAndNoTag) {
    ASSERT_EQ(this->paths.SHCreateDirectoryExW(this->folder + u"\\sub"), 0);
    platform::FindData data;
    const platform::FindHandle find = this->paths.FindFirstFileW(this->folder + u"\\sub", data);
    ASSERT_NE(find, platform::kInvalidFindHandle);
    EXPECT_TRUE(this->paths.FindClose(find));
    EXPECT_TRUE(data.fileName == u"sub");
    EXPECT_NE(data.fileAttributes & platform::kFileAttributeDirectory, 0u);
    EXPECT_EQ(data.reparseTag, 0u);
}

TYPED_TEST_P(FilesContract, ListingWhatIsNotThereFails) {
    platform::FindData data;
    EXPECT_EQ(this->paths.FindFirstFileW(this->folder + u"\\nothing like this", data), platform::kInvalidFindHandle);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
    EXPECT_EQ(this->paths.FindFirstFileW(this->folder + u"\\missing\\*", data), platform::kInvalidFindHandle);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPathNotFound);
}

TYPED_TEST_P(FilesContract, DirectoriesAreMadeWithTheirParents) {
    EXPECT_EQ(this->paths.SHCreateDirectoryExW(this->folder + u"\\one\\two\\three"), 0);
    EXPECT_TRUE(this->paths.PathFileExistsW(this->folder + u"\\one\\two\\three"));
    EXPECT_EQ(this->paths.SHCreateDirectoryExW(this->folder + u"\\one\\two"),
              static_cast<int>(platform::kErrorAlreadyExists));
    ASSERT_TRUE(MakeFile(this->files, this->folder + u"\\file", ""));
    EXPECT_NE(this->paths.SHCreateDirectoryExW(this->folder + u"\\file\\below"), 0);
}

TYPED_TEST_P(FilesContract, TheReferenceNumberIsTheObjectsNotItsPaths) {
    ASSERT_TRUE(MakeFile(this->files, this->folder + u"\\one", ""));
    ASSERT_TRUE(MakeFile(this->files, this->folder + u"\\two", ""));
    const auto frn = [this](const std::u16string& path) {
        const platform::OwnedHandle handle =
            this->Open(path, platform::kFileReadAttributes, 7, platform::kOpenExisting,
                       platform::kFileFlagBackupSemantics | platform::kFileFlagOpenReparsePoint);
        platform::FileInformation information;
        EXPECT_TRUE(handle.IsValid() && this->files.GetFileInformationByHandle(handle.Get(), information));
        return information.fileIndex;
    };
    EXPECT_NE(frn(this->folder + u"\\one"), 0u);
    EXPECT_EQ(frn(this->folder + u"\\one"), frn(this->folder + u"\\ONE"));
    EXPECT_NE(frn(this->folder + u"\\one"), frn(this->folder + u"\\two"));
    EXPECT_NE(frn(this->folder), frn(this->folder + u"\\one"));
}

TYPED_TEST_P(FilesContract, PathsBeyondTheOldLimitWorkWithThePrefix) {
    const std::u16string path = u"\\\\?\\" + this->world.LongFolder();
    ASSERT_GT(path.size(), 400u);
    EXPECT_TRUE(MakeFile(this->files, path + u"\\file.txt", "deep"));
    EXPECT_EQ(this->paths.Waccess(path + u"\\file.txt", 0), 0);
    EXPECT_NE(this->paths.GetFileAttributesW(path + u"\\file.txt"), platform::kInvalidFileAttributes);
    EXPECT_TRUE(this->List(path + u"\\*").contains(u"file.txt"));
    EXPECT_TRUE(this->paths.DeleteFileW(path + u"\\file.txt"));
}

TYPED_TEST_P(FilesContract, TheVolumeSaysThatItIsNtfs) {
    std::uint32_t componentLength = 0;
    std::u16string fileSystem;
    EXPECT_TRUE(this->volumes.GetVolumeInformationW(this->folder.substr(0, 3), componentLength, fileSystem));
    EXPECT_EQ(componentLength, 255u);
    EXPECT_TRUE(fileSystem == u"NTFS");
    EXPECT_FALSE(this->volumes.GetVolumeInformationW(u"no root", componentLength, fileSystem));
}

TYPED_TEST_P(FilesContract, ADirectoryOpenedByItsNumberTellsItsPathWithoutTheDrive) {
    const std::u16string path = this->folder + u"\\\u540C\u6B65 folder";
    ASSERT_EQ(this->paths.SHCreateDirectoryExW(path), 0);
    const platform::ModuleHandle ntdll = this->parts.modules.GetModuleHandleW(u"ntdll.dll");
    const platform::ProcAddress create = this->parts.modules.GetProcAddress(ntdll, "NtCreateFile");
    const platform::ProcAddress query = this->parts.modules.GetProcAddress(ntdll, "NtQueryInformationFile");
    ASSERT_NE(create, platform::kNoProcAddress);
    ASSERT_NE(query, platform::kNoProcAddress);

    const platform::OwnedHandle volume(this->files, this->world.OpenVolume());
    ASSERT_TRUE(volume.IsValid());
    platform::NtOpenById request;
    request.rootDirectory = volume.Get();
    {
        const platform::OwnedHandle directory = this->Open(path, platform::kFileReadAttributes, 7,
                                                           platform::kOpenExisting, platform::kFileFlagBackupSemantics);
        platform::FileInformation information;
        ASSERT_TRUE(this->files.GetFileInformationByHandle(directory.Get(), information));
        request.fileReferenceNumber = information.fileIndex;
    }
    request.objectAttributes = platform::kObjCaseInsensitive;
    request.desiredAccess = platform::kGenericAll;
    request.fileAttributes = platform::kFileAttributeNormal;
    request.shareAccess = platform::kFileShareRead | platform::kFileShareWrite;
    request.createDisposition = platform::kNtFileOpen;
    request.createOptions = platform::kFileOpenByFileId;
    platform::Handle opened = platform::kInvalidHandle;
    ASSERT_GE(this->nativeCalls.NtCreateFile(create, request, opened), 0);
    const platform::OwnedHandle directory(this->files, opened);

    // FILE_NAME_INFORMATION: the name's length in bytes, then the name, not terminated.
    std::vector<std::byte> buffer(1056);
    ASSERT_GE(this->nativeCalls.NtQueryInformationFile(query, directory.Get(), buffer, platform::kFileNameInformation),
              0);
    std::u16string name;
    for (std::size_t at = 4; at + 1 < buffer.size(); at += 2) {
        const unsigned unit = std::to_integer<unsigned>(buffer[at]) | (std::to_integer<unsigned>(buffer[at + 1]) << 8);
        if (unit == 0) {
            break;
        }
        name.push_back(static_cast<char16_t>(unit));
    }
    EXPECT_TRUE(name == path.substr(2)) << testing::PrintToString(name);

    request.fileReferenceNumber = 0x7FFF00007FFF0000;
    EXPECT_LT(this->nativeCalls.NtCreateFile(create, request, opened), 0) << "a number that no object has";
}

TYPED_TEST_P(FilesContract, NarrowTextIsInTheSystemsCodePage) {
    EXPECT_EQ(this->codePage.WideCharToMultiByteAcp(u"plain text"), "plain text");
    EXPECT_EQ(this->codePage.WideCharToMultiByteAcp(u""), "");
}

REGISTER_TYPED_TEST_SUITE_P(FilesContract, WhatIsWrittenIsReadBackFromAnyPosition,
                            TruncateExistingEmptiesAFileAndNeedsOne, OpeningFailsWithTheSystemsCodes,
                            OpeningsThatDoNotShareEachOthersAccessFail, ExistenceAndAttributesAgree,
                            ADirectoryListsItselfItsParentAndEveryEntry, AListedEntryHasItsAttributesAndNoTag,
                            ListingWhatIsNotThereFails, DirectoriesAreMadeWithTheirParents,
                            TheReferenceNumberIsTheObjectsNotItsPaths, PathsBeyondTheOldLimitWorkWithThePrefix,
                            TheVolumeSaysThatItIsNtfs, ADirectoryOpenedByItsNumberTellsItsPathWithoutTheDrive,
                            NarrowTextIsInTheSystemsCodePage);

}  // namespace tavi::contract
