#include "sim/ntfs_volume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/constants.h"

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
    std::u16string note = file;
    note[note.find(u"$RB") + 1] = u'I';
    EXPECT_NE(volume.Find(note), 0U) << "tells where the file was";
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

bool IsInDeleted(const std::u16string& path) {
    return path.starts_with(u"\\$Extend\\$Deleted\\") && path.size() == 18 + 24;
}

TEST_F(NtfsVolumeTest, FileDeletedWhileHeldIsMovedAwayAndGoneWithItsLastHandle) {
    const Frn frn = volume.MakeHeldFile(u"\\key");
    volume.Hold(u"\\key");
    volume.Write(u"\\key", "k");
    NewRecords();
    EXPECT_TRUE(volume.Remove(u"\\key"));
    EXPECT_EQ(volume.Find(u"\\key"), 0U);
    EXPECT_TRUE(IsInDeleted(volume.PathOf(frn)));
    const std::u16string away = volume.InfoByFrn(frn)->name;
    EXPECT_NE(volume.MakeFile(u"\\key"), frn) << "its name is free";
    NewRecords();
    volume.Release(frn);
    EXPECT_THAT(NewRecords(), testing::IsEmpty()) << "somebody still holds it";
    volume.Release(frn);
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{away, 0x80000200}));
    EXPECT_EQ(volume.PathOf(frn), u"");
}

TEST_F(NtfsVolumeTest, DeletionOfAHeldFileTellsWhatWasPendingInBothHalves) {
    const Frn frn = volume.MakeHeldFile(u"\\key");
    volume.Write(u"\\key", "k");
    NewRecords();
    volume.Remove(u"\\key");
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"key", 0x1102}, Seen{volume.InfoByFrn(frn)->name, 0x2102}));
}

TEST_F(NtfsVolumeTest, HolderThatDoesNotShareDeletionKeepsTheNameAndTheFile) {
    volume.MakeDirectory(u"\\d");
    const Frn file = volume.MakeFile(u"\\d\\f");
    EXPECT_TRUE(volume.Hold(u"\\d\\f", {platform::kGenericRead, platform::kFileShareRead}));
    NewRecords();
    EXPECT_FALSE(volume.Remove(u"\\d\\f"));
    EXPECT_FALSE(volume.Rename(u"\\d\\f", u"\\g"));
    EXPECT_FALSE(volume.RemoveTree(u"\\d"));
    EXPECT_FALSE(volume.Hold(u"\\d\\f", {platform::kGenericWrite, 7})) << "writing is not shared";
    EXPECT_TRUE(volume.Hold(u"\\d\\f", {platform::kFileReadAttributes, 0})) << "attributes need no sharing";
    EXPECT_THAT(NewRecords(), testing::IsEmpty());
    volume.Release(file);
    EXPECT_TRUE(volume.Rename(u"\\d\\f", u"\\g"));
}

TEST_F(NtfsVolumeTest, CurrentDirectoryStaysWhatIsInItDoesNot) {
    const Frn inner = volume.MakeDirectory(u"\\d\\e");
    volume.MakeFile(u"\\d\\e\\f");
    EXPECT_TRUE(volume.Hold(u"\\d\\e", kCurrentDirectory));
    EXPECT_FALSE(volume.Rename(u"\\d\\e", u"\\d\\x"));
    EXPECT_FALSE(volume.Rename(u"\\d", u"\\x")) << "a directory above it";
    EXPECT_FALSE(volume.Permits(inner, {platform::kGenericAll, 3}));
    EXPECT_TRUE(volume.Permits(inner, {platform::kFileReadAttributes, 7}));
    EXPECT_FALSE(volume.RemoveTree(u"\\d"));
    EXPECT_THAT(volume.ListTree(u"\\d"), ElementsAre(u"\\d\\e")) << "only what nobody holds goes";
    volume.Release(inner);
    EXPECT_TRUE(volume.RemoveTree(u"\\d"));
}

TEST_F(NtfsVolumeTest, TreeRemovedByHandleSendsItsDirectoriesAway) {
    volume.MakeDirectory(u"\\d\\e");
    volume.MakeFile(u"\\d\\f");
    NewRecords();
    EXPECT_TRUE(volume.RemoveTree(u"\\d", TreeRemoval::kByHandle));
    std::vector<std::uint32_t> reasons;
    for (const Seen& seen : NewRecords()) {
        reasons.push_back(seen.reason);
    }
    EXPECT_THAT(reasons, ElementsAre(0x1000, 0x2000, 0x80000200, 0x80000200, 0x1000, 0x2000, 0x80000200));
    EXPECT_EQ(volume.Find(u"\\d"), 0U);
}

TEST_F(NtfsVolumeTest, ReplacedFileThatIsHeldIsMovedAwayFirst) {
    const Frn old = volume.MakeFile(u"\\t", "old");
    volume.MakeFile(u"\\s", "new");
    volume.Hold(u"\\t");
    NewRecords();
    EXPECT_TRUE(volume.Replace(u"\\s", u"\\t"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"t", 0x1000}, Seen{volume.InfoByFrn(old)->name, 0x2000},
                                          Seen{u"s", 0x1000}, Seen{u"t", 0x2000}, Seen{u"t", 0x80002000}));
    EXPECT_EQ(volume.Info(u"\\t")->contents, "new");
    EXPECT_EQ(volume.InfoByFrn(old)->contents, "old");
}

TEST_F(NtfsVolumeTest, LinksAreOneFileWithSeveralNames) {
    volume.MakeDirectory(u"\\d");
    const Frn frn = volume.MakeFile(u"\\a", "1");
    NewRecords();
    EXPECT_TRUE(volume.MakeLink(u"\\a", u"\\d\\b"));
    EXPECT_FALSE(volume.MakeLink(u"\\a", u"\\d\\B")) << "taken";
    EXPECT_FALSE(volume.MakeLink(u"\\d", u"\\e")) << "a directory";
    volume.Write(u"\\d\\b", "2");
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"b", 0x80010000}, Seen{u"b", 0x2}, Seen{u"b", 0x80000002}));
    EXPECT_EQ(volume.Find(u"\\a"), frn);
    EXPECT_EQ(volume.Find(u"\\d\\b"), frn);
    EXPECT_EQ(volume.Info(u"\\a")->name, u"a");
    EXPECT_EQ(volume.Info(u"\\a")->contents, "12");
    EXPECT_THAT(volume.ListTree(u"\\"), ElementsAre(u"\\a", u"\\d", u"\\d\\b"));
    EXPECT_TRUE(volume.Rename(u"\\a", u"\\c"));
    EXPECT_FALSE(volume.Rename(u"\\c", u"\\d\\b")) << "the file's other name";
    NewRecords();
    EXPECT_TRUE(volume.Remove(u"\\c"));
    EXPECT_TRUE(volume.Remove(u"\\d\\b"));
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"c", 0x80010000}, Seen{u"b", 0x80000200}));
    EXPECT_EQ(volume.PathOf(frn), u"");
}

TEST_F(NtfsVolumeTest, StreamsShowUnderTheFilesName) {
    volume.MakeFile(u"\\f");
    NewRecords();
    EXPECT_TRUE(volume.WriteStream(u"\\f", u"Zone.Identifier", "zone"));
    EXPECT_TRUE(volume.WriteStream(u"\\f", u"zone.identifier", "other", WriteKind::kTruncate));
    EXPECT_TRUE(volume.RemoveStream(u"\\f", u"Zone.Identifier"));
    EXPECT_FALSE(volume.RemoveStream(u"\\f", u"Zone.Identifier"));
    EXPECT_THAT(NewRecords(),
                ElementsAre(Seen{u"f", 0x200000}, Seen{u"f", 0x200020}, Seen{u"f", 0x80200020}, Seen{u"f", 0x40},
                            Seen{u"f", 0x60}, Seen{u"f", 0x80000060}, Seen{u"f", 0x200000}, Seen{u"f", 0x80200000}));
    EXPECT_EQ(volume.Info(u"\\f")->contents, "");
}

TEST_F(NtfsVolumeTest, WritingArchivesWithoutARecordOfItsOwn) {
    volume.MakeFile(u"\\f", "", platform::kFileAttributeHidden);
    NewRecords();
    volume.Write(u"\\f", "x");
    EXPECT_THAT(NewRecords(), ElementsAre(Seen{u"f", 0x2}, Seen{u"f", 0x80000002}));
    EXPECT_EQ(volume.Info(u"\\f")->attributes, 0x22U);
}

TEST_F(NtfsVolumeTest, StampsMoveWithTheClocksTick) {
    volume.TickEvery(NtfsVolume::kUsualTick);
    time = 3 * NtfsVolume::kUsualTick + 100;
    volume.MakeFile(u"\\f");
    time = 4 * NtfsVolume::kUsualTick - 50;
    volume.MakeFile(u"\\g");
    volume.WithJournal([](EmulatedJournal& journal) {
        std::vector<std::uint64_t> ticks;
        for (const JournalEntry& entry : journal.Entries()) {
            EXPECT_EQ(entry.time % NtfsVolume::kUsualTick, 0U);
            ticks.push_back(entry.time / NtfsVolume::kUsualTick);
        }
        EXPECT_THAT(ticks, ElementsAre(3U, 3U, 3U, 3U)) << "unrelated files share a tick";
    });
}

TEST_F(NtfsVolumeTest, RecycleBinKeepsTheSpellingThatItWasMadeWith) {
    volume.NameRecycleBin(u"$Recycle.Bin");
    volume.MakeFile(u"\\a.txt");
    volume.MakeFile(u"\\b.txt");
    const std::u16string first = volume.Recycle(u"\\a.txt");
    volume.NameRecycleBin(u"$RECYCLE.BIN");
    const std::u16string second = volume.Recycle(u"\\b.txt");
    EXPECT_TRUE(volume.PathOf(volume.Find(first)).starts_with(u"\\$Recycle.Bin\\"));
    EXPECT_TRUE(volume.PathOf(volume.Find(second)).starts_with(u"\\$Recycle.Bin\\"));
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
