#include "journal/path_mapping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "unit/journal/journal_rig.h"

namespace tavi::journal {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::uint64_t kSync = 100;  // the listened folder's own number
constexpr std::uint32_t kDirectory = 0x10;
constexpr std::uint32_t kFile = 0x20;

class PathMappingTest : public ::testing::Test, protected testing::JournalRig {
protected:
    PathMapping mapping{database, u"C:\\Users\\me\\Sync"};

    void Learn() { mapping.LearnSyncFolder(kSync, u"\\Users\\me\\Sync"); }
    void See(std::uint64_t number, std::uint64_t parent, std::u16string_view name,
             std::uint32_t attributes = kDirectory, std::u16string_view parentPath = u"\\Users\\me\\Sync\\x") {
        mapping.UpdatePathMapping({number, parent, attributes}, parentPath, name);
    }
    void CountStores() { stores_ = machine.faults().calls("Sqlite.OpenV2"); }
    std::uint64_t Stores() { return machine.faults().calls("Sqlite.OpenV2") - stores_; }

    std::uint64_t stores_ = 0;
};

TEST_F(PathMappingTest, NothingIsRebuiltBeforeTheFolderIsLearned) {
    mapping.Load({{1, kSync, false, u"Docs"}});
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"");
    EXPECT_FALSE(mapping.syncFolderLearned());
    Learn();
    EXPECT_TRUE(mapping.syncFolderLearned());
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"\\Users\\me\\Sync\\Docs");
}

TEST_F(PathMappingTest, FolderIsLearnedFromItsOwnPathOnly) {
    for (const char16_t* path :
         {u"", u"\\", u"\\Users\\me", u"\\users\\me\\Sync", u"\\Users\\me\\Sync2", u"\\Users\\me\\Sync\\x"}) {
        mapping.LearnSyncFolder(7, path);
        EXPECT_FALSE(mapping.syncFolderLearned());
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
    mapping.LearnSyncFolder(kSync, u"\\Users\\me\\Sync\\\\");
    EXPECT_EQ(mapping.BuildPathFromMapping(kSync), u"\\Users\\me\\Sync");
}

TEST_F(PathMappingTest, LearningIsTracedOnce) {
    mapping.LearnSyncFolder(281474976710696, u"\\Users\\me\\Sync");
    mapping.LearnSyncFolder(5, u"\\Users\\me\\Sync");
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace),
                ElementsAre("fileReferenceNumber,syncFolderPath:281474976710696,\\Users\\me\\Sync"));
    EXPECT_EQ(mapping.BuildPathFromMapping(5), u"");
}

TEST_F(PathMappingTest, LearnedPathIsTracedInUtf8) {
    PathMapping other(database, u"C:\\\x540C\x6B65\\");
    other.LearnSyncFolder(9, u"\\\x540C\x6B65");
    EXPECT_TRUE(log.HasTrace("fileReferenceNumber,syncFolderPath:9,\\\xE5\x90\x8C\xE6\xAD\xA5"));
}

TEST_F(PathMappingTest, FolderWithoutABackslashIsNeverLearned) {
    PathMapping other(database, u"C:");
    other.LearnSyncFolder(9, u"");
    other.LearnSyncFolder(9, u"\\");
    EXPECT_FALSE(other.syncFolderLearned());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(PathMappingTest, RootOfADriveIsLearnedOnceAndPathsBelowItAreRebuilt) {
    constexpr std::uint64_t kRoot = 1407374883553285;
    PathMapping drive(database, u"C:\\");
    drive.Load({{1, kRoot, false, u"Docs"}, {2, 1, false, u"2024"}});
    EXPECT_EQ(drive.BuildPathFromMapping(2), u"");
    drive.LearnSyncFolder(1, u"\\Docs");
    EXPECT_FALSE(drive.syncFolderLearned());
    drive.LearnSyncFolder(kRoot, u"\\");
    drive.LearnSyncFolder(kRoot, u"\\");
    EXPECT_TRUE(drive.syncFolderLearned());
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace), ElementsAre("fileReferenceNumber,syncFolderPath:1407374883553285,"));
    EXPECT_EQ(drive.BuildPathFromMapping(1), u"\\Docs");
    EXPECT_EQ(drive.BuildPathFromMapping(2), u"\\Docs\\2024");
    EXPECT_EQ(drive.BuildPathFromMapping(kRoot), u"") << "the root's path without its backslash";
}

TEST_F(PathMappingTest, PathIsRebuiltThroughAllParents) {
    Learn();
    See(1, kSync, u"Docs");
    See(2, 1, u"2024");
    See(3, 2, u"May");
    EXPECT_EQ(mapping.BuildPathFromMapping(3), u"\\Users\\me\\Sync\\Docs\\2024\\May");
    EXPECT_EQ(mapping.BuildPathFromMapping(kSync), u"\\Users\\me\\Sync");
    EXPECT_EQ(mapping.BuildPathFromMapping(4), u"");
    See(9, 8, u"orphan");
    EXPECT_EQ(mapping.BuildPathFromMapping(9), u"");
}

TEST_F(PathMappingTest, FilesNeverEnterTheMap) {
    Learn();
    See(1, kSync, u"a.txt", kFile);
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"");
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), IsEmpty());
}

TEST_F(PathMappingTest, RecordsOfFilesTeachTheFolderToo) {
    See(1, kSync, u"a.txt", kFile, u"\\Users\\me\\Sync");
    EXPECT_EQ(mapping.BuildPathFromMapping(kSync), u"\\Users\\me\\Sync");
}

TEST_F(PathMappingTest, RenamedTwiceInOneReadIsOnePendingRowWithTheLastParentAndName) {
    Learn();
    See(1, kSync, u"Docs");
    See(1, kSync, u"Papers");
    See(1, 2, u"Archive");
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{1, 2, false, u"Archive"}));
}

TEST_F(PathMappingTest, KnownDirectoryThatMovesIsPendingOnceMore) {
    Learn();
    See(1, kSync, u"Docs");
    mapping.FlushPathMapping();
    See(1, kSync, u"Docs");
    CountStores();
    mapping.FlushPathMapping();
    EXPECT_EQ(Stores(), 0U) << "the same parent and name change nothing";
    See(1, kSync, u"docs");
    mapping.FlushPathMapping();
    EXPECT_EQ(Stores(), 1U);
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{1, kSync, false, u"docs"}));
}

TEST_F(PathMappingTest, NothingPendingStoresNothing) {
    CountStores();
    mapping.FlushPathMapping();
    mapping.Load({{1, kSync, false, u"loaded"}});
    mapping.FlushPathMapping();
    EXPECT_EQ(Stores(), 0U);
}

TEST_F(PathMappingTest, FailedStoreIsNotRepeatedButStaysKnown) {
    Learn();
    See(1, kSync, u"Docs");
    machine.faults().Fail({.call = "Sqlite.PrepareV2", .code = 1});
    mapping.FlushPathMapping();
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"\\Users\\me\\Sync\\Docs");
    CountStores();
    mapping.FlushPathMapping();
    EXPECT_EQ(Stores(), 0U);
    See(1, kSync, u"Papers");
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{1, kSync, false, u"Papers"}));
}

TEST_F(PathMappingTest, DirectoryLoadedAsDeletedIsStoredAsPresentOnceItIsSeen) {
    Learn();
    mapping.Load({{1, kSync, true, u"Docs"}});
    See(1, kSync, u"Papers");
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{1, kSync, false, u"Papers"}));
}

TEST_F(PathMappingTest, DirectoryMovedIntoTheRecycleBinUpdatesItsEntry) {
    Learn();
    See(1, kSync, u"Docs");
    See(2, 1, u"Old");
    mapping.CheckRecycleBinMove({1, 77, kDirectory}, u"\\$RECYCLE.BIN\\S-1-5-21", u"$RABC");
    EXPECT_EQ(mapping.BuildPathFromMapping(2), u"") << "it has left the folder with its parent";
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), UnorderedElementsAre(db::PathMappingEntry{1, 77, false, u"$RABC"},
                                               db::PathMappingEntry{2, 1, false, u"Old"}));
}

TEST_F(PathMappingTest, RecycleBinCheckWantsAKnownDirectoryInThatVeryPlace) {
    Learn();
    See(1, kSync, u"Docs");
    mapping.CheckRecycleBinMove({1, 77, kFile}, u"\\$RECYCLE.BIN\\S-1-5-21", u"$RABC");
    mapping.CheckRecycleBinMove({1, 77, kDirectory}, u"\\$Recycle.Bin\\S-1-5-21", u"$RABC");
    mapping.CheckRecycleBinMove({1, 77, kDirectory}, u"\\Elsewhere", u"$RABC");
    mapping.CheckRecycleBinMove({2, 77, kDirectory}, u"\\$RECYCLE.BIN\\S-1-5-21", u"$RXYZ");
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"\\Users\\me\\Sync\\Docs");
    mapping.FlushPathMapping();
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{1, kSync, false, u"Docs"}));
}

TEST_F(PathMappingTest, LoopsOfEveryLengthEndInAnEmptyPath) {
    Learn();
    for (const std::uint64_t length : {1U, 2U, 3U, 7U, 64U, 1000U}) {
        for (const std::uint64_t tail : {0U, 1U, 5U, 100U}) {
            PathMapping looped(database, u"C:\\Sync");
            std::vector<db::PathMappingEntry> rows;
            for (std::uint64_t i = 0; i < length + tail; ++i) {
                const std::uint64_t parent = i + 1 < length + tail ? i + 1 : tail;
                rows.push_back({1000 + i, 1000 + parent, false, u"d"});
            }
            looped.Load(rows);
            looped.LearnSyncFolder(kSync, u"\\Sync");
            EXPECT_EQ(looped.BuildPathFromMapping(1000), u"") << length << " behind " << tail;
        }
    }
}

TEST_F(PathMappingTest, LoopThroughTheFolderItselfEndsThere) {
    mapping.Load({{kSync, 1, false, u"Sync"}, {1, kSync, false, u"Docs"}});
    Learn();
    EXPECT_EQ(mapping.BuildPathFromMapping(1), u"\\Users\\me\\Sync\\Docs");
    EXPECT_EQ(mapping.BuildPathFromMapping(kSync), u"\\Users\\me\\Sync");
}

TEST_F(PathMappingTest, PathOf30000UnitsIsRebuilt) {
    Learn();
    std::u16string expected = u"\\Users\\me\\Sync";
    std::uint64_t number = kSync;
    while (expected.size() + 256 <= 30'000) {
        const std::u16string name(255, static_cast<char16_t>(u'a' + number % 26));
        See(number + 1, number, name);
        expected += u'\\' + name;
        ++number;
    }
    See(number + 1, number, std::u16string(30'000 - expected.size() - 1, u'z'));
    expected += u'\\' + std::u16string(30'000 - expected.size() - 1, u'z');
    EXPECT_EQ(expected.size(), 30'000U);
    EXPECT_EQ(mapping.BuildPathFromMapping(number + 1), expected);
}

TEST_F(PathMappingTest, ChainLongerThanAnyPathIsEmpty) {
    std::vector<db::PathMappingEntry> rows;
    for (std::uint64_t i = 0; i < 40'000; ++i) {
        rows.push_back({1000 + i, i == 0 ? kSync : 999 + i, false, u"d"});
    }
    mapping.Load(rows);
    Learn();
    const std::size_t folder = std::u16string_view(u"\\Users\\me\\Sync").size();
    const std::uint64_t deepest = (32'767 - folder) / 2;  // directories that still fit, "\d" each
    EXPECT_EQ(mapping.BuildPathFromMapping(999 + deepest).size(), folder + 2 * deepest);
    EXPECT_EQ(mapping.BuildPathFromMapping(1000 + deepest), u"");
}

// The map against the obvious model: a walk that remembers every number it has met.
TEST_F(PathMappingTest, EveryChainIsWhatAWalkWithMarksSays) {
    const std::uint32_t seed = 4711;
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        PathMapping any(database, u"C:\\Sync");
        std::map<std::uint64_t, db::PathMappingEntry> model;
        for (std::uint64_t number = 1; number <= 12; ++number) {
            const std::uint64_t parent = random() % 14;  // 0 is the folder, 13 nobody
            model[number] = {number, parent, false, std::u16string(1, static_cast<char16_t>(u'a' + number))};
        }
        std::vector<db::PathMappingEntry> rows;
        std::transform(model.begin(), model.end(), std::back_inserter(rows), [](auto& row) { return row.second; });
        any.Load(rows);
        any.LearnSyncFolder(0, u"\\Sync");
        for (std::uint64_t number = 0; number <= 13; ++number) {
            std::u16string expected;
            std::uint64_t at = number;
            int steps = 0;
            while (at != 0 && model.contains(at) && ++steps <= 20) {
                expected.insert(0, u"\\" + model[at].fileName);
                at = model[at].parentFileReferenceNumber;
            }
            expected = at == 0 ? u"\\Sync" + expected : u"";
            ASSERT_EQ(any.BuildPathFromMapping(number), expected) << "seed " << seed << " round " << round;
        }
    }
}

}  // namespace
}  // namespace tavi::journal
