#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class BatchMergeTest : public StepTest {
protected:
    StepRecordList Run(StepRecordList records) { return MergeBatch(std::move(records), context); }

    static StepRecord HeldBack(StepRecord record) {
        record.delayCount = 1;
        return record;
    }
    // What follows the rename of a file that was then modified.
    static StepRecord ModificationOf(const StepRecord& rename) {
        return At(rename.timestamp, Change(kModify, rename.fileName, rename.fileAttributes, rename.frn));
    }
};

struct Case {
    const char* name;
    StepRecordList input;
    StepRecordList expected;
};

void ExpectEach(const std::vector<Case>& cases, StepContext& context) {
    for (const Case& example : cases) {
        SCOPED_TRACE(example.name);
        EXPECT_EQ(MergeBatch(example.input, context), example.expected);
    }
}

TEST_F(BatchMergeTest, EmptyListStaysEmpty) {
    EXPECT_TRUE(Run({}).empty());
}

TEST_F(BatchMergeTest, CreateModifyDeleteOfOneFileLeavesNothing) {
    EXPECT_TRUE(Run({Change(kCreate, u"x"), Change(kModify, u"x"), Change(kDelete, u"x")}).empty());
}

TEST_F(BatchMergeTest, DeleteThenCreateIsOneModification) {
    EXPECT_EQ(Run({Change(kDelete, u"x", kFile, 1), Change(kCreate, u"x", kFile, 2)}),
              StepRecordList{Change(kModify, u"x", kFile, 2)});
}

TEST_F(BatchMergeTest, RenameThenModifyStaysARenameFollowedByAModification) {
    const StepRecord rename = At(500, Rename(u"b", u"a", 0x24, 3));
    const StepRecordList expected = {rename, ModificationOf(rename)};
    EXPECT_EQ(Run({rename, At(600, Change(kModify, u"b", 0x25, 4))}), expected);
    EXPECT_EQ(Run({rename, Change(kModify, u"b"), Change(kModify, u"b")}), expected) << "twice is once";
}

TEST_F(BatchMergeTest, TheModificationAfterARenameTakesNoneOfTheRenamesFlags) {
    StepRecord rename = At(500, Rename(u"b", u"a", 0x24, 3));
    rename.isTempFile = true;
    rename.delayCount = 2;
    rename.oldfrn = 9;
    EXPECT_EQ(Run({rename, Change(kModify, u"b")}), (StepRecordList{rename, ModificationOf(rename)}));
}

TEST_F(BatchMergeTest, RenameThenDeleteIsADeletionOfTheOldName) {
    EXPECT_EQ(Run({Rename(u"b", u"a"), At(900, Change(kDelete, u"b", kFile, 5))}),
              StepRecordList{At(900, Change(kDelete, u"a", kFile, 5))});
}

TEST_F(BatchMergeTest, Creations) {
    ExpectEach({{"a name not seen before", {Change(kCreate, u"x")}, {Change(kCreate, u"x")}},
                {"another name",
                 {Change(kDelete, u"X"), Change(kCreate, u"x")},
                 {Change(kDelete, u"X"), Change(kCreate, u"x")}},
                {"a deletion that was held back does not take part",
                 {HeldBack(Change(kDelete, u"x")), Change(kCreate, u"x")},
                 {HeldBack(Change(kDelete, u"x")), Change(kCreate, u"x")}},
                {"after a modification",
                 {Change(kModify, u"x"), Change(kCreate, u"x")},
                 {Change(kModify, u"x"), Change(kCreate, u"x")}},
                {"it stands for the name then",
                 {Change(kModify, u"x"), Change(kCreate, u"x"), Change(kDelete, u"x")},
                 {Change(kModify, u"x")}},
                {"also as a modification",
                 {Change(kDelete, u"x"), Change(kCreate, u"x"), Change(kDelete, u"x")},
                 {Change(kDelete, u"x")}}},
               context);
}

TEST_F(BatchMergeTest, Deletions) {
    ExpectEach({{"a name not seen before", {Change(kDelete, u"x")}, {Change(kDelete, u"x")}},
                {"of a created file, and its name is free again",
                 {Change(kCreate, u"x"), Change(kDelete, u"x"), Change(kDelete, u"x")},
                 {Change(kDelete, u"x")}},
                {"of a modified file",
                 {Change(kModify, u"x"), Change(kDelete, u"x", kFile, 5)},
                 {Change(kDelete, u"x", kFile, 5)}},
                {"of a deleted file: nothing changes, and the first stands",
                 {HeldBack(Change(kDelete, u"x")), Change(kDelete, u"x"), Change(kCreate, u"x")},
                 {HeldBack(Change(kDelete, u"x")), Change(kDelete, u"x"), Change(kCreate, u"x")}},
                {"of a renamed and modified file",
                 {Rename(u"b", u"a"), Change(kModify, u"b"), Change(kDelete, u"b")},
                 {Change(kDelete, u"a")}},
                {"under the old name it stands for that name",
                 {Rename(u"b", u"a"), Change(kDelete, u"b"), Change(kCreate, u"a")},
                 {Change(kModify, u"a")}},
                {"the new name still stands for the rename that is gone",
                 {Rename(u"b", u"a"), Change(kDelete, u"b"), Change(kModify, u"b")},
                 {Change(kDelete, u"a")}}},
               context);
}

TEST_F(BatchMergeTest, Modifications) {
    ExpectEach({{"a name not seen before", {Change(kModify, u"x")}, {Change(kModify, u"x")}},
                {"of a created file", {Change(kCreate, u"x"), Change(kModify, u"x")}, {Change(kCreate, u"x")}},
                {"of a modified file",
                 {Change(kModify, u"x", 0x20), Change(kModify, u"x", 0x21)},
                 {Change(kModify, u"x", 0x20)}},
                {"of a deleted file: nothing changes, and the deletion stands",
                 {Change(kDelete, u"x"), Change(kModify, u"x"), Change(kCreate, u"x")},
                 {Change(kModify, u"x"), Change(kModify, u"x")}},
                {"of a file renamed away",
                 {Rename(u"b", u"a"), Change(kModify, u"a")},
                 {Rename(u"b", u"a"), Change(kModify, u"a")}}},
               context);
}

TEST_F(BatchMergeTest, ARenameStandsForItsNewName) {
    const StepRecord second = Rename(u"b", u"c", kFile, 5);
    EXPECT_EQ(Run({Change(kCreate, u"b"), second, Change(kModify, u"b")}),
              (StepRecordList{Change(kCreate, u"b"), second, ModificationOf(second)}));
}

TEST_F(BatchMergeTest, OtherKindsStandForNothingAndStay) {
    for (const FileChangeReason kind : {kMove, kRenameOldName, kRenameNewName, kNone, kUnknown}) {
        const StepRecordList list = {Change(kind, u"x"), Change(kModify, u"x"), Change(kind, u"x")};
        EXPECT_EQ(Run(list), list);
    }
}

TEST_F(BatchMergeTest, TheOrderOfWhatIsLeftIsTheInputs) {
    const StepRecord rename = Rename(u"b", u"a");
    const StepRecordList expected = {Change(kCreate, u"z"), rename, ModificationOf(rename), Change(kMove, u"m"),
                                     Change(kDelete, u"c")};
    EXPECT_EQ(Run({Change(kCreate, u"z"), Change(kModify, u"c"), rename, Change(kMove, u"m"), Change(kDelete, u"c"),
                   Change(kModify, u"b")}),
              expected);
}

}  // namespace
}  // namespace tavi::records
