#include "story/sync_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::client {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kUsnColumns = "usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n";
constexpr const char* kChangeColumns =
    "fileName\toriginalFileName\tfrn\toldfrn\tfileAttributes\tisTempFile\treason\tdelayCount\ttimestamp\n";

std::string Heading(const std::string& text, const std::string& time = "12:00:00.000") {
    return "2026-11-21 " + time + " [77] " + text + "\n";
}

std::string Raw(const std::string& lines, const std::string& time = "12:00:00.000") {
    return Heading("[WriteUSNLog] Original USN record", time) + kUsnColumns + lines + "\n";
}

std::string UsnLine(int usn, const std::string& name) {
    return std::to_string(usn) + "\tFileCreate, *Close*\t32\t1000\t" + name + "\t42\t18446744073709551615\n";
}

std::string Stored(const std::string& name) {
    return Heading("[WriteChangeJournal] record") + kChangeColumns + name +
           "\t\t42\t18446744073709551615\t32\t0\tCREATE\t0\t1000\n\n";
}

std::vector<LoggedBatch> Read(const std::vector<std::string>& parts) {
    std::vector<LoggedBatch> batches;
    SyncLogReader reader([&batches](const LoggedBatch& batch) { batches.push_back(batch); });
    for (const std::string& part : parts) {
        reader.Read(part);
    }
    reader.Finish();
    return batches;
}

TEST(SyncLog, ReadsABatchWithItsSteps) {
    const auto batches = Read({Raw(UsnLine(100, "a*b.txt")) + Stored("a*b.txt")});
    ASSERT_THAT(batches, SizeIs(1));
    EXPECT_EQ(batches[0].time, "2026-11-21 12:00:00.000");
    ASSERT_THAT(batches[0].steps[0], SizeIs(1));
    const LoggedRecord& raw = batches[0].steps[0][0];
    EXPECT_EQ(raw.usn, "100");
    EXPECT_EQ(raw.what, "FileCreate, *Close*");
    EXPECT_EQ(raw.name, "a*b.txt");
    EXPECT_EQ(raw.frn, "42");
    ASSERT_THAT(batches[0].steps[kStoredStep], SizeIs(1));
    EXPECT_EQ(batches[0].steps[kStoredStep][0].what, "CREATE");
    EXPECT_THAT(batches[0].steps[5], IsEmpty());
}

TEST(SyncLog, AnEarlierStepBeginsANewBatch) {
    const auto batches = Read({Raw(UsnLine(100, "a")) + Raw(UsnLine(200, "b"), "12:00:01.000") + Stored("b")});
    ASSERT_THAT(batches, SizeIs(2));
    EXPECT_THAT(batches[0].steps[kStoredStep], IsEmpty());
    EXPECT_EQ(batches[1].time, "2026-11-21 12:00:01.000");
    EXPECT_FALSE(batches[0].readAgain);
}

TEST(SyncLog, ABatchThatBeginsWithTheSameRecordWasReadAgain) {
    const auto batches = Read({Raw(UsnLine(100, "a")) + Raw(UsnLine(100, "a")) + Stored("a")});
    ASSERT_THAT(batches, SizeIs(2));
    EXPECT_TRUE(batches[0].readAgain);
    EXPECT_FALSE(batches[1].readAgain);
}

TEST(SyncLog, ALongDumpGoesOnUnderAnotherHeading) {
    const auto batches =
        Read({Raw(UsnLine(100, "a")) + Heading("[WriteUSNLog] Original USN record") + UsnLine(200, "b") + Stored("a")});
    ASSERT_THAT(batches, SizeIs(1));
    EXPECT_THAT(batches[0].steps[0], SizeIs(2));
}

TEST(SyncLog, ABatchGoesOnInTheNextPart) {
    EXPECT_THAT(Read({Raw(UsnLine(100, "a")), Stored("a")}), SizeIs(1));
}

TEST(SyncLog, LineEndsMayBeEitherKind) {
    std::string text = Raw(UsnLine(100, "a")) + Stored("a");
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, "\r");
    }
    const auto batches = Read({text});
    ASSERT_THAT(batches, SizeIs(1));
    EXPECT_THAT(batches[0].steps[0], SizeIs(1));
}

TEST(SyncLog, WhatDoesNotFitIsSkipped) {
    const auto batches = Read({"torn line\t1\t2\n" + UsnLine(50, "of a batch whose heading is gone") +
                               Heading("[WriteUSNLog] A label of another version") + UsnLine(60, "unknown") +
                               Heading("[WriteUSNLog] Original USN record") + UsnLine(70, "the rest of a long dump") +
                               Raw("too\tfew\tcolumns\n" + UsnLine(100, "a")) + "2026-11-21 no heading\n"});
    ASSERT_THAT(batches, SizeIs(1));
    ASSERT_THAT(batches[0].steps[0], SizeIs(1));
    EXPECT_EQ(batches[0].steps[0][0].name, "a");
}

TEST(SyncLog, MayBeginAndEndAnywhere) {
    const std::string text = Raw(UsnLine(100, "a*b.txt") + UsnLine(200, "c")) + Stored("a*b.txt");
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const auto beginning = Read({text.substr(at)});
        EXPECT_LE(beginning.size(), 1U) << at;
        const auto end = Read({text.substr(0, at)});
        ASSERT_LE(end.size(), 1U) << at;
        if (!end.empty()) {
            EXPECT_LE(end[0].steps[0].size(), 2U) << at;
        }
    }
}

TEST(SyncLog, AnEmptyLogHasNoBatches) {
    EXPECT_THAT(Read({}), IsEmpty());
    EXPECT_THAT(Read({""}), IsEmpty());
    EXPECT_THAT(Read({"\n\n"}), IsEmpty());
}

}  // namespace
}  // namespace tavi::client
