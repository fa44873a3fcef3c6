#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class SpecialDeletionCheckTest : public StepTest {
protected:
    Outline Kept(StepRecordList records) { return OutlineOf(CheckSpecialDeletions(std::move(records), context)); }

    // DELETE of plan.dwg, then a rename oldName -> plan.dwg whose halves are `elapsed` apart.
    bool DeletionKept(std::u16string oldName, std::int64_t elapsed, std::u16string deleted = u"plan.dwg") {
        return Kept({Change(kDelete, deleted), At(500, Change(kRenameOldName, std::move(oldName))),
                     At(500 + elapsed, Change(kRenameNewName, deleted))})
                   .size() == 3;
    }
};

TEST_F(SpecialDeletionCheckTest, DeletionFollowedByAModificationIsDropped) {
    EXPECT_EQ(Kept({Change(kDelete, u"plan.dwg"), Change(kModify, u"plan.dwg")}), (Outline{{kModify, u"plan.dwg"}}));
}

TEST_F(SpecialDeletionCheckTest, DeletionFollowedByACreationIsKept) {
    EXPECT_EQ(Kept({Change(kDelete, u"plan.dwg"), Change(kCreate, u"plan.dwg")}).size(), 2U);
}

TEST_F(SpecialDeletionCheckTest, DeletionWithNothingAfterItIsKept) {
    EXPECT_EQ(Kept({Change(kModify, u"plan.dwg"), Change(kDelete, u"plan.dwg"), Change(kModify, u"Plan.dwg")}).size(),
              3U);
}

TEST_F(SpecialDeletionCheckTest, EmptyListStaysEmpty) {
    EXPECT_EQ(Kept({}), Outline{});
}

TEST_F(SpecialDeletionCheckTest, OnlyDeletionsOfDocumentsAreDropped) {
    EXPECT_EQ(Kept({Change(kDelete, u"a.cpp"), Change(kModify, u"a.cpp")}).size(), 2U);
    EXPECT_EQ(Kept({Change(kDelete, u"A.TXT"), Change(kModify, u"A.TXT")}).size(), 1U);
    EXPECT_EQ(Kept({Change(kModify, u"a.txt"), Change(kModify, u"a.txt")}).size(), 2U);
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt", kDirectory), Change(kModify, u"a.txt")}).size(), 1U);
}

TEST_F(SpecialDeletionCheckTest, EveryOtherKindAfterItSupersedesADeletion) {
    for (const auto reason : {kUnknown, kNone, kDelete, kModify, kMove, kRename, kRenameOldName}) {
        EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(reason, u"a.txt")}).size(), 1U) << ReasonName(reason);
    }
}

TEST_F(SpecialDeletionCheckTest, NearestLaterRecordDecides) {
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(kCreate, u"a.txt"), Change(kModify, u"a.txt")}).size(), 3U);
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(kModify, u"a.txt"), Change(kCreate, u"a.txt")}).size(), 2U);
    // The dropped deletion is itself the nearest later record of the one before it.
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(kDelete, u"a.txt"), Change(kModify, u"a.txt")}).size(), 1U);
}

TEST_F(SpecialDeletionCheckTest, DeletionBeforeAQuickRenameToItsNameIsDropped) {
    EXPECT_FALSE(DeletionKept(u"new.dwg", 0)) << "another file takes the name: a save";
    EXPECT_FALSE(DeletionKept(u"new.dwg", 2));
    EXPECT_TRUE(DeletionKept(u"new.dwg", 3)) << "too slow for a save";
    EXPECT_TRUE(DeletionKept(u"new.dwg", -1)) << "the difference is unsigned";
}

TEST_F(SpecialDeletionCheckTest, QuickRenameKeepsNoDeletionWhereverItsOldNameWas) {
    // A save by rename would need the deleted name as the old name and, under it, another last component.
    EXPECT_FALSE(DeletionKept(u"plan.dwg", 0));
    EXPECT_FALSE(DeletionKept(u"other\\plan.dwg", 0));
    EXPECT_FALSE(DeletionKept(u"other\\plan.bak", 0));
}

TEST_F(SpecialDeletionCheckTest, NewNameWithoutItsOldNameBeforeItKeepsTheDeletion) {
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(kRenameNewName, u"a.txt")}).size(), 2U);
    EXPECT_EQ(Kept({Change(kDelete, u"a.txt"), Change(kRenameOldName, u"b.txt"), Change(kModify, u"c.txt"),
                    Change(kRenameNewName, u"a.txt")})
                  .size(),
              4U);
}

TEST_F(SpecialDeletionCheckTest, KeptRecordsStandInTheOrderOfTheInput) {
    EXPECT_EQ(Kept({Change(kCreate, u"z"), Change(kDelete, u"a.txt"), Change(kModify, u"b"), Change(kModify, u"a.txt"),
                    Change(kDelete, u"a.txt")}),
              (Outline{{kCreate, u"z"}, {kModify, u"b"}, {kModify, u"a.txt"}, {kDelete, u"a.txt"}}));
}

}  // namespace
}  // namespace tavi::records
