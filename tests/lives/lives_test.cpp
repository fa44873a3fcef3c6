// A few hundred lives, and what the simulation itself has to keep. TAVI_LIVES sets their number, TAVI_FIRST_SEED where
// they begin; TaviLives runs them by the hundred thousand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "lives/database_image.h"
#include "lives/life.h"
#include "lives/shrink.h"
#include "lives/soak.h"
#include "lives/world.h"
#include "tavi_client/protocol.h"

namespace tavi::lives {
namespace {

std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::strtoull(value, nullptr, 10) : otherwise;
}

void LiveThem(std::uint64_t count, PlanOptions options) {
    const std::uint64_t first = FromEnvironment("TAVI_FIRST_SEED", 1);
    std::cout << "seeds " << first << " to " << first + count - 1 << '\n';
    std::uint64_t compared = 0;
    std::uint64_t rows = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const Plan plan = MakePlan(seed, options);
        const Report report = Live(plan);
        compared += report.compared;
        rows += report.rows;
        if (report.unexplained()) {
            const Plan shortest = Shrink(plan, report.firstUnexplained()->judge);
            FAIL() << Story(shortest, Live(shortest)) << report.log;
        }
    }
    EXPECT_GT(compared, count / 4);
    EXPECT_GT(rows, count);
}

TEST(Lives, LoseNothingAndInventNothing) {
    LiveThem(FromEnvironment("TAVI_LIVES", 200), {});
}

TEST(Lives, LoseNothingAndInventNothingWithEveryThreadAtOnce) {
    LiveThem(FromEnvironment("TAVI_LIVES", 200) / 4, {.everyThreadAtOnce = true});
}

TEST(Soak, HoursOfSteadyWorkLeaveMemoryAndHandlesAsTheFirstOnesDid) {
    const SoakReport report = Soak(2, 4);
    EXPECT_GT(report.callsOfService, 100000U);
    EXPECT_GT(report.bytesAtFirst, 0U);
    EXPECT_LE(report.bytesAtEnd, report.bytesAtFirst + kSoakToleranceBytes);
    EXPECT_EQ(report.handlesAtEnd, report.handlesAtFirst);
    EXPECT_THAT(report.leaks, testing::IsEmpty());
}

TEST(Lives, SeedReplaysALifeExactly) {
    for (const std::uint64_t seed : {11U, 12U, 13U, 14U, 15U}) {
        const Report first = Live(MakePlan(seed));
        const Report second = Live(MakePlan(seed));
        EXPECT_GT(first.calls, 100U);
        EXPECT_EQ(first.calls, second.calls);
        EXPECT_EQ(first.switches, second.switches);
        EXPECT_EQ(first.virtualMs, second.virtualMs);
        EXPECT_EQ(first.finalContents, second.finalContents);
        EXPECT_EQ(first.findings.size(), second.findings.size());
    }
}

Event File(Act act, std::u16string path, std::u16string other = {}, std::uint64_t number = 0) {
    return {0, act, std::move(path), std::move(other), number};
}

// The client listens to another folder and comes back: what is in the folder now was there before.
const Event kAwayEvent = {3000, Act::kSwitchFolder, {}, {}, 1};
const Event kBackEvent = {3000, Act::kSwitchFolder, {}, {}, 0};

Plan Planned(std::vector<Event> events, bool steady = true) {
    Plan plan;
    plan.seed = 1;
    plan.steady = steady;
    plan.events = std::move(events);
    return plan;
}

std::vector<std::string> KnownLimits(const Report& report) {
    std::vector<std::string> names;
    for (const Finding& finding : report.findings) {
        names.push_back(finding.knownLimit);
    }
    return names;
}

// Each story of docs/known-limits.md that is about files, as it stands there.
TEST(KnownLimits, SaveIsLostAfterARenamedFileWasDeletedUnderTheSameName) {
    const Report report = Live(Planned({File(Act::kRename, u"C:\\Sync\\draft.c", u"C:\\Sync\\plan.c"),
                                        File(Act::kSaveByReplace, u"C:\\Sync\\plan.c")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("saved-after-a-renamed-file-was-deleted"));
}

TEST(KnownLimits, SaveOverARenamedFileIsLostAlsoWhereItsFormerDirectoryVanishes) {
    const Report report = Live(Planned({File(Act::kRename, u"C:\\Sync\\docs\\draft.c", u"C:\\Sync\\plan.c"),
                                        File(Act::kSaveByReplace, u"C:\\Sync\\plan.c"),
                                        {4000, Act::kRecycleDirectory, u"C:\\Sync\\docs", {}, 0}},
                                       false));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("saved-after-a-renamed-file-was-deleted"));
}

TEST(KnownLimits, FileExchangedForOneFromOutsideIsLost) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\plan.txt"),
                                        File(Act::kCreate, u"C:\\Elsewhere\\new.txt"),
                                        kAwayEvent,
                                        kBackEvent,
                                        {3000, Act::kMoveOut, u"C:\\Sync\\plan.txt", {}, 0},
                                        File(Act::kRename, u"C:\\Elsewhere\\new.txt", u"C:\\Sync\\plan.txt")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("exchanged-for-one-from-outside"));
}

TEST(KnownLimits, NewFileIsLostWhenItsFormerNameBecomesATemporaryOne) {
    const Report report = Live(Planned({File(Act::kChain, u"C:\\Sync\\a.txt", u"C:\\Sync\\~a.tmp", 0),
                                        File(Act::kRename, u"C:\\Sync\\~a.tmp", u"C:\\Sync\\b.txt")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("new-file-gave-its-name-to-a-temporary-one"));
}

TEST(KnownLimits, BackupCopyMadeAnewIsLost) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\v1.igbak"),
                                        kAwayEvent,
                                        kBackEvent,
                                        {3000, Act::kRename, u"C:\\Sync\\v1.igbak", u"C:\\Sync\\v1.old", 0},
                                        File(Act::kCreateEmpty, u"C:\\Sync\\v1.igbak")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("backup-copy-renamed-and-made-anew"));
}

TEST(KnownLimits, UnpairedSurrogateIsStoredAsAnotherName) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\odd\xD800unit.txt")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("unpaired-surrogate"));
}

TEST(KnownLimits, JournalRecreatedWhileTheTaskRunsIsNotTold) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\a.txt"),
                                        {3000, Act::kRecreateJournal, {}, {}, 0},
                                        File(Act::kCreate, u"C:\\Sync\\b.txt"),
                                        {3000, Act::kStart, {}, {}, 0}}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("journal-recreated-unnoticed"));
}

TEST(KnownLimits, DeletionOfTheFormerFileIsToldAfterTheNewOneOfThatName) {
    const Report report =
        Live(Planned({File(Act::kRename, u"C:\\Sync\\plan.docx", u"C:\\Sync\\old.docx"),
                      File(Act::kCreate, u"C:\\Sync\\plan.docx"), File(Act::kRemove, u"C:\\Sync\\old.docx")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("deletion-of-the-former-file-told-last"));
}

TEST(KnownLimits, FileThatGetsItsNameBackIsToldAsDeleted) {
    const Report report = Live(Planned({File(Act::kMoveIn, u"C:\\Sync\\plan.txt"),
                                        File(Act::kRename, u"C:\\Sync\\plan.txt", u"C:\\Sync\\notes.txt"),
                                        File(Act::kRename, u"C:\\Sync\\notes.txt", u"C:\\Sync\\plan.txt")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("renamed-away-and-back"));
}

TEST(KnownLimits, ChangeBetweenTwoRenamesKeepsTheNameBetween) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\plan.txt"),
                                        {3000, Act::kTake, {}, {}, 0},
                                        File(Act::kRename, u"C:\\Sync\\plan.txt", u"C:\\Sync\\notes.txt"),
                                        File(Act::kWrite, u"C:\\Sync\\notes.txt", {}, 1),
                                        File(Act::kRename, u"C:\\Sync\\notes.txt", u"C:\\Sync\\plan.txt")}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("renamed-away-and-back"));
}

TEST(KnownLimits, DirectoryThatGetsItsNameBackLosesWhatCameWithIt) {
    const Report report = Live(Planned({File(Act::kMoveDirectoryIn, u"C:\\Sync\\incoming"),
                                        {3000, Act::kRenameDirectory, u"C:\\Sync\\incoming", u"C:\\Sync\\plans", 0},
                                        File(Act::kRenameDirectory, u"C:\\Sync\\plans", u"C:\\Sync\\old"),
                                        File(Act::kRenameDirectory, u"C:\\Sync\\old", u"C:\\Sync\\plans")},
                                       false));
    EXPECT_THAT(KnownLimits(report), testing::Contains("renamed-away-and-back"));
    EXPECT_THAT(KnownLimits(report), testing::Each("renamed-away-and-back"));
}

TEST(KnownLimits, FileThatWasTemporaryForAMomentIsToldAsDeleted) {
    const Report report = Live(Planned({File(Act::kChain, u"C:\\Sync\\draft.xlsx", u"C:\\Sync\\plan.xlsx", 1),
                                        File(Act::kChain, u"C:\\Sync\\plan.xlsx", u"C:\\Sync\\plan.xlsx", 1)}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("renamed-away-and-back"));
}

// The process dies at each of the start's calls in turn.
TEST(KnownLimits, RowsOfTheFormerFolderStayWhenAStartIsCutShort) {
    constexpr std::uint64_t kCallsOfAStart = 200;
    int found = 0;
    for (std::uint64_t call = 1; call <= kCallsOfAStart; ++call) {
        Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\plan.txt"),
                             {4000, Act::kFinish, {}, {}, 0},
                             {0, Act::kKillAtCall, {}, {}, call},
                             {0, Act::kSwitchFolder, {}, {}, 1}});
        plan.seed = 3;  // nobody starts a task in between
        const Report report = Live(plan);
        EXPECT_THAT(KnownLimits(report), testing::Each("start-cut-short")) << call;
        found += report.findings.empty() ? 0 : 1;
    }
    EXPECT_GT(found, 0);
}

TEST(KnownLimits, RowOfAMovedFileGoesToTheEndWithTheNextFileOfThatPath) {
    const Report report = Live(Planned({File(Act::kWrite, u"C:\\Sync\\docs\\plan.txt", {}, 1),
                                        {3000, Act::kRenameDirectory, u"C:\\Sync\\docs", u"C:\\Sync\\old", 0},
                                        {3000, Act::kWrite, u"C:\\Sync\\docs\\plan.txt", {}, 1}},
                                       false));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("row-moved-behind-its-directory"));
}

TEST(KnownLimits, OldNumberOfOneOfTwoSavesIsToldFromOtherDifferences) {
    Image twice;
    twice.changes.push_back({0, u"app.mlapp", {}, 32, 3, 44, 45});
    twice.delayed = {"~a.tmp|app.mlapp|32", "~b.tmp|app.mlapp|32"};
    EXPECT_TRUE(twice.HoldsOneNameTwice());
    Image other = twice;
    other.changes[0].oldFrn = 46;
    EXPECT_NE(other.Contents(), twice.Contents());
    EXPECT_EQ(other.ContentsWithoutOldNumbers(), twice.ContentsWithoutOldNumbers());
    other.changes[0].frn = 47;
    EXPECT_NE(other.ContentsWithoutOldNumbers(), twice.ContentsWithoutOldNumbers());
    other.delayed = {"~a.tmp|app.mlapp|32", "~b.tmp|model.mlx|32"};
    EXPECT_FALSE(other.HoldsOneNameTwice());
}

// The folder "docs" with "plan.txt" is recycled, made anew, and the bin is emptied, all before the journal is read.
Report LiveWithAnEmptiedBin(bool mixedCaseBin) {
    Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\docs\\plan.txt"),
                         {3000, Act::kTake, {}, {}, 0},
                         File(Act::kRecycleDirectory, u"C:\\Sync\\docs"),
                         File(Act::kCreate, u"C:\\Sync\\docs\\plan.txt"),
                         File(Act::kEmptyBin, {})},
                        false);
    plan.mixedCaseBin = mixedCaseBin;
    return Live(plan);
}

TEST(KnownLimits, EmptyingABinThatIsSpeltOtherwiseTellsOfTheFolder) {
    EXPECT_THAT(KnownLimits(LiveWithAnEmptiedBin(true)), testing::ElementsAre("recycle-bin-spelt-otherwise"));
    EXPECT_THAT(KnownLimits(LiveWithAnEmptiedBin(false)), testing::IsEmpty());
}

TEST(KnownLimits, NothingIsToldBetweenAPositionThatFellOutAndTheNextStart) {
    Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\before.txt"),
                         {3000, Act::kFlood, {}, {}, 0},
                         File(Act::kCreate, u"C:\\Sync\\lost.txt"),
                         {6000, Act::kStart, {}, {}, 0},
                         {3000, Act::kCreate, u"C:\\Sync\\told.txt", {}, 0}});
    plan.journalSize = 32768;
    const Report report = Live(plan);
    EXPECT_THAT(report.replies, testing::ElementsAre(protocol::kReplyFirstLogin, protocol::kReplyPositionExpired,
                                                     protocol::kReplyContinues));
    EXPECT_THAT(report.finalContents, testing::Not(testing::HasSubstr("lost.txt")));
    EXPECT_THAT(report.finalContents, testing::HasSubstr("told.txt"));
    EXPECT_EQ(report.firstUnexplained(), nullptr);
}

// How many of 60 files, one a tick, are told three seconds later.
std::size_t RowsAfterABurst(std::uint32_t intervalSeconds) {
    Plan plan = Planned({});
    plan.intervalSeconds = intervalSeconds;
    plan.coarseClock = true;
    World world(plan);
    world.StartProcess();
    world.AskStart(0, 0);
    for (char16_t i = 0; i < 60; ++i) {
        const std::u16string name = {static_cast<char16_t>(u'a' + i / 10), static_cast<char16_t>(u'0' + i % 10)};
        world.workload().Perform(File(Act::kCreate, u"C:\\Sync\\" + name + u".txt"));
        world.Sleep(16);
    }
    world.Sleep(3000);
    const auto image = Look(world.DatabaseFile(0));
    world.Stop();
    return image ? image->changes.size() : 0;
}

TEST(KnownLimits, SplitIntervalZeroTakesTwoTicksASecond) {
    EXPECT_EQ(RowsAfterABurst(1), 60U);
    EXPECT_LE(RowsAfterABurst(0), 12U);
    EXPECT_GE(RowsAfterABurst(0), 4U);
}

std::size_t RowsWhenListeningTo(std::u16string folder) {
    Plan plan = Planned({});
    plan.listenAs = std::move(folder);
    World world(plan);
    world.StartProcess();
    EXPECT_EQ(world.AskStart(0, 0), std::optional(protocol::kReplyFirstLogin));
    world.workload().Perform(File(Act::kCreate, u"C:\\Sync\\plan.txt"));
    world.Sleep(5000);
    const auto image = Look(world.DatabaseFile(0));
    world.Stop();
    EXPECT_TRUE(image);
    return image ? image->changes.size() : 0;
}

TEST(KnownLimits, FolderNamedInAnotherCaseTellsNothing) {
    EXPECT_EQ(RowsWhenListeningTo(u"C:\\Sync"), 1U);
    EXPECT_EQ(RowsWhenListeningTo(u"C:\\SYNC"), 0U);
}

TEST(KnownLimits, FilesBelowAPathLongerThanTheNameBufferAreNotTold) {
    const std::u16string deep = u"C:\\Sync\\" + std::u16string(200, u'a') + u"\\" + std::u16string(200, u'b') + u"\\" +
                                std::u16string(200, u'c');
    const Report report = Live(Planned({kAwayEvent,
                                        {3000, Act::kMakeDirectory, deep, {}, 0},
                                        kBackEvent,
                                        {3000, Act::kCreate, deep + u"\\plan.txt", {}, 0},
                                        {0, Act::kCreate, u"C:\\Sync\\plan.txt", {}, 0}}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("directory-path-too-long"));
    EXPECT_THAT(report.finalContents, testing::HasSubstr("CREATE plan.txt"));
}

TEST(KnownLimits, RecordReadAgainAfterASplitIsToldByWhatTheMappingSaysLater) {
    Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\a\\f.txt"),
                         File(Act::kCreate, u"C:\\Sync\\a\\g.txt"),
                         {4000, Act::kTake, {}, {}, 0},
                         File(Act::kRemove, u"C:\\Sync\\a\\f.txt"),
                         {2, Act::kRemove, u"C:\\Sync\\a\\g.txt", {}, 0},
                         {2, Act::kRenameDirectory, u"C:\\Sync\\a", u"C:\\Sync\\b", 0},
                         File(Act::kRemoveTree, u"C:\\Sync\\b")},
                        false);
    plan.intervalSeconds = 0;
    const Report report = Live(plan);
    EXPECT_THAT(report.finalContents, testing::HasSubstr("DELETE a\\f.txt"));
    EXPECT_THAT(report.finalContents, testing::HasSubstr("DELETE b\\g.txt"));
    EXPECT_THAT(report.finalContents, testing::Not(testing::HasSubstr("DELETE a\\g.txt")));
    EXPECT_EQ(report.firstUnexplained(), nullptr);
}

TEST(KnownLimits, FilesOfADirectoryThatIsGoneAreNotToldBeforeTheFolderIsKnown) {
    Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\a\\f.txt"),
                         {4000, Act::kStop, {}, {}, 0},
                         File(Act::kRemove, u"C:\\Sync\\a\\f.txt"),
                         File(Act::kRemoveTree, u"C:\\Sync\\a")},
                        false);
    plan.seed = 3;  // nobody starts a task in between
    const Report report = Live(plan);
    EXPECT_THAT(report.finalContents, testing::HasSubstr("CREATE a\\f.txt"));
    EXPECT_THAT(report.finalContents, testing::HasSubstr("DELETE a "));
    EXPECT_EQ(report.firstUnexplained(), nullptr);
}

TEST(KnownLimits, SecondNameOfAFileIsNotTold) {
    const Report report = Live(Planned({File(Act::kCreate, u"C:\\Sync\\plan.txt"),
                                        {3000, Act::kLink, u"C:\\Sync\\plan.txt", u"C:\\Sync\\same.txt", 0}}));
    EXPECT_THAT(KnownLimits(report), testing::ElementsAre("file-with-several-names"));
}

// Nothing is invented when a directory arrives with a file that no journal has seen.
TEST(Lives, FileMadeWithoutAJournalMayComeWithItsDirectory) {
    const Report report = Live(Planned({{3000, Act::kDeleteJournal, {}, {}, 0},
                                        File(Act::kCreate, u"C:\\Elsewhere\\dir\\f.txt"),
                                        {100, Act::kStart, {}, {}, 0},
                                        {3000, Act::kRenameDirectory, u"C:\\Elsewhere\\dir", u"C:\\Sync\\dir", 0}},
                                       false));
    EXPECT_THAT(report.finalContents, testing::HasSubstr("CREATE dir\\f.txt"));
    EXPECT_EQ(report.firstUnexplained(), nullptr);
}

TEST(Lives, FurtherWritesToAnOpenFileAreToldWhenItIsClosed) {
    const Report report = Live(Planned({File(Act::kHold, u"C:\\Sync\\script.js"),
                                        {3000, Act::kTake, {}, {}, 0},
                                        File(Act::kWrite, u"C:\\Sync\\script.js", {}, 1),
                                        {3000, Act::kTake, {}, {}, 0},
                                        File(Act::kLetGo, {})}));
    EXPECT_GT(report.takes, 0U);
    EXPECT_THAT(report.finalContents, testing::HasSubstr("MODIFY script.js"));
    EXPECT_EQ(report.firstUnexplained(), nullptr);
}

TEST(Shrink, LeavesTheEventsThatTheStoryNeeds) {
    Plan plan = Planned({File(Act::kCreate, u"C:\\Sync\\one.txt"),
                         File(Act::kRename, u"C:\\Sync\\draft.c", u"C:\\Sync\\plan.c"),
                         {20, Act::kLook, {}, {}, 0},
                         File(Act::kSaveByReplace, u"C:\\Sync\\plan.c"),
                         File(Act::kRemove, u"C:\\Sync\\one.txt"),
                         {100, Act::kStop, {}, {}, 0}});
    const Plan shortest = Shrink(plan, 'd', "saved-after-a-renamed-file-was-deleted");
    ASSERT_EQ(shortest.events.size(), 2U);
    EXPECT_EQ(shortest.events[0].act, Act::kRename);
    EXPECT_EQ(shortest.events[1].act, Act::kSaveByReplace);
    EXPECT_THAT(Story(shortest, Live(shortest)),
                testing::HasSubstr("C:\\Sync\\draft.c is renamed to C:\\Sync\\plan.c"));
}

}  // namespace
}  // namespace tavi::lives
