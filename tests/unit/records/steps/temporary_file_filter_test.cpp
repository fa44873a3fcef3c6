#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

class TemporaryFileFilterTest : public StepTest {
protected:
    Outline Kept(StepRecordList records) { return OutlineOf(FilterTemporaryFiles(std::move(records), context)); }

    static constexpr std::uint32_t kHiddenFile = kFile | kHidden;
    static constexpr std::uint32_t kHiddenDirectory = kDirectory | kHidden;
};

TEST_F(TemporaryFileFilterTest, CreatedTemporaryFileYieldsARowAndNoRecord) {
    EXPECT_EQ(Kept({Change(kCreate, u"docs\\report.tmp")}), Outline{});
    EXPECT_EQ(temporaryFiles, (TemporaryFileList{{u"docs\\report.tmp", kFile, 0}}));
}

TEST_F(TemporaryFileFilterTest, CreatedOwnerFileYieldsNeitherRowNorRecord) {
    EXPECT_EQ(Kept({Change(kCreate, u"~$budget.xlsx")}), Outline{});
    EXPECT_EQ(temporaryFiles, TemporaryFileList{});
}

TEST_F(TemporaryFileFilterTest, DeletedOwnerFileYieldsOnlyTheExpansionWhichIsEmpty) {
    EXPECT_EQ(Kept({Change(kDelete, u"~$budget.xlsx"), Change(kDelete, u"plan.dwl")}), Outline{});
    EXPECT_EQ(temporaryFiles, TemporaryFileList{});
}

TEST_F(TemporaryFileFilterTest, EmptyListYieldsNothingAndClearsTheRowsOfBefore) {
    temporaryFiles = {{u"old.tmp", kFile, 0}};
    EXPECT_EQ(Kept({}), Outline{});
    EXPECT_EQ(temporaryFiles, TemporaryFileList{});
}

TEST_F(TemporaryFileFilterTest, VisibleRecordIsKeptUnlessItIsAContentChangeOfATemporaryFile) {
    for (const auto reason :
         {kUnknown, kNone, kCreate, kDelete, kModify, kMove, kRename, kRenameOldName, kRenameNewName}) {
        const bool content = reason == kCreate || reason == kDelete || reason == kModify;
        EXPECT_EQ(Kept({Change(reason, u"a.txt")}).size(), 1U) << ReasonName(reason);
        EXPECT_EQ(Kept({Change(reason, u"a.tmp")}).size(), content ? 0U : 1U) << ReasonName(reason);
        EXPECT_EQ(Kept({Change(reason, u"a.tmp", kDirectory)}).size(), 1U) << ReasonName(reason);
        EXPECT_EQ(Kept({Change(reason, u"a.tmp", kHiddenFile)}).size(), content ? 0U : 1U) << ReasonName(reason);
    }
}

TEST_F(TemporaryFileFilterTest, HiddenRecordIsKeptOnceAndAHiddenPlaceholderTwice) {
    world.placeholders = {u"p.txt", u"p"};
    EXPECT_EQ(Kept({Change(kModify, u"a.txt", kHiddenFile)}), (Outline{{kModify, u"a.txt"}}));
    EXPECT_EQ(Kept({Change(kModify, u"p.txt", kHiddenFile)}), (Outline{{kModify, u"p.txt"}, {kModify, u"p.txt"}}));
    EXPECT_EQ(Kept({Change(kCreate, u"p", kHiddenDirectory)}), (Outline{{kCreate, u"p"}, {kCreate, u"p"}}));
    EXPECT_EQ(Kept({Change(kModify, u"p.txt", kFile)}), (Outline{{kModify, u"p.txt"}}));
}

TEST_F(TemporaryFileFilterTest, HiddenPlaceholderIsKeptTwiceAlike) {
    world.placeholders = {u"p.txt"};
    const StepRecord record = Rename(u"p.txt", u"q.tmp", kHiddenFile, 12);
    EXPECT_EQ(FilterTemporaryFiles({record}, context), (StepRecordList{record, record}));
}

TEST_F(TemporaryFileFilterTest, PlaceholderQueryIsAskedOnlyWhereItDecides) {
    world.placeholders = {u"a.tmp", u"v.txt"};
    Kept({Change(kCreate, u"a.tmp", kHiddenFile), Change(kCreate, u"v.txt"), Change(kModify, u"d\\h.txt", kHiddenFile),
          Change(kModify, u"h.tmp", kHiddenDirectory)});
    EXPECT_EQ(world.asked, (std::vector<std::u16string>{u"d\\h.txt", u"h.tmp"}));
}

TEST_F(TemporaryFileFilterTest, HeldBackRecordKeepsTheMarkItWasStoredWith) {
    // isTempFile decides what is dropped, the name what is hidden noise; for held records they may differ.
    StepRecord marked = Change(kModify, u"a.txt");
    marked.isTempFile = true;
    StepRecord unmarked = Change(kModify, u"a.tmp");
    unmarked.isTempFile = false;
    EXPECT_EQ(Kept({marked, unmarked}), (Outline{{kModify, u"a.tmp"}}));
    marked.fileAttributes = kHiddenFile;
    EXPECT_EQ(Kept({marked}), (Outline{{kModify, u"a.txt"}})) << "the second test does not look at the mark";
    world.placeholders = {u"a.txt"};
    EXPECT_EQ(Kept({marked}), (Outline{{kModify, u"a.txt"}}));
}

TEST_F(TemporaryFileFilterTest, RowsAreRecordedWhetherTheRecordIsKeptOrNot) {
    Kept({Change(kRenameOldName, u"x.crdownload"), Change(kCreate, u"h", kHiddenDirectory), Change(kModify, u"m.tmp"),
          Change(kRenameNewName, u"a.DB.bak"), Change(kDelete, u"d.tmp")});
    EXPECT_EQ(temporaryFiles,
              (TemporaryFileList{{u"x.crdownload", kFile, 0}, {u"h", kHiddenDirectory, 0}, {u"a.DB.bak", kFile, 0}}));
}

TEST_F(TemporaryFileFilterTest, KeptRecordsStandInTheOrderOfTheInput) {
    EXPECT_EQ(Kept({Change(kCreate, u"c"), Change(kCreate, u"x.tmp"), Change(kModify, u"a", kHiddenFile),
                    Change(kRenameOldName, u"x.tmp"), Change(kDelete, u"b")}),
              (Outline{{kCreate, u"c"}, {kModify, u"a"}, {kRenameOldName, u"x.tmp"}, {kDelete, u"b"}}));
}

}  // namespace
}  // namespace tavi::records
