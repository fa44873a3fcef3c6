#include "story/batch_story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::client {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

LoggedRecord Record(const std::string& what, const std::string& name, const std::string& frn,
                    const std::string& original = {}) {
    return {what + name + frn + original, what, name, original, frn, {}};
}

LoggedBatch Batch() {
    LoggedBatch batch;
    batch.time = "2026-11-21 12:00:00.000";
    return batch;
}

TEST(BatchStory, OfAFileThatIsNotInTheBatchThereIsNone) {
    LoggedBatch batch = Batch();
    batch.steps[0] = {Record("FileCreate", "b.txt", "2")};
    EXPECT_FALSE(TellStory(batch, {"a.txt", std::nullopt}).has_value());
    EXPECT_FALSE(TellStory(batch, {"", "1"}).has_value());
}

TEST(BatchStory, LettersOfEitherCaseAreTheSame) {
    LoggedBatch batch = Batch();
    batch.steps[0] = {Record("FileCreate", "A.TXT", "1")};
    EXPECT_TRUE(TellStory(batch, {ObscuredName("a.Txt"), std::nullopt}).has_value());
}

TEST(BatchStory, FollowsAFileUnderItsOtherNames) {
    LoggedBatch batch = Batch();
    batch.steps[3] = {Record("RENAME_OLD_NAME", "old", "1"), Record("RENAME_NEW_NAME", "new", "1"),
                      Record("CREATE", "other", "2")};
    const auto story = TellStory(batch, {"new", std::nullopt});
    ASSERT_TRUE(story.has_value());
    EXPECT_THAT(story->lines, Contains(HasSubstr("RENAME_OLD_NAME  old")));
    EXPECT_THAT(story->lines, Not(Contains(HasSubstr("other"))));
    EXPECT_EQ(story->frns, std::set<std::string>{"1"});
}

TEST(BatchStory, ANumberAloneTellsOfThatFileOnly) {
    LoggedBatch batch = Batch();
    batch.steps[0] = {Record("FileCreate", "a", "1"), Record("FileCreate", "a", "2")};
    const auto story = TellStory(batch, {"a", "2"});
    ASSERT_TRUE(story.has_value());
    EXPECT_THAT(story->lines, Contains(HasSubstr("read from the journal: 1 record")));
}

TEST(BatchStory, EqualRecordsAreCounted) {
    LoggedBatch batch = Batch();
    batch.steps[3] = {Record("MODIFY", "a", "1"), Record("MODIFY", "a", "1")};
    batch.steps[4] = {Record("MODIFY", "a", "1")};
    const auto story = TellStory(batch, {"a", std::nullopt});
    ASSERT_TRUE(story.has_value());
    EXPECT_THAT(story->lines, Contains(HasSubstr("step 4 dropped")));
}

TEST(BatchStory, SaysThatABatchWasReadAgain) {
    LoggedBatch batch = Batch();
    batch.readAgain = true;
    batch.steps[0] = {Record("FileCreate", "a", "1")};
    const auto story = TellStory(batch, {"a", std::nullopt});
    ASSERT_TRUE(story.has_value());
    EXPECT_THAT(story->lines.back(), HasSubstr("=> not stored"));
}

TEST(BatchStory, EveryStepHasAPurpose) {
    for (std::size_t step = 0; step < records::kPipelineStepCount; ++step) {
        EXPECT_FALSE(PurposeOfStep(step).empty()) << step;
    }
    EXPECT_TRUE(PurposeOfStep(records::kPipelineStepCount).empty());
}

}  // namespace
}  // namespace tavi::client
