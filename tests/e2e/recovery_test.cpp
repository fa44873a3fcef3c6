// What a start request finds and what it replies, from first login to a lost position.
#include <windows.h>

#include "e2e/scenario.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

class Recovery : public Scenario {};

TEST_F(Recovery, FirstLoginAnswers4AndTheNextStart0) {
    EXPECT_EQ(Start(), 4);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(Finish(), 6);
    EXPECT_EQ(Start(), 0);
}

TEST_F(Recovery, AnotherFolderAnswers0WithoutATaskAnd3WithOne) {
    const std::wstring other = root_ + L"\\Other";
    ASSERT_EQ(Start(), 4);
    ASSERT_EQ(Finish(), 6);
    EXPECT_EQ(Start(other), 0);
    ASSERT_TRUE(WaitForStatus(2));  // only then it is the current task
    EXPECT_EQ(Start(), 3);
}

TEST_F(Recovery, StatusAnswers0WithoutATaskAnd2WithOne) {
    EXPECT_EQ(Status(), 0);
    ASSERT_EQ(Start(), 4);
    EXPECT_TRUE(WaitForStatus(2));
    ASSERT_EQ(Finish(), 6);
    EXPECT_EQ(Status(), 0);
}

TEST_F(Recovery, FinishWithoutATaskAnswers6) {
    EXPECT_EQ(Finish(), 6);
}

TEST_F(Recovery, ImpossibleFolderAnswers5) {
    EXPECT_EQ(Start(L"no drive at all"), 5);
    EXPECT_EQ(Status(), 0);
}

TEST_F(Recovery, DeletedJournalIsCreatedAgainAndAnswers1) {
    if (!emulated()) {
        GTEST_SKIP() << "deleting the machine's own journal is left to a volume of the test's own";
    }
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(WaitForStatus(2));
    store().Update([](sim::EmulatedJournal& journal) { journal.Delete(); });
    EXPECT_EQ(Status(), 1);
    ASSERT_EQ(Finish(), 6);
    EXPECT_EQ(Start(), 1);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"after.txt")));
    const std::vector<std::string> expected = {"create after.txt"};
    EXPECT_EQ(WaitForChanges(expected), expected);
}

TEST_F(Recovery, PositionThatTheJournalNoLongerHoldsAnswers2) {
    if (!emulated()) {
        GTEST_SKIP() << "trimming the machine's own journal is left to a volume of the test's own";
    }
    ASSERT_EQ(Start(), 4);
    ASSERT_EQ(Finish(), 6);
    files().Batch([&] {
        for (int i = 0; i < 200; ++i) {
            ASSERT_TRUE(files().CreateEmptyFile(Path(L"lost" + std::to_wstring(i))));
        }
    });
    store().Update([](sim::EmulatedJournal& journal) { journal.TrimTo(journal.nextUsn()); });
    EXPECT_EQ(Start(), 2);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"after.txt")));
    const std::vector<std::string> expected = {"create after.txt"};
    EXPECT_EQ(WaitForChanges(expected), expected);
}

// This program is the other process.
TEST_F(Recovery, ADatabaseThatAnotherProcessLocksForThreeSecondsHoldsEveryChangeAfterwards) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(WaitForStatus(2));
    constexpr DWORD kLockedFor = 3000;
    {
        const DatabaseLock lock(database());
        ASSERT_TRUE(lock.held());
        ASSERT_TRUE(files().CreateEmptyFile(Path(L"while locked.txt")));
        Sleep(kLockedFor);
        EXPECT_EQ(database().Changes().size(), 0U);
    }
    const std::vector<std::string> expected = {"create while locked.txt"};
    EXPECT_EQ(WaitForChanges(expected), expected);
}

TEST_F(Recovery, ChangesMadeWhileTheServiceWasStoppedAreDelivered) {
    ASSERT_EQ(Start(), 4);
    ASSERT_GE(StopInstalledService(), 0);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"meanwhile.txt")));
    ASSERT_TRUE(StartInstalledService());
    ASSERT_EQ(Start(), 0);
    const std::vector<std::string> expected = {"create meanwhile.txt"};
    EXPECT_EQ(WaitForChanges(expected), expected);
}

}  // namespace
}  // namespace tavi::e2e
