// What programs do to files in one go, and the rows that remain of it.
#include <windows.h>

#include "e2e/scenario.h"

namespace tavi::e2e {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// All that one test does lands in one batch: a second of quiet closes it.
class Merging : public Scenario {
protected:
    void SetUp() override {
        Scenario::SetUp();
        splitIntervalSeconds_ = 1;
    }

    // What was done before is no news: a first login begins at the journal's end.
    void Begin() { ASSERT_EQ(Start(), 4); }
};

TEST_F(Merging, OfficeSaveLeavesOneModification) {
    ASSERT_TRUE(files().CreateFileWithText(Path(L"report.docx"), "old"));
    Begin();
    files().Batch([this] {
        ASSERT_TRUE(files().CreateFileWithText(Path(L"~WRD0001.tmp"), "new"));
        ASSERT_TRUE(files().Rename(Path(L"report.docx"), Path(L"~WRL0002.tmp")));
        ASSERT_TRUE(files().Rename(Path(L"~WRD0001.tmp"), Path(L"report.docx")));
        ASSERT_TRUE(files().Delete(Path(L"~WRL0002.tmp")));
    });
    EXPECT_THAT(WaitForChanges({"modify report.docx"}), ElementsAre("modify report.docx"));
    EXPECT_THAT(database().TemporaryFiles(), UnorderedElementsAre("~WRD0001.tmp", "~WRL0002.tmp"));
}

TEST_F(Merging, SaveThroughATemporaryFileLeavesOneModification) {
    ASSERT_TRUE(files().CreateFileWithText(Path(L"letter.txt"), "old"));
    Begin();
    files().Batch([this] {
        ASSERT_TRUE(files().CreateFileWithText(Path(L"letter.tmp"), "new"));
        ASSERT_TRUE(files().Delete(Path(L"letter.txt")));
        ASSERT_TRUE(files().Rename(Path(L"letter.tmp"), Path(L"letter.txt")));
    });
    EXPECT_THAT(WaitForChanges({"modify letter.txt"}), ElementsAre("modify letter.txt"));
}

TEST_F(Merging, RenameAndMoveInOneGoIsAMove) {
    ASSERT_TRUE(files().MakeDirectory(Path(L"docs")));
    ASSERT_TRUE(files().CreateFileWithText(Path(L"docs\\a.txt"), "text"));
    Begin();
    ASSERT_TRUE(files().Rename(Path(L"docs\\a.txt"), Path(L"b.txt")));
    EXPECT_THAT(WaitForChanges({"move b.txt from docs\\a.txt"}), ElementsAre("move b.txt from docs\\a.txt"));
}

TEST_F(Merging, DirectoryMovedInFromOutsideBringsItsContents) {
    const std::wstring outside = root_ + L"\\Outside";
    ASSERT_TRUE(files().MakeDirectory(outside));
    ASSERT_TRUE(files().MakeDirectory(outside + L"\\sub"));
    ASSERT_TRUE(files().CreateFileWithText(outside + L"\\sub\\x.txt", "x"));
    ASSERT_TRUE(files().CreateFileWithText(outside + L"\\y.txt", "y"));
    Begin();
    ASSERT_TRUE(files().Rename(outside, Path(L"in")));
    WaitForChanges({"create in", "create in\\sub", "create in\\sub\\x.txt", "create in\\y.txt"});
    EXPECT_THAT(Words(database().Changes()),
                UnorderedElementsAre("create in", "create in\\sub", "create in\\sub\\x.txt", "create in\\y.txt"));
    EXPECT_EQ(Words(database().Changes().front()), "create in");
}

TEST_F(Merging, DownloadUnderATemporaryNameIsReportedUnderItsOwn) {
    Begin();
    files().Batch([this] {
        ASSERT_TRUE(files().CreateFileWithText(Path(L"film.mp4.crdownload"), "pictures"));
        ASSERT_TRUE(files().Rename(Path(L"film.mp4.crdownload"), Path(L"film.mp4")));
    });
    EXPECT_THAT(WaitForChanges({"modify film.mp4"}), ElementsAre("modify film.mp4"));
    EXPECT_THAT(database().TemporaryFiles(), ElementsAre("film.mp4.crdownload"));
}

TEST_F(Merging, ReleaseOfAPlaceholderIsNoChange) {
    if (!emulated()) {
        GTEST_SKIP() << "needs a sync root that releases a placeholder";
    }
    ASSERT_TRUE(files().CreateFileWithText(Path(L"cloud.bin"), "data"));
    Begin();
    files().Batch([this] {
        for (const std::uint32_t reason : {0x80000000u, 0x8000u, 0x108000u, 0x108001u, 0x80108001u}) {
            ASSERT_TRUE(files().Record(Path(L"cloud.bin"), FILE_ATTRIBUTE_ARCHIVE, reason));
        }
        ASSERT_TRUE(files().CreateEmptyFile(Path(L"marker.txt")));
    });
    EXPECT_THAT(WaitForChanges({"create marker.txt"}), ElementsAre("create marker.txt"));
}

}  // namespace
}  // namespace tavi::e2e
