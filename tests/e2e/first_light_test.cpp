// A changed file becomes a row in the client's database, through the shipped executable.
#include <windows.h>

#include "e2e/scenario.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

using testing::ElementsAre;

class FirstLight : public Scenario {};

TEST_F(FirstLight, CreatedModifiedRenamedAndDeletedFilesBecomeRows) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"created.txt")));
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"modified.txt")));
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"old name.txt")));
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"deleted.txt")));
    const std::vector<std::string> created = {"create created.txt", "create modified.txt", "create old name.txt",
                                              "create deleted.txt"};
    ASSERT_EQ(WaitForChanges(created), created);

    ASSERT_TRUE(files().AppendText(Path(L"modified.txt"), "text"));
    ASSERT_TRUE(files().Rename(Path(L"old name.txt"), Path(L"new name.txt")));
    ASSERT_TRUE(files().Delete(Path(L"deleted.txt")));
    std::vector<std::string> all = created;
    all.insert(all.end(), {"modify modified.txt", "rename new name.txt from old name.txt", "delete deleted.txt"});
    EXPECT_EQ(WaitForChanges(all), all);
}

TEST_F(FirstLight, PathsBelowDirectoriesAreRelativeToTheListenedFolder) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(files().MakeDirectory(Path(L"a")));
    ASSERT_TRUE(files().MakeDirectory(Path(L"a\\b")));
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"a\\b\\c.txt")));
    ASSERT_TRUE(files().CreateEmptyFile(root_ + L"\\outside.txt"));
    const std::vector<std::string> expected = {"create a", "create a\\b", "create a\\b\\c.txt"};
    EXPECT_EQ(WaitForChanges(expected), expected);
}

TEST_F(FirstLight, EveryChangeBeforeAndAfterAKillInABurstIsInTheTable) {
    ASSERT_EQ(Start(), 4);
    constexpr int kFiles = 10000;
    constexpr int kPerBatch = 500;
    for (int i = 0; i < kFiles; i += kPerBatch) {
        files().Batch([&] {
            for (int j = i; j < i + kPerBatch; ++j) {
                ASSERT_TRUE(files().CreateEmptyFile(Path(L"burst" + std::to_wstring(j))));
            }
        });
        if (i == kFiles / 2) {
            ASSERT_TRUE(KillService());
        }
    }
    ASSERT_TRUE(StartInstalledService());
    ASSERT_EQ(Start(), 0);
    ASSERT_TRUE(WaitUntilCaughtUp());
    EXPECT_EQ(database().Count("(SELECT DISTINCT relativePath FROM fileChangeRecord WHERE relativePath LIKE 'burst%')"),
              kFiles);
    EXPECT_EQ(database().Count("fileChangeRecord WHERE reason <> 1"), 0);
}

}  // namespace
}  // namespace tavi::e2e
