#include "tavi_client/change_follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "unit/client_library/service_database.h"

namespace tavi::client {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Next(ChangeFollower& follower, std::size_t limit = 100) {
    const ChangePage page = follower.Next(limit);
    EXPECT_EQ(page.state, ReadState::kRead) << page.code;
    std::vector<std::string> paths;
    for (const Change& change : page.changes) {
        paths.push_back(change.path);
    }
    return paths;
}

TEST(ChangeFollower, GivesWhatComesAfterItBegan) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"old"}));
    ChangeFollower follower(database.path());
    EXPECT_THAT(Next(follower), IsEmpty());
    ASSERT_TRUE(database.Save({u"a", u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b"));
    EXPECT_THAT(Next(follower), IsEmpty());
}

TEST(ChangeFollower, GivesWhatLiesBehindAnId) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"a", u"b", u"c"}));
    ChangeFollower all(database.path(), 0);
    EXPECT_THAT(Next(all), ElementsAre("a", "b", "c"));
    ChangeFollower some(database.path(), 2);
    EXPECT_THAT(Next(some), ElementsAre("c"));
    ChangeFollower beyond(database.path(), 1000);
    EXPECT_THAT(Next(beyond), IsEmpty());
}

TEST(ChangeFollower, GivesPagesOfTheSizeAskedFor) {
    ServiceDatabase database;
    ASSERT_TRUE(database.Save({u"a", u"b", u"c"}));
    ChangeFollower follower(database.path(), 0);
    EXPECT_THAT(Next(follower, 2), ElementsAre("a", "b"));
    EXPECT_THAT(Next(follower, 2), ElementsAre("c"));
}

TEST(ChangeFollower, GivesAChangeThatIsReportedAgainOnceMore) {
    ServiceDatabase database;
    ChangeFollower follower(database.path(), 0);
    ASSERT_TRUE(database.Save({u"a", u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b"));
    ASSERT_TRUE(database.Save({u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("b"));
    ASSERT_TRUE(database.Save({u"a"}));
    EXPECT_THAT(Next(follower), ElementsAre("a"));
}

TEST(ChangeFollower, IsNotLostWhenAllRowsAreDeleted) {
    ServiceDatabase database;
    ChangeFollower follower(database.path(), 0);
    ASSERT_TRUE(database.Save({u"a", u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b"));
    database.Run("DELETE FROM fileChangeRecord");
    EXPECT_THAT(Next(follower), IsEmpty());
    ASSERT_TRUE(database.Save({u"c"}));
    EXPECT_THAT(Next(follower), ElementsAre("c"));
}

TEST(ChangeFollower, GivesNewChangesThatHaveTheIdsOfDeletedOnes) {
    ServiceDatabase database;
    ChangeFollower follower(database.path(), 0);
    ASSERT_TRUE(database.Save({u"a", u"b", u"c"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b", "c"));
    database.Run("DELETE FROM fileChangeRecord WHERE id >= 2");
    ASSERT_TRUE(database.Save({u"d", u"e", u"f"}));  // ids 2, 3 and 4
    EXPECT_THAT(Next(follower), ElementsAre("d", "e", "f"));
    database.Run("DELETE FROM fileChangeRecord WHERE id = 4");
    ASSERT_TRUE(database.Save({u"g"}));  // id 4 again
    EXPECT_THAT(Next(follower), ElementsAre("g"));
    EXPECT_THAT(Next(follower), IsEmpty());
}

TEST(ChangeFollower, WaitsForADatabaseAndGivesAllOfANewOne) {
    ServiceDatabase database(false);
    ChangeFollower follower(database.path());
    EXPECT_EQ(follower.Next(10).state, ReadState::kMissing);
    database.Create();
    ASSERT_TRUE(database.Save({u"a", u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b"));
    database.Delete();
    EXPECT_EQ(follower.Next(10).state, ReadState::kMissing);
    database.Create();
    ASSERT_TRUE(database.Save({u"a"}));
    EXPECT_THAT(Next(follower), ElementsAre("a"));
}

TEST(ChangeFollower, SeesThatADatabaseWasMadeAnewBetweenTwoLooks) {
    ServiceDatabase database;
    ChangeFollower follower(database.path(), 0);
    ASSERT_TRUE(database.Save({u"a", u"b"}));
    EXPECT_THAT(Next(follower), ElementsAre("a", "b"));
    database.Delete();
    database.Create();
    ASSERT_TRUE(database.Save({u"x", u"y", u"z"}));
    EXPECT_THAT(Next(follower), ElementsAre("x", "y", "z"));
}

TEST(ChangeFollower, MissesNothingWhileTheDatabaseIsLocked) {
    ServiceDatabase database;
    ChangeFollower follower(database.path(), 0, 20);
    ASSERT_TRUE(database.Save({u"a"}));
    database.Lock();
    EXPECT_EQ(follower.Next(10).state, ReadState::kBusy);
    database.Unlock();
    EXPECT_THAT(Next(follower), ElementsAre("a"));
}

// The service waits for a lock at least 10 ms, a hundred times; here its waits are virtual, so a test makes them real.
bool SaveAsTheServiceDoes(ServiceDatabase& database, const std::vector<std::u16string>& names) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (database.Save(names)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::vector<std::u16string> Names(std::size_t first, std::size_t count) {
    std::vector<std::u16string> names;
    for (std::size_t number = first; number < first + count; ++number) {
        const std::string name = "file" + std::to_string(number);
        names.emplace_back(name.begin(), name.end());
    }
    return names;
}

// Follows until `written` is set and nothing more comes.
std::vector<std::string> FollowUntil(const std::string& path, const std::atomic<bool>& written) {
    std::vector<std::string> given;
    ChangeFollower follower(path, 0, 10000);
    for (;;) {
        const bool last = written.load();
        const ChangePage page = follower.Next(1000);
        if (page.state != ReadState::kRead) {
            ADD_FAILURE() << "state " << static_cast<int>(page.state) << ", code " << page.code;
            return given;
        }
        for (const Change& change : page.changes) {
            given.push_back(change.path);
        }
        if (page.changes.empty() && last) {
            return given;
        }
    }
}

TEST(ChangeFollower, GivesEachOfAHundredThousandChangesOnceWhileTheServiceWrites) {
    constexpr std::size_t kChanges = 100'000;
    constexpr std::size_t kPerCycle = 500;
    ServiceDatabase database;
    std::atomic<bool> written = false;
    std::vector<std::string> given;
    std::thread reader([&, path = database.path()] { given = FollowUntil(path, written); });
    for (std::size_t first = 0; first < kChanges; first += kPerCycle) {
        EXPECT_TRUE(SaveAsTheServiceDoes(database, Names(first, kPerCycle))) << first;
    }
    written = true;
    reader.join();
    ASSERT_EQ(given.size(), kChanges);
    for (std::size_t number = 0; number < kChanges; ++number) {
        ASSERT_EQ(given[number], "file" + std::to_string(number));
    }
}

}  // namespace
}  // namespace tavi::client
