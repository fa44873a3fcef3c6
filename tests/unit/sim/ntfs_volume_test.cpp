#include "sim/ntfs_volume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::sim {
namespace {

using testing::ElementsAre;

struct Seen {
    std::u16string name;
    std::uint32_t reason;
    friend bool operator==(const Seen&, const Seen&) = default;
};
void PrintTo(const Seen& seen, std::ostream* out) {
    *out << testing::PrintToString(seen.name) << " 0x" << std::hex << seen.reason << std::dec;
}

class NtfsVolumeTest : public testing::Test {
protected:
    NtfsVolumeTest() : volume(u'C', [this] { return ++time; }) {}

    // The records since the last call.
    std::vector<Seen> NewRecords() {
        return volume.WithJournal([&](EmulatedJournal& journal) {
            std::vector<Seen> seen;
            for (const JournalEntry& entry : journal.Entries()) {
                if (entry.usn >= position) {
                    seen.push_back({entry.name, entry.reason});
                }
            }
            position = journal.nextUsn();
            return seen;
        });
    }

    std::uint64_t time = 1000;
    std::int64_t position = 0;
    NtfsVolume volume;
};

TEST_F(NtfsVolumeTest, RootHasTheUsualNumberAndIsItsOwnParent) {
    const auto root = volume.InfoByFrn(volume.root());
    ASSERT_TRUE(root);
    EXPECT_EQ(root->frn, 0x0005000000000005U);
    EXPECT_EQ(root->parent, root->frn);
    EXPECT_EQ(volume.PathOf(root->frn), u"\\");
}

TEST_F(NtfsVolumeTest, NewFileIsCreatedExtendedAndClosed) {
    EXPECT_NE(volume.MakeDirectory(u"C:\\Sync"), 0U);
    EXPECT_NE(volume.MakeFile(u"\\Sync\\a.txt", "contents"), 0U);
    EXPECT_NE(volume.MakeFile(u"\\Sync\\empty.txt"), 0U);
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"Sync", 0x100}, Seen{u"Sync", 0x80000100}, Seen{u"a.txt", 0x100},
                                          Seen{u"a.txt", 0x102}, Seen{u"a.txt", 0x80000102}, Seen{u"empty.txt", 0x100},
                                          Seen{u"empty.txt", 0x80000100}));
    EXPECT_EQ(volume.Info(u"c:\\SYNC\\A.TXT")->contents, "contents");
}

TEST_F(NtfsVolumeTest, LookUpsIgnoreCaseAndKeepIt) {
    volume.MakeDirectory(u"\\Sync\\\x00C9t\x00E9");
    EXPECT_NE(volume.Find(u"\\sync\\\x00E9T\x00C9"), 0U);
    EXPECT_EQ(volume.PathOf(volume.Find(u"\\SYNC\\\x00E9T\x00C9")), u"\\Sync\\\x00C9t\x00E9");
    EXPECT_EQ(volume.Find(u"\\Sync2"), 0U);
    EXPECT_EQ(volume.MakeFile(u"\\SYNC"), 0U) << "exists";
}

TEST_F(NtfsVolumeTest, RenameWritesOldAndNewNameAndKeepsTheNumber) {
    const Frn frn = volume.MakeFile(u"\\a");
    NewRecords();
    EXPECT_TRUE(volume.Rename(u"\\a", u"\\b"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"a", 0x1000}, Seen{u"b", 0x2000}, Seen{u"b", 0x80002000}));
    EXPECT_EQ(volume.Find(u"\\b"), frn);
    EXPECT_EQ(volume.Find(u"\\a"), 0U);
    EXPECT_TRUE(volume.Rename(u"\\b", u"\\B")) << "only the case changes";
    EXPECT_EQ(volume.PathOf(frn), u"\\B");
}

TEST_F(NtfsVolumeTest, MovedDirectoryTakesItsContentsAlongWithoutRecordsOfTheirOwn) {
    volume.MakeDirectory(u"\\Out\\d");
    const Frn file = volume.MakeFile(u"\\Out\\d\\f");
    volume.MakeDirectory(u"\\Sync");
    NewRecords();
    EXPECT_TRUE(volume.Rename(u"\\Out\\d", u"\\Sync\\d2"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"d", 0x1000}, Seen{u"d2", 0x2000}, Seen{u"d2", 0x80002000}));
    EXPECT_EQ(volume.PathOf(file), u"\\Sync\\d2\\f");
    EXPECT_THAT(volume.ListTree(u"\\Sync"), ElementsAre(u"\\Sync\\d2", u"\\Sync\\d2\\f"));
}

TEST_F(NtfsVolumeTest, RenameRefusesTakenNamesMissingPlacesAndItself) {
    volume.MakeDirectory(u"\\d\\e");
    volume.MakeFile(u"\\f");
    volume.MakeFile(u"\\g");
    EXPECT_FALSE(volume.Rename(u"\\f", u"\\g"));
    EXPECT_FALSE(volume.Rename(u"\\f", u"\\none\\g"));
    EXPECT_FALSE(volume.Rename(u"\\none", u"\\h"));
    EXPECT_FALSE(volume.Rename(u"\\d", u"\\d\\e\\d"));
    EXPECT_FALSE(volume.Rename(u"\\", u"\\h"));
    EXPECT_EQ(volume.ListTree(u"\\").size(), 4U);
}

TEST_F(NtfsVolumeTest, ReplaceDeletesTheTargetFirst) {
    volume.MakeFile(u"\\t.tmp", "new");
    const Frn old = volume.MakeFile(u"\\t.txt", "old");
    NewRecords();
    EXPECT_TRUE(volume.Replace(u"\\t.tmp", u"\\t.txt"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"t.txt", 0x80000200}, Seen{u"t.tmp", 0x1000}, Seen{u"t.txt", 0x2000},
                                          Seen{u"t.txt", 0x80002000}));
    EXPECT_NE(volume.Find(u"\\t.txt"), old);
    EXPECT_EQ(volume.Info(u"\\t.txt")->contents, "new");
}

TEST_F(NtfsVolumeTest, FreedNumberComesBackWithTheNextSequence) {
    const Frn first = volume.MakeFile(u"\\a");
    EXPECT_TRUE(volume.Remove(u"\\a"));
    EXPECT_EQ(volume.PathOf(first), u"") << "stale";
    const Frn second = volume.MakeFile(u"\\b");
    EXPECT_EQ(second & 0xFFFFFFFFFFFF, first & 0xFFFFFFFFFFFF);
    EXPECT_EQ(second >> 48, (first >> 48) + 1);
    volume.ReuseNumbers(false);
    EXPECT_TRUE(volume.Remove(u"\\b"));
    EXPECT_NE(volume.MakeFile(u"\\c") & 0xFFFFFFFFFFFF, first & 0xFFFFFFFFFFFF);
}

TEST_F(NtfsVolumeTest, AnyNumberCanBeGivenToTheNextFile) {
    volume.UseNextFrn(0x9168000000000073);  // above 2^63-1
    EXPECT_EQ(volume.MakeFile(u"\\a"), 0x9168000000000073U);
    EXPECT_EQ(volume.PathOf(0x9168000000000073), u"\\a");
}

TEST_F(NtfsVolumeTest, RemoveNeedsAnEmptyDirectoryAndRemoveTreeGoesBottomUp) {
    volume.MakeDirectory(u"\\d\\e");
    volume.MakeFile(u"\\d\\f");
    NewRecords();
    EXPECT_FALSE(volume.Remove(u"\\d"));
    EXPECT_TRUE(volume.RemoveTree(u"\\d"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"e", 0x80000200}, Seen{u"f", 0x80000200}, Seen{u"d", 0x80000200}));
    EXPECT_FALSE(volume.RemoveTree(u"\\"));
}

TEST_F(NtfsVolumeTest, RecycledFileKeepsItsExtensionUnderANewName) {
    volume.MakeFile(u"\\a.txt");
    volume.MakeDirectory(u"\\d");
    const std::u16string file = volume.Recycle(u"\\a.txt");
    const std::u16string directory = volume.Recycle(u"\\d");
    EXPECT_EQ(file.substr(0, 31), u"\\$RECYCLE.BIN\\S-1-5-21-1001\\$RB");
    EXPECT_EQ(file.substr(file.size() - 4), u".txt");
    EXPECT_NE(file, directory);
    EXPECT_NE(volume.Find(file), 0U);
    EXPECT_EQ(volume.Recycle(u"\\none"), u"");
}

TEST_F(NtfsVolumeTest, AttributesChangeButNotWhatAFileIs) {
    volume.MakeDirectory(u"\\d");
    NewRecords();
    EXPECT_TRUE(volume.SetAttributes(u"\\d", 0x2));
    EXPECT_EQ(volume.Info(u"\\d")->attributes, 0x12U);
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"d", 0x8000}, Seen{u"d", 0x80008000}));
}

TEST_F(NtfsVolumeTest, PlaceholderIsAReparsePointUntilReleased) {
    volume.MakeFile(u"\\f");
    NewRecords();
    EXPECT_TRUE(volume.SetPlaceholder(u"\\f", true));
    EXPECT_EQ(volume.Info(u"\\f")->attributes, 0x420U);
    EXPECT_EQ(volume.Info(u"\\f")->reparseTag, 0x9000001AU);
    EXPECT_TRUE(volume.SetPlaceholder(u"\\f", false));
    EXPECT_EQ(volume.Info(u"\\f")->attributes, 0x20U);
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"f", 0x100000}, Seen{u"f", 0x80100000}, Seen{u"f", 0x100000},
                                          Seen{u"f", 0x80100000}));
}

TEST_F(NtfsVolumeTest, HeldFilesAccumulateAndInterleave) {
    const Frn a = volume.MakeFile(u"\\a");
    const Frn b = volume.MakeFile(u"\\b");
    NewRecords();
    volume.Hold(u"\\a");
    volume.Hold(u"\\b");
    volume.Write(u"\\a", "1");
    volume.Write(u"\\b", "1", WriteKind::kTruncate);
    volume.Write(u"\\a", "2");
    volume.Rename(u"\\a", u"\\c");
    volume.Release(b);
    volume.Release(a);
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"a", 0x2}, Seen{u"b", 0x4}, Seen{u"b", 0x6}, Seen{u"a", 0x1002},
                                          Seen{u"c", 0x2002}, Seen{u"b", 0x80000006}, Seen{u"c", 0x80002002}));
    EXPECT_EQ(volume.Info(u"\\c")->contents, "12");
}

TEST_F(NtfsVolumeTest, AnyNameCanBeFoundAgain) {
    const std::u16string lone = u"\xD800";
    for (const std::u16string& name : {lone, std::u16string(255, u'\x4E00'), std::u16string(u"\xFFFF"), lone + lone}) {
        const Frn frn = volume.MakeFile(u"\\" + name);
        EXPECT_NE(frn, 0U);
        EXPECT_EQ(volume.Find(u"\\" + name), frn);
        EXPECT_EQ(NewRecords().back().name, name);
    }
}

TEST_F(NtfsVolumeTest, WritesNothingWithoutAJournal) {
    volume.WithJournal([](EmulatedJournal& journal) { journal.Delete(); });
    EXPECT_NE(volume.MakeFile(u"\\a"), 0U);
    volume.WithJournal([](EmulatedJournal& journal) {
        EXPECT_FALSE(journal.active());
        EXPECT_TRUE(journal.Stream().empty());
    });
}

}  // namespace
}  // namespace tavi::sim
