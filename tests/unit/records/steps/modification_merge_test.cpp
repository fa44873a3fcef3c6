#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class ModificationMerge : public StepTest {
protected:
    StepRecordList Run(StepRecordList records) { return MergeModifications(std::move(records), context); }

    // File 7 is renamed from x to y, modified under x, and y is deleted: created anew, x was modified.
    static StepRecordList SaveThatKeepsTheOldVersion() {
        return {Change(kModify, u"x"), Change(kRenameOldName, u"x"), Change(kRenameNewName, u"y"),
                Change(kCreate, u"x"), Change(kDelete, u"y")};
    }
};

TEST_F(ModificationMerge, EmptyListStaysEmpty) {
    EXPECT_TRUE(Run({}).empty());
}

TEST_F(ModificationMerge, OneModificationStays) {
    const StepRecordList list = {Change(kModify, u"a.txt")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(ModificationMerge, ThreeConsecutiveModificationsBecomeOneWithTheThirdsAttributes) {
    const StepRecordList output =
        Run({At(10, Change(kModify, u"a.txt", 0x20, 1)), At(20, Change(kModify, u"a.txt", 0x21, 2)),
             At(30, Change(kModify, u"a.txt", 0x80, 3))});
    EXPECT_EQ(output, StepRecordList{At(10, Change(kModify, u"a.txt", 0x80, 1))});
}

TEST_F(ModificationMerge, OnlyAdjacentModificationsOfExactlyTheSameNameMerge) {
    const StepRecordList lists[] = {
        {Change(kModify, u"a.txt"), Change(kModify, u"A.txt")},
        {Change(kModify, u"a.txt"), Change(kModify, u"a.txt ")},
        {Change(kModify, u"a.txt"), Change(kModify, u"b.txt"), Change(kModify, u"a.txt")},
        {Change(kModify, u"a.txt"), Change(kDelete, u"a.txt"), Change(kModify, u"a.txt")},
        {Change(kDelete, u"a.txt"), Change(kModify, u"a.txt")},
    };
    for (const StepRecordList& list : lists) {
        EXPECT_EQ(Run(list), list);
    }
}

TEST_F(ModificationMerge, ACreateBetweenTwoModificationsSeparatesThem) {
    const StepRecordList list = {Change(kModify, u"a.txt"), Change(kCreate, u"a.txt"), Change(kModify, u"a.txt")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(ModificationMerge, TheOrderOfWhatIsKeptIsTheInputs) {
    const Outline expected = {{kModify, u"b"}, {kModify, u"a"}, {kRename, u"c"}, {kModify, u"a"}};
    EXPECT_EQ(OutlineOf(Run({Change(kModify, u"b"), Change(kModify, u"b"), Change(kModify, u"a"), Change(kRename, u"c"),
                             Change(kModify, u"a"), Change(kModify, u"a")})),
              expected);
}

TEST_F(ModificationMerge, ACreateAfterASaveThatKeepsTheOldVersionIsAModification) {
    StepRecordList expected = SaveThatKeepsTheOldVersion();
    expected[3].reason = kModify;
    EXPECT_EQ(Run(SaveThatKeepsTheOldVersion()), expected);
}

TEST_F(ModificationMerge, TheScanLooksAtTheWholeListNotOnlyAtWhatPrecedesTheCreate) {
    const StepRecordList output = Run({Change(kCreate, u"x"), Change(kModify, u"x"), Change(kDelete, u"y"),
                                       Change(kRenameOldName, u"x"), Change(kRenameNewName, u"y")});
    // The created record counts as a modification for the next one, which merges into it.
    const Outline expected = {{kModify, u"x"}, {kDelete, u"y"}, {kRenameOldName, u"x"}, {kRenameNewName, u"y"}};
    EXPECT_EQ(OutlineOf(output), expected);
}

TEST_F(ModificationMerge, ACreateIsNotMergedIntoTheModificationBeforeItEvenWhenItBecomesOne) {
    const StepRecordList output =
        Run({Change(kRenameOldName, u"x"), Change(kRenameNewName, u"y"), Change(kModify, u"x", 0x20),
             Change(kCreate, u"x", 0x21), Change(kModify, u"x", 0x22), Change(kDelete, u"y")});
    const Outline expected = {
        {kRenameOldName, u"x"}, {kRenameNewName, u"y"}, {kModify, u"x"}, {kModify, u"x"}, {kDelete, u"y"}};
    EXPECT_EQ(OutlineOf(output), expected);
    EXPECT_EQ(output[3].fileAttributes, 0x22u);
}

struct BrokenSave {
    const char* name;
    std::size_t index;  // of the record in the save that is changed
    StepRecord record;
};

TEST_F(ModificationMerge, ACreateStaysWhenOnePartOfTheSaveIsMissing) {
    const BrokenSave cases[] = {
        {"no modification", 0, Change(kCreate, u"z")},
        {"modification of another number", 0, Change(kModify, u"x", kFile, 8)},
        {"modification of another name", 0, Change(kModify, u"X")},
        {"renamed away with another number", 1, Change(kRenameOldName, u"x", kFile, 8)},
        {"renamed away from another name", 1, Change(kRenameOldName, u"z")},
        {"new name has another number", 2, Change(kRenameNewName, u"y", kFile, 8)},
        {"new name is not the deleted one", 2, Change(kRenameNewName, u"z")},
        {"not a rename's half", 2, Change(kRename, u"y")},
        {"deleted name is another", 4, Change(kDelete, u"Y")},
        {"not deleted", 4, Change(kModify, u"y")},
    };
    for (const BrokenSave& broken : cases) {
        SCOPED_TRACE(broken.name);
        StepRecordList list = SaveThatKeepsTheOldVersion();
        list[broken.index] = broken.record;
        EXPECT_EQ(Run(list), list);
    }
}

TEST_F(ModificationMerge, TheDeletionMustFollowTheFirstModification) {
    const StepRecordList list = {Change(kRenameOldName, u"x"), Change(kRenameNewName, u"y"), Change(kDelete, u"y"),
                                 Change(kModify, u"x"), Change(kCreate, u"x")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(ModificationMerge, TheNewNameMustFollowTheOldName) {
    const StepRecordList list = {Change(kModify, u"x"), Change(kRenameNewName, u"y"), Change(kRenameOldName, u"x"),
                                 Change(kCreate, u"x"), Change(kDelete, u"y")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(ModificationMerge, AnyLaterDeletionOfANameTheFileHadWillDo) {
    StepRecordList list = {Change(kDelete, u"y"),          Change(kModify, u"x"),
                           Change(kRenameOldName, u"x"),   Change(kRenameNewName, u"y"),
                           Change(kRenameNewName, u"z"),   Change(kCreate, u"x", kFile, 7),
                           Change(kDelete, u"z", kFile, 5)};
    StepRecordList expected = list;
    expected[5].reason = kModify;
    EXPECT_EQ(Run(list), expected);
}

}  // namespace
}  // namespace tavi::records
