// What Init prepares, in which order, and what happens when a part of it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/platform_with.h"
#include "unit/records/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kInitialised = "The FileChangeRecord is initialized and the delay record table is read";

class Initialisation : public ::testing::Test, protected testing::CycleRig {
protected:
    void StoreDelayRecord() {
        RunSql(
            "INSERT INTO delayRecord (filePath, originalFilePath, fileAttributes, isTempFile, reason, delayCount, "
            "time_stamp, frn) VALUES ('held.mlx', 'was.mlx', 32, 0, 5, 2, 1234, 77);");
    }
};

TEST_F(Initialisation, SucceedsWhenVolumeQueryAndBufferDo) {
    EXPECT_EQ(MakeCycle()->Init(), 1);
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(Initialisation, FailsWithEachOfThemAndStillDoesTheRest) {
    for (const char* call : {"Files.CreateFileW", "Volumes.DeviceIoControl", "Heap.HeapAlloc"}) {
        StoreDelayRecord();
        log.Clear();
        machine.faults().Fail({.call = call});
        const auto cycle = MakeCycle(0, u"C:\\Sync\\\\");
        EXPECT_EQ(cycle->Init(), 0) << call;
        EXPECT_EQ(cycle->delayRecords().size(), 1U) << call;
        EXPECT_NE(cycle->pathMapping(), nullptr) << call;
        EXPECT_EQ(cycle->journal().listenPath(), u"C:\\Sync") << call;
        RunSql("DELETE FROM delayRecord;");
    }
}

TEST_F(Initialisation, QueryIsNotTriedWithoutAVolumeNorABufferWithoutAJournal) {
    machine.faults().Fail({.call = "Files.CreateFileW"});
    MakeCycle()->Init();
    EXPECT_THAT(files.controls, IsEmpty());
    const std::uint64_t before = machine.faults().calls("Heap.HeapAlloc");
    machine.faults().Fail({.call = "Volumes.DeviceIoControl"});
    MakeCycle()->Init();
    EXPECT_EQ(machine.faults().calls("Heap.HeapAlloc"), before);
}

TEST_F(Initialisation, HeldBackRecordsAreLoadedAndTheNetLogSaysSo) {
    StoreDelayRecord();
    const auto cycle = MakeCycle();
    cycle->Init();
    FileChangeInfo expected;
    expected.fileName = u"held.mlx";
    expected.originalFileName = u"was.mlx";
    expected.fileAttributes = 32;
    expected.reason = FileChangeReason::kRename;
    expected.delayCount = 2;
    expected.timestamp = 1234;
    expected.frn = 77;
    EXPECT_THAT(cycle->delayRecords(), ElementsAre(expected));
    EXPECT_TRUE(log.HasNet(kInitialised));
}

TEST_F(Initialisation, SecondInitReplacesWhatTheFirstLoaded) {
    StoreDelayRecord();
    const auto cycle = MakeCycle();
    cycle->Init();
    journal::PathMapping* const first = cycle->pathMapping();
    cycle->Init();
    EXPECT_EQ(cycle->delayRecords().size(), 1U);
    EXPECT_NE(cycle->pathMapping(), nullptr);
    EXPECT_NE(cycle->pathMapping(), first);
    EXPECT_EQ(machine.OpenHandles(), 1U);
}

TEST_F(Initialisation, WithoutAServiceNothingIsLoaded) {
    StoreDelayRecord();
    const std::uint64_t before = machine.faults().calls("Sqlite.OpenV2");
    const auto cycle = MakeCycle(0, u"C:\\Sync", FileChangeRecord::CurrentService::kNone);
    EXPECT_EQ(cycle->Init(), 1);
    EXPECT_THAT(cycle->delayRecords(), IsEmpty());
    EXPECT_EQ(cycle->pathMapping(), nullptr);
    EXPECT_EQ(machine.faults().calls("Sqlite.OpenV2"), before);
    EXPECT_FALSE(log.HasNet(kInitialised));
}

TEST_F(Initialisation, MappingIsLoadedByTheTablesColumnRule) {
    // The second column is read as a number, the fourth as the name.
    RunSql(
        "INSERT INTO pathMapping (fileReferenceNumber, fileName, parentFileReferenceNumber, deleted) "
        "VALUES (600, '500', 1, 0);");
    const auto cycle = MakeCycle();
    cycle->Init();
    journal::PathMapping* const mapping = cycle->pathMapping();
    ASSERT_NE(mapping, nullptr);
    mapping->LearnSyncFolder(500, u"\\Sync");
    EXPECT_EQ(mapping->BuildPathFromMapping(600), u"\\Sync\\0");
}

TEST_F(Initialisation, MissingFolderIsCreatedWithItsParents) {
    const auto cycle = MakeCycle(0, u"C:\\New\\Folder\\Deep\\");
    EXPECT_EQ(cycle->Init(), 1);
    EXPECT_NE(volume().Find(u"C:\\New\\Folder\\Deep"), 0U);
    EXPECT_EQ(cycle->journal().listenPath(), u"C:\\New\\Folder\\Deep");
}

// Keeps the paths that the folder is asked for and made by.
class FolderPaths final : public test::ForwardingPaths {
public:
    using ForwardingPaths::ForwardingPaths;
    int Waccess(const std::u16string& path, int mode) override {
        EXPECT_EQ(mode, 0);
        asked.push_back(path);
        return ForwardingPaths::Waccess(path, mode);
    }
    int SHCreateDirectoryExW(const std::u16string& path) override {
        made.push_back(path);
        return ForwardingPaths::SHCreateDirectoryExW(path);
    }

    std::vector<std::u16string> asked;
    std::vector<std::u16string> made;
};

TEST_F(Initialisation, LongFolderIsAskedForAndMadeByItsLongForm) {
    std::u16string folder = u"C:\\New";
    while (folder.size() < 400) {
        folder += u"\\" + std::u16string(90, u'd');
    }
    FolderPaths folderPaths(real.paths);
    platform::Platform watched = test::PlatformWith(real, folderPaths);
    FileChangeRecord cycle(watched, database, {testing::kUser, folder, Position(), 0}, abandon,
                           FileChangeRecord::CurrentService::kPresent);
    EXPECT_EQ(cycle.Init(), 1);
    EXPECT_THAT(folderPaths.asked, ElementsAre(u"\\\\?\\" + folder));
    EXPECT_THAT(folderPaths.made, ElementsAre(u"\\\\?\\" + folder));
    EXPECT_NE(volume().Find(folder), 0U);
    EXPECT_EQ(cycle.journal().listenPath(), folder) << "the prefix is for the system only";
}

TEST_F(Initialisation, ExistingFolderIsNotCreated) {
    MakeCycle()->Init();
    EXPECT_EQ(machine.faults().calls("Paths.SHCreateDirectoryExW"), 1U) << "that of the database's folder";
}

TEST_F(Initialisation, FolderThatCannotBeMadeIsNotedAndChangesNoResult) {
    machine.faults().Fail({.call = "Paths.SHCreateDirectoryExW", .code = 5});
    EXPECT_EQ(MakeCycle(0, u"C:\\New")->Init(), 1);
    EXPECT_TRUE(log.HasNet("Init err:Failed to generate the listening path, error code is 5"));
}

TEST_F(Initialisation, HeldBackRecordsThatCannotBeReadAreNotOverwritten) {
    StoreDelayRecord();
    const auto cycle = MakeCycle();
    machine.faults().Fail({.call = "Sqlite.PrepareV2", .code = 1});
    EXPECT_EQ(cycle->Init(), 1);
    EXPECT_THAT(cycle->delayRecords(), IsEmpty());
    machine.faults().Fail({.call = "Sqlite.PrepareV2", .code = 1});
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 0) << "a cycle would empty their table";
    EXPECT_EQ(Rows("SELECT filePath FROM delayRecord;").size(), 1U);
    EXPECT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    EXPECT_THAT(Changes(), ElementsAre("5|held.mlx|was.mlx")) << "they flowed into the next cycle";
}

}  // namespace
}  // namespace tavi::records
