#include <gtest/gtest.h>

#include <cstdint>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class RenamePairing : public StepTest {
protected:
    StepRecordList Run(StepRecordList records) { return PairRenames(std::move(records), context); }
};

TEST_F(RenamePairing, EmptyListStaysEmpty) {
    EXPECT_TRUE(Run({}).empty());
}

TEST_F(RenamePairing, OtherKindsAreCopiedInOrder) {
    const StepRecordList list = {Change(kModify, u"c"), Change(kCreate, u"a"), Change(kDelete, u"b"),
                                 Change(kMove, u"d"),   Rename(u"e", u"f"),    Change(kNone, u"g"),
                                 Change(kUnknown, u"h")};
    EXPECT_EQ(Run(list), list);
}

TEST_F(RenamePairing, APairTakesEverythingButTheOldNameFromItsSecondHalf) {
    StepRecord newName = At(1015, Change(kRenameNewName, u"b.tmp", 0x24, 8));
    newName.delayCount = 2;
    newName.oldfrn = 99;
    newName.originalFileName = std::u16string(u"odd");
    StepRecord expected = newName;
    expected.reason = kRename;
    expected.originalFileName = std::u16string(u"~$a.docx");
    expected.originalNameClass = Rules().Classify(u"~$a.docx");
    expected.oldfrn = kNoFrn;
    EXPECT_EQ(Run({At(1000, Change(kRenameOldName, u"~$a.docx", 0x22, 7)), newName}), StepRecordList{expected});
}

struct Halves {
    const char* name;
    std::int64_t oldTime;
    std::int64_t newTime;
    FileChangeReason nextKind;
    std::uint64_t nextFrn;
    bool arePair;
};

TEST_F(RenamePairing, HalvesPairWhenCloseInTimeOrOfOneNumber) {
    const Halves cases[] = {
        {"same time", 1000, 1000, kRenameNewName, 8, true},
        {"15 later", 1000, 1015, kRenameNewName, 8, true},
        {"16 later", 1000, 1016, kRenameNewName, 8, false},
        {"20 later", 1000, 1020, kRenameNewName, 8, false},
        {"1 earlier is far away", 1000, 999, kRenameNewName, 8, false},
        {"the difference wraps", INT64_MAX, INT64_MIN, kRenameNewName, 8, true},
        {"same number, 20 later", 1000, 1020, kRenameNewName, 7, true},
        {"same number, earlier", 1000, 900, kRenameNewName, 7, true},
        {"same number, another kind", 1000, 5000, kModify, 7, true},
        {"same number, another old name", 1000, 5000, kRenameOldName, 7, true},
        {"another kind, close in time", 1000, 1001, kModify, 8, false},
    };
    for (const Halves& halves : cases) {
        SCOPED_TRACE(halves.name);
        const StepRecordList output =
            Run({At(halves.oldTime, Change(kRenameOldName, u"a.txt", kFile, 7)),
                 At(halves.newTime, Change(halves.nextKind, u"b.txt", kFile, halves.nextFrn))});
        if (halves.arePair) {
            ASSERT_EQ(output.size(), 1u);
            EXPECT_EQ(output[0], At(halves.newTime, Rename(u"b.txt", u"a.txt", kFile, halves.nextFrn)));
        } else {
            ASSERT_EQ(output.size(), 2u);
            EXPECT_EQ(output[0], At(halves.oldTime, Change(kDelete, u"a.txt", kFile, 7)));
        }
    }
}

TEST_F(RenamePairing, HalvesFarApartInTimeAreADeletionAndAnArrival) {
    const Outline expected = {{kDelete, u"a.txt"}, {kCreate, u"b.txt"}};
    EXPECT_EQ(OutlineOf(Run({At(1000, Change(kRenameOldName, u"a.txt", kFile, 7)),
                             At(1020, Change(kRenameNewName, u"b.txt", kFile, 8))})),
              expected);
}

TEST_F(RenamePairing, HalvesFarApartInTimeWithTheSameNumberAreARename) {
    EXPECT_EQ(Run({At(1000, Change(kRenameOldName, u"a.txt")), At(1020, Change(kRenameNewName, u"b.txt"))}),
              StepRecordList{At(1020, Rename(u"b.txt", u"a.txt"))});
}

TEST_F(RenamePairing, AnOldNameThatIsTheLastRecordBecomesADeletion) {
    EXPECT_EQ(Run({Change(kRenameOldName, u"a.txt")}), StepRecordList{Change(kDelete, u"a.txt")});
}

TEST_F(RenamePairing, AConsumedRecordIsNotLookedAtAgain) {
    // The second old name is consumed by the first; the new name that follows is on its own.
    const Outline expected = {{kRename, u"b"}, {kCreate, u"c"}};
    EXPECT_EQ(
        OutlineOf(Run({Change(kRenameOldName, u"a"), Change(kRenameOldName, u"b"), Change(kRenameNewName, u"c")})),
        expected);
}

TEST_F(RenamePairing, AFileThatMovedInIsACreation) {
    EXPECT_EQ(Run({Change(kRenameNewName, u"a.txt")}), StepRecordList{Change(kCreate, u"a.txt")});
}

TEST_F(RenamePairing, ADirectoryThatWasDeletedInTheBatchAndComesBackIsAMove) {
    const StepRecord arrival = Change(kRenameNewName, u"d", kDirectory, 8);
    const Outline expected = {{kDelete, u"d"}, {kMove, u"d"}};
    EXPECT_EQ(OutlineOf(Run({Change(kDelete, u"d", kDirectory), arrival})), expected);
    EXPECT_EQ(OutlineOf(Run({At(1, Change(kRenameOldName, u"d", kDirectory)), At(100, arrival)})), expected)
        << "a directory that left counts as deleted";
}

TEST_F(RenamePairing, AMoveKeepsEveryFieldOfItsArrivalButTheKind) {
    StepRecord arrival = At(100, Change(kRenameNewName, u"d", kDirectory, 8));
    arrival.oldfrn = 4;
    StepRecord moved = arrival;
    moved.reason = kMove;
    const StepRecord deletion = Change(kDelete, u"d", kDirectory);
    EXPECT_EQ(Run({deletion, arrival}), (StepRecordList{deletion, moved}));
}

struct NoMove {
    const char* name;
    StepRecordList before;
};

TEST_F(RenamePairing, ADirectoryIsACreationWhenItsMoveConditionFails) {
    StepRecord heldBack = Change(kDelete, u"d", kDirectory);
    heldBack.delayCount = 1;
    const NoMove cases[] = {
        {"nothing before it", {}},
        {"another directory was deleted", {Change(kDelete, u"D", kDirectory)}},
        {"a file of its name was deleted", {Change(kDelete, u"d", kFile)}},
        {"the directory was not deleted", {Change(kModify, u"d", kDirectory)}},
        {"the last record was held back", {heldBack}},
        {"the last record before it was held back", {Change(kDelete, u"d", kDirectory), heldBack}},
    };
    for (const NoMove& noMove : cases) {
        SCOPED_TRACE(noMove.name);
        StepRecordList list = noMove.before;
        list.push_back(Change(kRenameNewName, u"d", kDirectory, 8));
        EXPECT_EQ(Run(list).back(), Change(kCreate, u"d", kDirectory, 8));
    }
}

TEST_F(RenamePairing, ADirectoryIsAMoveWhenALaterRecordThanItsDeletionWasNotHeldBack) {
    StepRecord heldBack = Change(kDelete, u"d", kDirectory);
    heldBack.delayCount = 1;
    EXPECT_EQ(Run({heldBack, Change(kModify, u"a"), Change(kRenameNewName, u"d", kDirectory, 8)}).back().reason, kMove);
}

TEST_F(RenamePairing, AMovedDirectoryIsNotListed) {
    world.listings[u"C:\\Sync\\d"] = {u"C:\\Sync\\d\\a"};
    EXPECT_EQ(Run({Change(kDelete, u"d", kDirectory), Change(kRenameNewName, u"d", kDirectory, 8)}).size(), 2u);
}

}  // namespace
}  // namespace tavi::records
