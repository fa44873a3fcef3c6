#include "tavi_client/database_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "unit/client_library/service_database.h"

namespace tavi::client {
namespace {

using records::FileChangeReason;

TEST(DatabaseSummary, CountsTablesAndKinds) {
    ServiceDatabase database;
    ASSERT_TRUE(database.service().InsertUserTable({u"anna", u"C:\\Sync", 4711, 30}));
    records::DelayRecord held = FileChange(u"held", FileChangeReason::kDelete);
    ASSERT_TRUE(database.service().SaveCycleResults(
        {held},
        {FileChange(u"a", FileChangeReason::kCreate), FileChange(u"b", FileChangeReason::kCreate),
         FileChange(u"c", FileChangeReason::kDelete)},
        {{u"~tmp", 0x20, 0}}, 4800, u"anna"));
    database.Run("DELETE FROM fileChangeRecord WHERE id = 1");
    const DatabaseSummary summary = Summarise(database.path());
    EXPECT_EQ(summary.state, ReadState::kRead);
    EXPECT_THAT(summary.users, testing::ElementsAre(UserRow{"anna", "C:\\Sync", 4800}));
    EXPECT_THAT(summary.rows,
                testing::UnorderedElementsAre(testing::Pair("fileChangeRecord", 2), testing::Pair("delayRecord", 1),
                                              testing::Pair("temporaryFile", 1), testing::Pair("pathMapping", 0)));
    EXPECT_THAT(summary.changesByKind, testing::UnorderedElementsAre(testing::Pair(1, 1), testing::Pair(2, 1)));
    EXPECT_EQ(summary.firstId, 2);
    EXPECT_EQ(summary.lastId, 3);
    EXPECT_EQ(summary.databaseBytes, std::filesystem::file_size(database.path()));
}

TEST(DatabaseSummary, OfAnEmptyTableHasNoIds) {
    ServiceDatabase database;
    const DatabaseSummary summary = Summarise(database.path());
    EXPECT_EQ(summary.state, ReadState::kRead);
    EXPECT_EQ(summary.firstId, 0);
    EXPECT_EQ(summary.lastId, 0);
    EXPECT_EQ(summary.rows.at("fileChangeRecord"), 0);
}

TEST(DatabaseSummary, SaysWhyThereIsNone) {
    ServiceDatabase database(false);
    EXPECT_EQ(Summarise(database.path()).state, ReadState::kMissing);
    database.Create();
    database.Lock();
    EXPECT_EQ(Summarise(database.path(), 20).state, ReadState::kBusy);
}

}  // namespace
}  // namespace tavi::client
