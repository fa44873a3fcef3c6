#include "records/cycle/system_step_world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/records/cycle/cycle_rig.h"

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

    std::u16string listenPath = u"C:\\Sync";
};

TEST_F(SystemStepWorldTest, ListenPathIsTheOneGiven) {
    EXPECT_EQ(SystemStepWorld(platform, listenPath).ListenPath(), u"C:\\Sync");
}

TEST_F(SystemStepWorldTest, PlaceholderIsOneThatTheQuerySucceedsOn) {
    SystemStepWorld world(platform, listenPath);
    EXPECT_TRUE(world.IsPlaceholder(u"cloud.txt"));
    EXPECT_FALSE(world.IsPlaceholder(u"plain.txt"));
    EXPECT_FALSE(world.IsPlaceholder(u"absent.txt"));
}

TEST_F(SystemStepWorldTest, FileIsOpenedForItsAttributesAndSharedWithAll) {
    SystemStepWorld world(platform, listenPath);
    world.IsPlaceholder(u"cloud.txt");
    ASSERT_EQ(files.openings.size(), 1U);
    EXPECT_EQ(files.openings[0].path, u"C:\\Sync\\cloud.txt");
    EXPECT_EQ(files.openings[0].access, 0x80U);
    EXPECT_EQ(files.openings[0].shareMode, 7U);
    EXPECT_EQ(files.openings[0].disposition, 3U);
    EXPECT_EQ(files.openings[0].flags, 0x40000000U);
}

TEST_F(SystemStepWorldTest, LibraryIsLoadedByNameFromTheSystemsFolderOnly) {
    SystemStepWorld world(platform, listenPath);
    world.IsPlaceholder(u"cloud.txt");
    ASSERT_EQ(machine.modules().loads().size(), 1U);
    EXPECT_EQ(machine.modules().loads().front().path, u"cldapi.dll");
    EXPECT_EQ(machine.modules().loads().front().flags, 0x800U);
}

// Keeps what the placeholder query is given.
class QueryFiles final : public test::ForwardingFiles, public test::ForwardingPaths, public test::ForwardingCloudFiles {
public:
    explicit QueryFiles(const platform::Platform& real)
        : ForwardingFiles(real.files), ForwardingPaths(real.paths), ForwardingCloudFiles(real.cloudFiles) {}
    bool PathFileExistsW(const std::u16string& path) override {
        paths.push_back(path);
        return ForwardingPaths::PathFileExistsW(path);
    }
    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override {
        paths.push_back(path);
        return ForwardingFiles::CreateFileW(path, access, shareMode, disposition, flagsAndAttributes);
    }
    std::int32_t CfGetPlaceholderInfo(platform::ProcAddress function, platform::Handle handle,
                                      std::uint32_t informationClass, std::span<std::byte> buffer) override {
        classes.push_back(informationClass);
        buffers.push_back(buffer);
        return ForwardingCloudFiles::CfGetPlaceholderInfo(function, handle, informationClass, buffer);
    }

    std::vector<std::u16string> paths;
    std::vector<std::uint32_t> classes;
    std::vector<std::span<std::byte>> buffers;
};

class CountedHeap final : public test::ForwardingHeap {
public:
    using ForwardingHeap::ForwardingHeap;
    void* HeapAlloc(std::size_t bytes) override {
        sizes.push_back(bytes);
        memory.push_back(ForwardingHeap::HeapAlloc(bytes));
        return memory.back();
    }

    std::vector<std::size_t> sizes;
    std::vector<void*> memory;
};

TEST_F(SystemStepWorldTest, PlaceholderQueryGetsTheLongFormAndAThousandBytesOfALargerBuffer) {
    std::u16string directory = u"In";
    while (directory.size() < 400) {
        directory += u"\\" + std::u16string(90, u'd');
    }
    const std::u16string path = u"C:\\Sync\\" + directory + u"\\cloud.txt";
    MakeFile(path);
    volume().SetPlaceholder(path, true);
    QueryFiles queryFiles(real);
    CountedHeap heap(real.heap);
    platform::Platform watched = test::PlatformWith(real, queryFiles, heap);
    SystemStepWorld world(watched, listenPath);
    EXPECT_TRUE(world.IsPlaceholder(directory + u"\\cloud.txt"));
    EXPECT_THAT(queryFiles.paths, ElementsAre(u"\\\\?\\" + path, u"\\\\?\\" + path));
    EXPECT_THAT(heap.sizes, ElementsAre(65536U));
    EXPECT_THAT(queryFiles.classes, ElementsAre(1U));
    ASSERT_EQ(queryFiles.buffers.size(), 1U);
    EXPECT_EQ(queryFiles.buffers[0].size(), 1024U);
    EXPECT_EQ(static_cast<void*>(queryFiles.buffers[0].data()), heap.memory.at(0));
}

TEST_F(SystemStepWorldTest, AbsentFileIsNotOpened) {
    SystemStepWorld world(platform, listenPath);
    world.IsPlaceholder(u"absent.txt");
    EXPECT_TRUE(files.openings.empty());
}

TEST_F(SystemStepWorldTest, WhateverFailsTheAnswerIsNoAndNothingLeaks) {
    for (const char* call : {"Paths.PathFileExistsW", "Files.CreateFileW", "Heap.HeapAlloc", "Modules.LoadLibraryExW",
                             "Modules.GetProcAddress", "CloudFiles.CfGetPlaceholderInfo"}) {
        {
            SystemStepWorld world(platform, listenPath);
            machine.faults().Fail({.call = call});
            EXPECT_FALSE(world.IsPlaceholder(u"cloud.txt")) << call;
            EXPECT_TRUE(world.IsPlaceholder(u"cloud.txt")) << call << ": the next one succeeds";
        }
        EXPECT_THAT(machine.leaks(), ::testing::IsEmpty()) << call;
    }
}

TEST_F(SystemStepWorldTest, LibraryIsLoadedWhenItIsFirstNeededAndKept) {
    SystemStepWorld world(platform, listenPath);
    EXPECT_EQ(machine.faults().calls("Modules.LoadLibraryExW"), 0U);
    world.IsPlaceholder(u"cloud.txt");
    world.IsPlaceholder(u"cloud.txt");
    EXPECT_EQ(machine.faults().calls("Modules.LoadLibraryExW"), 1U);
    EXPECT_EQ(machine.faults().calls("Modules.GetProcAddress"), 1U);
}

TEST_F(SystemStepWorldTest, NumbersAndAttributesAreTheSystemsOrTheValueForNone) {
    SystemStepWorld world(platform, listenPath);
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\plain.txt"), volume().Find(u"C:\\Sync\\plain.txt"));
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\absent.txt"), 0U);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\plain.txt"), 0x20U);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\absent.txt"), 0xFFFFFFFFU);
}

TEST_F(SystemStepWorldTest, AttributesAreAskedForOnlyOfWhatIsThere) {
    SystemStepWorld world(platform, listenPath);
    const std::uint64_t before = machine.faults().calls("Paths.GetFileAttributesW");
    machine.faults().Fail({.call = "Paths.Waccess"});
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\plain.txt"), 0xFFFFFFFFU);
    EXPECT_EQ(machine.faults().calls("Paths.GetFileAttributesW"), before);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\plain.txt"), 0x20U);
    EXPECT_EQ(machine.faults().calls("Paths.GetFileAttributesW"), before + 1);
}

TEST_F(SystemStepWorldTest, DirectoriesAreListedAsTheRequestNamesThem) {
    MakeFile(u"C:\\Sync\\In\\a.txt");
    SystemStepWorld world(platform, listenPath);
    EXPECT_THAT(world.ListAllEntries(u"C:\\Sync\\In"), ElementsAre(u"C:\\Sync\\In\\a.txt"));
}

TEST_F(SystemStepWorldTest, LongPathsAreListedWithoutAPrefix) {
    std::u16string directory = u"C:\\Sync";
    while (directory.size() < 400) {
        directory += u"\\" + std::u16string(90, u'd');
    }
    MakeFile(directory + u"\\a.txt");
    SystemStepWorld world(platform, listenPath);
    EXPECT_THAT(world.ListAllEntries(directory), ElementsAre(directory + u"\\a.txt"));
    EXPECT_EQ(world.AttributesOrAllOnes(directory + u"\\a.txt"), 0x20U);
    EXPECT_EQ(world.GetFrnByPath(directory + u"\\a.txt"), volume().Find(directory + u"\\a.txt"));
}

}  // namespace
}  // namespace tavi::records
