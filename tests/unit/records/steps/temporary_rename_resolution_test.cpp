#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class TemporaryRenameResolution : public StepTest {
protected:
    StepRecordList Run(StepRecordList records) { return ResolveTemporaryRenames(std::move(records), context); }
};

TEST_F(TemporaryRenameResolution, EmptyListStaysEmpty) {
    EXPECT_TRUE(Run({}).empty());
}

TEST_F(TemporaryRenameResolution, RecordsWithoutTemporaryNamesStayInOrder) {
    const StepRecordList list = {Change(kModify, u"c"), Rename(u"b", u"a"), Change(kCreate, u"d"),
                                 Change(kDelete, u"e"), Change(kMove, u"f")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(TemporaryRenameResolution, RecordsOfTemporaryFilesAreDroppedWhateverTheirKind) {
    const StepRecordList output =
        Run({Change(kRenameOldName, u"x.tmp"), Change(kCreate, u"a"), Change(kMove, u"y.tmp"), Rename(u"z.tmp", u"b")});
    EXPECT_EQ(output, StepRecordList{Change(kCreate, u"a")});
}

TEST_F(TemporaryRenameResolution, ARenameFromATemporaryNameIsAModification) {
    EXPECT_EQ(Run({Rename(u"a.docx", u"1234.tmp"), Rename(u"b.docx", u"d\\~$c.docx"), Rename(u"c.docx", u"1234.TMP")}),
              (StepRecordList{Change(kModify, u"a.docx"), Change(kModify, u"b.docx"), Rename(u"c.docx", u"1234.TMP")}));
}

TEST_F(TemporaryRenameResolution, ADirectoryRenamedFromATemporaryNameStaysARename) {
    const StepRecordList list = {Rename(u"d", u"x.tmp", kDirectory)};
    EXPECT_EQ(Run(list), list);
}

TEST_F(TemporaryRenameResolution, TheSavedFilesNumberGoesToItsCreationsAndModifications) {
    const StepRecordList output =
        Run({Change(kCreate, u"a", kFile, 1), Change(kModify, u"a", kFile, 2), Change(kDelete, u"a", kFile, 3),
             Change(kModify, u"A", kFile, 4), Rename(u"a", u"x.tmp", kFile, 9), Change(kModify, u"a", kFile, 5)});
    const StepRecordList expected = {Change(kCreate, u"a", kFile, 9), Change(kModify, u"a", kFile, 9),
                                     Change(kDelete, u"a", kFile, 3), Change(kModify, u"A", kFile, 4),
                                     Change(kModify, u"a", kFile, 9), Change(kModify, u"a", kFile, 9)};
    EXPECT_EQ(output, expected);
}

TEST_F(TemporaryRenameResolution, OfTwoSavesOfOneNameTheLastOnesNumberCounts) {
    const StepRecordList output = Run({Rename(u"a", u"x.tmp", kFile, 8), Rename(u"a", u"y.tmp", kFile, 9)});
    EXPECT_EQ(output, (StepRecordList{Change(kModify, u"a", kFile, 9), Change(kModify, u"a", kFile, 9)}));
}

TEST_F(TemporaryRenameResolution, ANumberOfAllOnesIsNotHandedOn) {
    const StepRecordList output = Run({Change(kCreate, u"a", kFile, 1), Rename(u"a", u"x.tmp", kFile, kNoFrn)});
    EXPECT_EQ(output, (StepRecordList{Change(kCreate, u"a", kFile, 1), Change(kModify, u"a", kFile, kNoFrn)}));
}

// First pass: a file was created under a working name, took the place of another, and that one went to a temporary
// name.

TEST_F(TemporaryRenameResolution, AFileThatTookTheOldNameOfATemporaryRenameWasModified) {
    const StepRecordList output =
        Run({Change(kCreate, u"w", kFile, 5), Change(kModify, u"v", kFile, 5), Rename(u"a.tmp", u"a", kFile, 1),
             Rename(u"a", u"w", kFile, 5), Change(kDelete, u"q", kFile, 5)});
    const StepRecordList expected = {Change(kModify, u"a", kFile, 5), Change(kDelete, u"q", kFile, 5)};
    EXPECT_EQ(output, expected);
}

TEST_F(TemporaryRenameResolution, EveryCreationOfTheNumberTakesTheName) {
    const StepRecordList output =
        Run({Change(kCreate, u"w", kFile, 5), Rename(u"a.tmp", u"a", kFile, 1), Rename(u"a", u"w", kFile, 5),
             Rename(u"b", u"a", kFile, 5), Change(kCreate, u"v", kFile, 5)});
    EXPECT_EQ(output, (StepRecordList{Change(kModify, u"a", kFile, 5), Change(kModify, u"a", kFile, 5)}));
}

TEST_F(TemporaryRenameResolution, TheFirstRenameToTheNameDecides) {
    // The first rename to "a" has a number without a creation, so nothing happens, though the second one's has one.
    const StepRecordList kept = {Rename(u"a", u"p", kFile, 4), Change(kCreate, u"w", kFile, 5),
                                 Rename(u"a", u"w", kFile, 5)};
    StepRecordList list = kept;
    list.push_back(Rename(u"a.tmp", u"a", kFile, 1));
    EXPECT_EQ(Run(list), kept);
}

TEST_F(TemporaryRenameResolution, ALaterTemporaryRenameFindsTheNextRenameToTheName) {
    // The first temporary rename removes number 5's rename to "a"; the second one then meets number 6's.
    const StepRecordList output =
        Run({Change(kCreate, u"w", kFile, 5), Rename(u"a", u"w", kFile, 5), Rename(u"a.tmp", u"a", kFile, 1),
             Change(kCreate, u"v", kFile, 6), Rename(u"a", u"v", kFile, 6), Rename(u"b.tmp", u"a", kFile, 2)});
    EXPECT_EQ(output, (StepRecordList{Change(kModify, u"a", kFile, 5), Change(kModify, u"a", kFile, 6)}));
}

TEST_F(TemporaryRenameResolution, NothingIsModifiedWithoutARenameOrACreation) {
    const StepRecord temporaryRename = Rename(u"a.tmp", u"a", kFile, 1);
    const StepRecordList noRename = {Change(kCreate, u"a", kFile, 5), Change(kModify, u"a", kFile, 5)};
    const StepRecordList noCreation = {Rename(u"a", u"w", kFile, 5), Change(kModify, u"a", kFile, 5)};
    const StepRecordList otherCase = {Change(kCreate, u"w", kFile, 5), Rename(u"A", u"w", kFile, 5)};
    for (const StepRecordList& kept : {noRename, noCreation, otherCase}) {
        StepRecordList list = kept;
        list.push_back(temporaryRename);
        EXPECT_EQ(Run(list), kept);
    }
}

// Second pass: backups.

TEST_F(TemporaryRenameResolution, ARenameOfACreatedBackupIsAModificationOfTheFile) {
    const StepRecordList output =
        Run({Change(kDelete, u"a.emmx", kFile, 1), Change(kCreate, u"a.emmx.IgBak", kFile, 2),
             Rename(u"a.emmx", u"a.emmx.IgBak", kFile, 2), Change(kDelete, u"a.emmx", kFile, 3),
             Change(kDelete, u"A.emmx", kFile, 4), Change(kModify, u"a.emmx", kFile, 5)});
    StepRecord renamed = Rename(u"a.emmx", u"a.emmx.IgBak", kFile, 2);
    renamed.reason = kModify;  // its original name stays
    const StepRecordList expected = {Change(kModify, u"a.emmx", kFile, 2), renamed,
                                     Change(kDelete, u"A.emmx", kFile, 4), Change(kModify, u"a.emmx", kFile, 5)};
    EXPECT_EQ(output, expected);
}

TEST_F(TemporaryRenameResolution, ABackupRenameNeedsItsSuffixAndACreationOfExactlyItsOldName) {
    const StepRecordList lists[] = {
        {Change(kCreate, u"a.igbakx"), Rename(u"a", u"a.igbakx")},
        {Change(kCreate, u"a.igbak.x"), Rename(u"a", u"a.igbak.x")},
        {Change(kCreate, u"igbak"), Rename(u"a", u"igbak")},
        {Change(kCreate, u"d.igbak\\a"), Rename(u"a", u"d.igbak\\a")},
        {Change(kCreate, u"A.igbak"), Rename(u"a", u"a.igbak"), Change(kDelete, u"a")},
        {Change(kModify, u"a.igbak"), Rename(u"a", u"a.igbak"), Change(kDelete, u"a")},
    };
    for (const StepRecordList& list : lists) {
        EXPECT_EQ(Run(list), list);
    }
}

TEST_F(TemporaryRenameResolution, TheBackupSuffixIsLowerCasedUnitByUnit) {
    const StepRecordList output = Run({Change(kCreate, u"a.IGBA\u212A"), Rename(u"b", u"a.IGBA\u212A", kFile, 8)});
    EXPECT_EQ(output[0], Change(kModify, u"b"));
}

TEST_F(TemporaryRenameResolution, AFileRenamedAwayToATemporaryNameServesAsABackupRenameToo) {
    // It is not in the output itself, but among the renames.
    EXPECT_EQ(Run({Change(kCreate, u"a.igbak"), Rename(u"x.tmp", u"a.igbak")}), StepRecordList{[] {
                  StepRecord record = Change(kModify, u"x.tmp");
                  record.isTempFile = false;
                  return record;
              }()});
}

TEST_F(TemporaryRenameResolution, OnlyTheFirstOfTwoRenamesOfABackupFindsItsCreation) {
    StepRecord first = Rename(u"b", u"a.igbak", kFile, 2);
    const StepRecord second = Rename(u"c", u"a.igbak", kFile, 3);
    const StepRecordList output = Run({Change(kCreate, u"a.igbak", kFile, 1), first, second, Change(kDelete, u"c")});
    first.reason = kModify;
    EXPECT_EQ(output, (StepRecordList{Change(kModify, u"b", kFile, 1), first, second, Change(kDelete, u"c")}));
}

// Third pass: chains.

TEST_F(TemporaryRenameResolution, TwoRenamesInARowBecomeOneFromTheFirstNameToTheLast) {
    EXPECT_EQ(Run({Rename(u"b", u"a"), Rename(u"c", u"b")}), StepRecordList{Rename(u"c", u"a")});
}

TEST_F(TemporaryRenameResolution, ALongChainBecomesOneRename) {
    EXPECT_EQ(
        Run({Rename(u"b", u"a"), Change(kModify, u"m"), Rename(u"c", u"b"), Rename(u"d", u"c"), Rename(u"e", u"d")}),
        (StepRecordList{Change(kModify, u"m"), Rename(u"e", u"a")}));
}

TEST_F(TemporaryRenameResolution, AChainIsOfOneNumber) {
    const StepRecordList list = {Rename(u"b", u"a", kFile, 1), Rename(u"c", u"b", kFile, 2)};
    EXPECT_EQ(Run(list), list);
}

TEST_F(TemporaryRenameResolution, OfSeveralEarlierRenamesTheLastOnesOldNameIsSaved) {
    EXPECT_EQ(Run({Rename(u"b", u"a"), Rename(u"b", u"z"), Rename(u"c", u"b")}), StepRecordList{Rename(u"c", u"z")});
}

TEST_F(TemporaryRenameResolution, EarlierRenamesAfterTheCollapsedOneStay) {
    EXPECT_EQ(Run({Rename(u"b", u"a"), Rename(u"c", u"b"), Rename(u"b", u"z")}),
              (StepRecordList{Rename(u"c", u"a"), Rename(u"b", u"z")}));
}

TEST_F(TemporaryRenameResolution, RenamesRemovedByAWalkWithoutItsGoalStayRemoved) {
    // The later rename to "b" is removed for the sake of the rename b to c, which precedes it.
    EXPECT_EQ(Run({Rename(u"c", u"b"), Rename(u"b", u"a")}), StepRecordList{Rename(u"c", u"b")});
}

TEST_F(TemporaryRenameResolution, ARenameToATemporaryNameRemovesTheRenameBeforeIt) {
    EXPECT_TRUE(Run({Rename(u"b", u"a"), Rename(u"x.tmp", u"b")}).empty());
}

TEST_F(TemporaryRenameResolution, AnEarlierRenameWithoutOldNameCollapsesNothing) {
    EXPECT_EQ(Run({Rename(u"b", u""), Rename(u"c", u"b")}), StepRecordList{Rename(u"c", u"b")});
    EXPECT_EQ(Run({Rename(u"b", u"a"), Rename(u"b", u""), Rename(u"c", u"b")}), StepRecordList{Rename(u"c", u"b")})
        << "it replaces the saved name";
}

TEST_F(TemporaryRenameResolution, ARenameToItsOwnNameRemovesItself) {
    EXPECT_TRUE(Run({Rename(u"a", u"a")}).empty());
}

// Fourth pass: a temporary file that becomes a backup.

TEST_F(TemporaryRenameResolution, FilesCreatedBesideABackupMadeOfATemporaryFileWereModified) {
    const StepRecordList output =
        Run({Change(kCreate, u"d\\a.dwg"), Rename(u"d\\a.BAK", u"d\\q.TMP"), Change(kCreate, u"d\\a.txt"),
             Change(kCreate, u"d\\a"), Change(kCreate, u"d\\a.b.c"), Change(kCreate, u"a.dwg"),
             Change(kDelete, u"d\\a.x")});
    const StepRecordList expected = {Change(kModify, u"d\\a.dwg"), Rename(u"d\\a.BAK", u"d\\q.TMP"),
                                     Change(kModify, u"d\\a.txt"), Change(kCreate, u"d\\a"),
                                     Change(kCreate, u"d\\a.b.c"), Change(kCreate, u"a.dwg"),
                                     Change(kDelete, u"d\\a.x")};
    EXPECT_EQ(output, expected);
}

TEST_F(TemporaryRenameResolution, ABackupMadeOfAnythingElseChangesNothing) {
    for (const auto& [name, originalName] : {std::pair{u"a.bak", u"q.dat"}, std::pair{u"a.bakk", u"q.TMP"},
                                             std::pair{u"abak", u"q.TMP"}, std::pair{u"a.bak", u"qtmp"}}) {
        const StepRecordList list = {Change(kCreate, u"a.dwg"), Rename(name, originalName)};
        EXPECT_EQ(Run(list), list);
    }
}

TEST_F(TemporaryRenameResolution, ARenameThatWasTakenForASaveStillMakesABackup) {
    // From a lower-case temporary name the rename itself becomes a modification, but it stays among the renames.
    EXPECT_EQ(Run({Rename(u"a.bak", u"q.tmp", kFile, 3), Change(kCreate, u"a.dwg")}),
              (StepRecordList{Change(kModify, u"a.bak", kFile, 3), Change(kModify, u"a.dwg")}));
}

TEST_F(TemporaryRenameResolution, TheClassOfANameTravelsWithIt) {
    const StepRecordList output = Run({Change(kCreate, u"plain.igbak"), Rename(u"x.tmp", u"plain.igbak"),
                                       Rename(u"b", u"~$a.docx", kDirectory), Rename(u"c", u"b", kDirectory)});
    for (const StepRecord& record : output) {
        EXPECT_EQ(record.nameClass, Rules().Classify(record.fileName));
        EXPECT_EQ(record.originalNameClass, Rules().Classify(record.originalFileName));
    }
    EXPECT_EQ(output.size(), 2u);
}

}  // namespace
}  // namespace tavi::records
