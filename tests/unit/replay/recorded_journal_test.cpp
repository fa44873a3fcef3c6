#include "replay/recorded_journal.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>

#include "sim/emulated_journal.h"

namespace tavi::replay {
namespace {

std::string OneRecord() {
    sim::EmulatedJournal journal;
    journal.Create();
    journal.AppendRaw(40, 5, u"a.txt", 0x20, 0x100, 1);
    return std::string(journal.Stream());
}

std::optional<JournalStream> ReadStream(const std::string& bytes, std::string& error) {
    std::istringstream input(bytes);
    return ReadJournalStream(input, error);
}

std::optional<std::vector<Directory>> ReadList(const std::string& text, std::string& error) {
    std::istringstream input(text);
    return ReadDirectoryList(input, error);
}

TEST(RecordedJournal, AStreamFromPositionZeroIsTakenAsItIs) {
    std::string error;
    const auto stream = ReadStream(OneRecord(), error);
    ASSERT_TRUE(stream) << error;
    EXPECT_EQ(stream->firstUsn, 0);
    EXPECT_EQ(stream->bytes.size(), OneRecord().size());
}

TEST(RecordedJournal, ThePositionComesFromTheFirstRecord) {
    std::string bytes = OneRecord();
    bytes[24 + 2] = 3;  // Usn: 0x30000
    std::string error;
    const auto stream = ReadStream(bytes, error);
    ASSERT_TRUE(stream) << error;
    EXPECT_EQ(stream->firstUsn, 0x30000);
}

TEST(RecordedJournal, LeadingPagesOfZerosAreSkipped) {
    std::string bytes = OneRecord();
    bytes[24 + 1] = 0x20;  // Usn: 0x2000
    std::string error;
    const auto stream = ReadStream(std::string(2 * 4096, '\0') + bytes, error);
    ASSERT_TRUE(stream) << error;
    EXPECT_EQ(stream->firstUsn, 0x2000);
    EXPECT_EQ(stream->bytes.size(), bytes.size());
}

TEST(RecordedJournal, AStreamWithoutARecordIsRefused) {
    for (const std::size_t size : {0U, 8U, 55U, 4096U, 10'000U}) {
        std::string error;
        EXPECT_FALSE(ReadStream(std::string(size, '\0'), error));
        EXPECT_EQ(error, "holds no journal record");
    }
}

TEST(RecordedJournal, AStreamThatBeginsInsideAPageIsRefused) {
    std::string bytes = OneRecord();
    bytes[24] = 8;
    std::string error;
    EXPECT_FALSE(ReadStream(bytes, error));
    EXPECT_EQ(error, "its first record's position does not fit its place: not the beginning of a page of a journal");
}

TEST(RecordedJournal, DirectoriesAreReadWithTheirNames) {
    std::string error;
    const auto list = ReadList("5\t5\t.\r\n\n40\t5\tS\xC3\xA4ll\n18446744073709551615\t40\ta b\n", error);
    ASSERT_TRUE(list) << error;
    ASSERT_EQ(list->size(), 3u);
    EXPECT_EQ((*list)[1].frn, 40u);
    EXPECT_EQ((*list)[1].parentFrn, 5u);
    EXPECT_EQ((*list)[1].name, u"S\u00E4ll");
    EXPECT_EQ((*list)[2].frn, ~std::uint64_t{0});
}

TEST(RecordedJournal, WhatIsWrongInADirectoryListIsSaidWithItsLine) {
    const std::string shape = "expected number, parent's number and name, separated by tabs";
    const std::pair<std::string, std::string> cases[] = {
        {"5\t5\t.\n40\t5", "2: " + shape},
        {"5\t5\t.\n\nx\t5\ta", "3: " + shape},
        {"5\t5\t.\n40\t-5\ta", "2: " + shape},
        {"5\t5\t.\n18446744073709551616\t5\ta", "2: " + shape},
        {"5\t5\t.\n40\t5\t", "2: " + shape},
        {"5\t5\t.\n40\t5\ta\\b", "2: " + shape},
        {"5\t5\t.\n40\t5\t\xFF", "2: " + shape},
        {"5\t5\t.\n40\t5\ta\n40\t5\tb", "3: the number 40 stands there twice"},
        {"40\t5\ta", "1: expected one root, its own parent; there are 0"},
        {"5\t5\t.\n6\t6\t.", "2: expected one root, its own parent; there are 2"},
    };
    for (const auto& [text, expected] : cases) {
        std::string error;
        EXPECT_FALSE(ReadList(text, error)) << text;
        EXPECT_EQ(error, expected);
    }
}

}  // namespace
}  // namespace tavi::replay
