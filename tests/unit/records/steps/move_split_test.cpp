#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class MoveSplit : public StepTest {
protected:
    StepRecordList Run(StepRecordList records) { return SplitMoves(std::move(records), context); }
    FileChangeReason KindOf(std::u16string name, std::u16string originalName) {
        return Run({Rename(std::move(name), std::move(originalName))})[0].reason;
    }
};

TEST_F(MoveSplit, EmptyListStaysEmpty) {
    EXPECT_TRUE(Run({}).empty());
}

TEST_F(MoveSplit, ARenameWithinOneDirectoryStaysARename) {
    EXPECT_EQ(KindOf(u"docs\\b.txt", u"docs\\a.txt"), kRename);
    EXPECT_EQ(KindOf(u"b.txt", u"a.txt"), kRename);
    EXPECT_EQ(KindOf(u"d\\e\\b", u"d\\e\\a"), kRename);
}

TEST_F(MoveSplit, ARenameToTheListenedFolderItselfIsAMove) {
    EXPECT_EQ(KindOf(u"a.txt", u"docs\\a.txt"), kMove);
}

TEST_F(MoveSplit, AChangeOfDirectoryIsAMoveWhateverTheLastComponent) {
    EXPECT_EQ(KindOf(u"docs\\a.txt", u"a.txt"), kMove);
    EXPECT_EQ(KindOf(u"d\\b.txt", u"e\\a.txt"), kMove);
    EXPECT_EQ(KindOf(u"d\\a.txt", u"d\\e\\a.txt"), kMove);
}

TEST_F(MoveSplit, DirectoriesAreComparedExactly) {
    EXPECT_EQ(KindOf(u"Docs\\a.txt", u"docs\\a.txt"), kMove);
    EXPECT_EQ(KindOf(u"\\a", u"b"), kRename) << "both directory parts are empty";
}

TEST_F(MoveSplit, OnlyTheKindChangesAndOnlyOfRenames) {
    StepRecord other = Change(kModify, u"d\\x");
    other.originalFileName = std::u16string(u"x");
    StepRecord moved = Rename(u"d\\a", u"a");
    const StepRecordList output = Run({other, moved, Rename(u"b", u"c")});
    moved.reason = kMove;
    EXPECT_EQ(output, (StepRecordList{other, moved, Rename(u"b", u"c")}));
}

}  // namespace
}  // namespace tavi::records
