#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class SpecialRenameCheckTest : public StepTest {};

TEST_F(SpecialRenameCheckTest, RenameAwayAndCreationAnewBecomesAModification) {
    const StepRecord rename = Rename(u"model.tmp", u"model.mlx", kFile, 31);
    const StepRecord creation = Change(kCreate, u"model.mlx", kFile, 32);
    StepRecord modification = creation;
    modification.reason = kModify;
    modification.oldfrn = 31;
    EXPECT_EQ(CheckSpecialRenames({rename, creation}, context), (StepRecordList{rename, modification}));
    EXPECT_TRUE(delayRecords.empty());
}

TEST_F(SpecialRenameCheckTest, EmptyListStaysEmpty) {
    EXPECT_TRUE(CheckSpecialRenames({}, context).empty());
}

TEST_F(SpecialRenameCheckTest, RenameWithoutALaterCreationIsHeldToo) {
    StepRecord rename = Rename(u"model.tmp", u"model.mlx");
    rename.delayCount = 4;
    const StepRecordList records = {Change(kCreate, u"model.mlx"), rename, Change(kModify, u"model.mlx"),
                                    Change(kCreate, u"Model.mlx")};
    EXPECT_EQ(CheckSpecialRenames(records, context), records);
    EXPECT_EQ(delayRecords, FileChangeInfoList{rename});
}

TEST_F(SpecialRenameCheckTest, OtherRenamesAreNeitherHeldNorJoined) {
    StepRecord notARename = Rename(u"model.tmp", u"model.mlx");
    notARename.reason = kMove;
    const StepRecord rows[] = {
        Rename(u"model.txt", u"model.mlx"),
        Rename(u"model.tmp", u"model.m"),
        Rename(u"model.tmp", u"model.mlx", kDirectory),
        notARename,
    };
    for (const StepRecord& row : rows) {
        const StepRecordList records = {row, Change(kCreate, u"model.mlx"), Change(kCreate, u"model.m")};
        EXPECT_EQ(CheckSpecialRenames(records, context), records) << testing::PrintToString(row);
    }
    EXPECT_TRUE(delayRecords.empty());
}

TEST_F(SpecialRenameCheckTest, BothMatlabExtensionsCountWhateverTheirCase) {
    const StepRecordList joined = CheckSpecialRenames({Rename(u"a.tmp", u"a.MLAPP"), Change(kCreate, u"a.MLAPP"),
                                                       Rename(u"b.tmp", u"b.Mlx"), Change(kCreate, u"b.Mlx")},
                                                      context);
    EXPECT_EQ(joined[1].reason, kModify);
    EXPECT_EQ(joined[3].reason, kModify);
}

TEST_F(SpecialRenameCheckTest, NearestLaterCreationIsJoinedAndStaysForEarlierRenames) {
    const StepRecordList records =
        CheckSpecialRenames({Rename(u"x.tmp", u"a.mlx", kFile, 1), Rename(u"y.tmp", u"a.mlx", kFile, 2),
                             Change(kCreate, u"a.mlx"), Change(kCreate, u"a.mlx")},
                            context);
    EXPECT_EQ(records[2].reason, kModify);
    EXPECT_EQ(records[2].oldfrn, 1U) << "the walk is backward: the first rename writes last";
    EXPECT_EQ(records[3].reason, kCreate);
    EXPECT_TRUE(delayRecords.empty());
}

TEST_F(SpecialRenameCheckTest, HeldCopiesStandInTheOrderOfTheBackwardWalkBehindWhatWasHeld) {
    const StepRecord before = Change(kModify, u"before");
    delayRecords = {before};
    const StepRecordList records = {Rename(u"x.tmp", u"a.mlx"), Rename(u"y.tmp", u"b.mlx")};
    EXPECT_EQ(CheckSpecialRenames(records, context), records);
    EXPECT_EQ(delayRecords, (FileChangeInfoList{before, records[1], records[0]}));
}

TEST_F(SpecialRenameCheckTest, CreatedDirectoryWithAMatlabNameCountsAsACreation) {
    const StepRecordList records =
        CheckSpecialRenames({Rename(u"x.tmp", u"a.mlx"), Change(kCreate, u"a.mlx", kDirectory)}, context);
    EXPECT_EQ(records[1].reason, kModify);
}

}  // namespace
}  // namespace tavi::records
