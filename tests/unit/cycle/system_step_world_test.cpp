#include "records/cycle/system_step_world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using ::testing::ElementsAre;

class SystemStepWorldTest : public ::testing::Test, protected testing::CycleRig {
protected:
    void SetUp() override {
        MakeFile(u"C:\\Sync\\cloud.txt");
        volume().SetPlaceholder(u"C:\\Sync\\cloud.txt", true);
        MakeFile(u"C:\\Sync\\plain.txt");
        files.openings.clear();
    }

    std::unique_ptr<journal::VolumeJournal> journal = MakeClosed();
};

TEST_F(SystemStepWorldTest, ListenPathIsTheJournals) {
    EXPECT_EQ(SystemStepWorld(platform, *journal).ListenPath(), u"C:\\Sync");
}

TEST_F(SystemStepWorldTest, PlaceholderIsOneThatTheQuerySucceedsOn) {
    SystemStepWorld world(platform, *journal);
    EXPECT_TRUE(world.IsPlaceholder(u"cloud.txt"));
    EXPECT_FALSE(world.IsPlaceholder(u"plain.txt"));
    EXPECT_FALSE(world.IsPlaceholder(u"absent.txt"));
}

TEST_F(SystemStepWorldTest, FileIsOpenedForItsAttributesAndSharedWithAll) {
    SystemStepWorld world(platform, *journal);
    world.IsPlaceholder(u"cloud.txt");
    ASSERT_EQ(files.openings.size(), 1U);
    EXPECT_EQ(files.openings[0].path, u"C:\\Sync\\cloud.txt");
    EXPECT_EQ(files.openings[0].access, 0x80U);
    EXPECT_EQ(files.openings[0].shareMode, 7U);
    EXPECT_EQ(files.openings[0].disposition, 3U);
    EXPECT_EQ(files.openings[0].flags, 0x40000000U);
}

TEST_F(SystemStepWorldTest, AbsentFileIsNotOpened) {
    SystemStepWorld world(platform, *journal);
    world.IsPlaceholder(u"absent.txt");
    EXPECT_TRUE(files.openings.empty());
}

TEST_F(SystemStepWorldTest, WhateverFailsTheAnswerIsNoAndNothingLeaks) {
    for (const char* call : {"Files.PathFileExistsW", "Files.CreateFileW", "Heap.HeapAlloc", "Modules.LoadLibraryExW",
                             "Modules.GetProcAddress", "Files.CfGetPlaceholderInfo"}) {
        {
            SystemStepWorld world(platform, *journal);
            machine.faults().Fail({.call = call});
            EXPECT_FALSE(world.IsPlaceholder(u"cloud.txt")) << call;
            EXPECT_TRUE(world.IsPlaceholder(u"cloud.txt")) << call << ": the next one succeeds";
        }
        EXPECT_THAT(machine.leaks(), ::testing::IsEmpty()) << call;
    }
}

TEST_F(SystemStepWorldTest, LibraryIsLoadedWhenItIsFirstNeededAndKept) {
    SystemStepWorld world(platform, *journal);
    EXPECT_EQ(machine.faults().calls("Modules.LoadLibraryExW"), 0U);
    world.IsPlaceholder(u"cloud.txt");
    world.IsPlaceholder(u"cloud.txt");
    EXPECT_EQ(machine.faults().calls("Modules.LoadLibraryExW"), 1U);
    EXPECT_EQ(machine.faults().calls("Modules.GetProcAddress"), 1U);
}

TEST_F(SystemStepWorldTest, NumbersAndAttributesAreTheSystemsOrTheValueForNone) {
    SystemStepWorld world(platform, *journal);
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\plain.txt"), volume().Find(u"C:\\Sync\\plain.txt"));
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\absent.txt"), 0U);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\plain.txt"), 0x20U);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\absent.txt"), 0xFFFFFFFFU);
}

TEST_F(SystemStepWorldTest, DirectoriesAreListedAsTheRequestNamesThem) {
    MakeFile(u"C:\\Sync\\In\\a.txt");
    SystemStepWorld world(platform, *journal);
    EXPECT_THAT(world.ListAllEntries(u"C:\\Sync\\In"), ElementsAre(u"C:\\Sync\\In\\a.txt"));
}

TEST_F(SystemStepWorldTest, LongPathsAreListedWithoutAPrefix) {
    std::u16string directory = u"C:\\Sync";
    while (directory.size() < 400) {
        directory += u"\\" + std::u16string(90, u'd');
    }
    MakeFile(directory + u"\\a.txt");
    SystemStepWorld world(platform, *journal);
    EXPECT_THAT(world.ListAllEntries(directory), ElementsAre(directory + u"\\a.txt"));
    EXPECT_EQ(world.AttributesOrAllOnes(directory + u"\\a.txt"), 0x20U);
    EXPECT_EQ(world.GetFrnByPath(directory + u"\\a.txt"), volume().Find(directory + u"\\a.txt"));
}

}  // namespace
}  // namespace tavi::records
