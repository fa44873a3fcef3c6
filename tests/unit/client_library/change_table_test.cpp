#include "tavi_client/change_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "unit/client_library/service_database.h"

namespace tavi::client {
namespace {

using records::FileChangeReason;

std::vector<std::string> Paths(const ChangePage& page) {
    std::vector<std::string> paths;
    for (const Change& change : page.changes) {
        paths.push_back(change.path);
    }
    return paths;
}

TEST(ChangeTable, GivesEveryColumnOfARow) {
    ServiceDatabase database;
    ASSERT_TRUE(database.SaveRecords({FileChange(u"neu\\\u00E4.txt", FileChangeReason::kMove, u"alt\\\u00E4.txt")}));
    const ChangePage page = ChangeTable(database.path()).ReadAfter(0, 10);
    EXPECT_EQ(page.state, ReadState::kRead);
    const Change expected{1,    1'700'000'000'123, "neu\\\xC3\xA4.txt", "alt\\\xC3\xA4.txt",
                          0x20, kChangeMove,       0x0001000000000042,  0xFFFFFFFFFFFFFFFF};
    ASSERT_EQ(page.changes.size(), 1U);
    EXPECT_EQ(page.changes[0], expected);
}

TEST(ChangeTable, ReadsPageByPageInTheOrderOfIds) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"a", u"b", u"c"}));
    ASSERT_TRUE(database.Save({u"a"}));  // reported again: moves to the end
    const ChangeTable table(database.path());
    const ChangePage first = table.ReadAfter(0, 2);
    EXPECT_THAT(Paths(first), testing::ElementsAre("b", "c"));
    EXPECT_THAT(Paths(table.ReadAfter(first.changes.back().id, 2)), testing::ElementsAre("a"));
    EXPECT_THAT(Paths(table.ReadAfter(4, 2)), testing::IsEmpty());
}

TEST(ChangeTable, SaysThatADatabaseOrItsTablesAreMissing) {
    ServiceDatabase database(false);
    EXPECT_EQ(ChangeTable(database.path()).ReadAfter(0, 1).state, ReadState::kMissing);
    std::filesystem::create_directories(std::filesystem::path(database.path()).parent_path());
    std::ofstream(database.path()).close();
    EXPECT_EQ(ChangeTable(database.path()).ReadAfter(0, 1).state, ReadState::kMissing);
}

TEST(ChangeTable, SaysThatTheFileIsNoDatabase) {
    ServiceDatabase database(false);
    std::filesystem::create_directories(std::filesystem::path(database.path()).parent_path());
    std::ofstream(database.path()) << std::string(4096, 'x');
    const ChangePage page = ChangeTable(database.path()).ReadAfter(0, 1);
    EXPECT_EQ(page.state, ReadState::kFailed);
    EXPECT_EQ(page.code, SQLITE_NOTADB);
}

TEST(ChangeTable, SaysThatTheDatabaseIsLocked) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"a"}));
    database.Lock();
    EXPECT_EQ(ChangeTable(database.path(), 20).ReadAfter(0, 1).state, ReadState::kBusy);
    database.Unlock();
    EXPECT_EQ(ChangeTable(database.path(), 20).ReadAfter(0, 1).state, ReadState::kRead);
}

TEST(ChangeTable, LeavesTheDatabaseAsItWas) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"a"}));
    sqlite3* keeper = nullptr;  // another connection, so that the log stays
    ASSERT_EQ(sqlite3_open(database.path().c_str(), &keeper), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(keeper, "SELECT * FROM user", nullptr, nullptr, nullptr), SQLITE_OK);
    ASSERT_TRUE(database.Save({u"b"}));
    const auto bytes = std::filesystem::file_size(database.path());
    const auto logBytes = std::filesystem::file_size(database.path() + "-wal");
    ASSERT_GT(logBytes, 0U);
    EXPECT_EQ(ChangeTable(database.path()).ReadAfter(0, 10).changes.size(), 2U);
    EXPECT_EQ(std::filesystem::file_size(database.path()), bytes);
    EXPECT_EQ(std::filesystem::file_size(database.path() + "-wal"), logBytes);
    sqlite3_close(keeper);
}

TEST(ChangeTable, KindsHaveNames) {
    EXPECT_EQ(ChangeKindName(1), "create");
    EXPECT_EQ(ChangeKindName(2), "delete");
    EXPECT_EQ(ChangeKindName(3), "modify");
    EXPECT_EQ(ChangeKindName(4), "move");
    EXPECT_EQ(ChangeKindName(5), "rename");
    for (const std::int32_t other : {-1, 0, 6, 7, 1000}) {
        EXPECT_EQ(ChangeKindName(other), "unknown") << other;
    }
}

}  // namespace
}  // namespace tavi::client
