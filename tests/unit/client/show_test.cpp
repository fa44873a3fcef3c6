#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/client/client_rig.h"

namespace tavi::client {
namespace {

using testing::HasSubstr;

TEST(Show, TellsWhatTheDatabaseHoldsAndWhereThePositionLies) {
    ClientRig rig;
    rig.machine().volume().MakeFile(u"C:\\Sync\\b.txt");
    const auto journal = rig.Journal();
    rig.StoreUser(journal.nextUsn - 8);
    ASSERT_TRUE(rig.database.SaveRecords({FileChange(u"c", records::FileChangeReason::kDelete)}));
    rig.database.Run("UPDATE user SET usnLocation = " + std::to_string(journal.nextUsn - 8));
    const RunResult run = rig.Run(rig.WithDatabase({"show"}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("User              anna\n"));
    EXPECT_THAT(run.out, HasSubstr("Folder            C:\\Sync\n"));
    EXPECT_THAT(run.out, HasSubstr(", 8 bytes behind the journal's end, "));
    EXPECT_THAT(run.out, HasSubstr(" bytes ahead of its beginning\n"));
    EXPECT_THAT(run.out, HasSubstr("Changes           2, ids 1 to 2: 1 create, 1 delete\n"));
    EXPECT_THAT(run.out, HasSubstr("Held back         0\n"));
    EXPECT_THAT(run.out, HasSubstr("Database          "));
}

TEST(Show, SaysThatThePositionCannotBeComparedWithoutRights) {
    ClientRig rig;
    rig.StoreUser(5);
    rig.machine().faults().Fail({.call = "Files.CreateFileW", .code = 5});
    const RunResult run = rig.Run(rig.WithDatabase({"show"}));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("Position          5, not compared with the journal\n"));
    EXPECT_THAT(run.out, HasSubstr("only with an administrator's rights (error 5)\n"));
}

TEST(Show, SaysThatThereIsNoUserYet) {
    ClientRig rig;
    EXPECT_THAT(rig.Run(rig.WithDatabase({"show"})).out, HasSubstr("no start request has succeeded yet"));
}

TEST(Show, FailsWithoutADatabase) {
    ClientRig rig(false);
    const RunResult run = rig.Run(rig.WithDatabase({"show"}));
    EXPECT_EQ(run.exitCode, 9);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("There is no database "));
}

TEST(Show, LeavesNothingOpen) {
    ClientRig rig;
    rig.StoreUser(5);
    rig.Run(rig.WithDatabase({"show"}));
    EXPECT_THAT(rig.machine().leaks(), testing::IsEmpty());
}

}  // namespace
}  // namespace tavi::client
