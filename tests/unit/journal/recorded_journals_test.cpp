// Journals recorded on real machines, decoded field by field as other tools decode them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "imports/type_convert.h"
#include "journal/usn_decoder.h"
#include "unit/journal/recorded_journal.h"

namespace tavi::journal {
namespace {

using testing::RecordedFile;
using testing::RecordedStream;
using testing::RecordedTable;
using testing::WithoutGaps;

// The columns of the tables that both sides have.
std::vector<std::string> Columns(const UsnRecordView& record) {
    std::u16string name(record.nameUnits(), u'\0');
    record.CopyName(name.data());
    return {std::to_string(record.usn()),
            std::to_string(record.reason()),
            std::to_string(record.fileAttributes()),
            std::to_string(record.timeStamp()),
            TypeConvert::UnicodeToUTF8(name),
            std::to_string(record.fileReferenceNumber()),
            std::to_string(record.parentFileReferenceNumber()),
            std::to_string(record.sourceInfo()),
            std::to_string(record.securityId()),
            std::to_string(record.recordLength())};
}

std::vector<std::string> Columns(const std::vector<std::string>& row) {
    const auto decimal = [](const std::string& text) { return std::to_string(std::stoul(text, nullptr, 0)); };
    return {row[0], decimal(row[1]), decimal(row[2]), row[3], row[4], row[5], row[6], decimal(row[8]), row[9], row[11]};
}

class RecordedJournals : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(RecordedFile(GetParam() + ".J"))) {
            GTEST_SKIP() << "no recorded journal " << RecordedFile(GetParam() + ".J");
        }
    }
};

TEST_P(RecordedJournals, DecodeFieldForFieldAsListed) {
    std::vector<std::vector<std::string>> expected;
    for (const std::vector<std::string>& row : RecordedTable(GetParam() + ".tsv")) {
        if (row[7].starts_with("2.")) {
            expected.push_back(Columns(row));
        }
    }
    ASSERT_FALSE(expected.empty());
    const std::vector<std::byte> records = WithoutGaps(RecordedStream(GetParam()));
    UsnDecoder decoder(records);
    UsnRecordView record;
    std::vector<std::vector<std::string>> decoded;
    while (decoder.Next(record)) {
        decoded.push_back(Columns(record));
    }
    EXPECT_FALSE(decoder.malformed());
    EXPECT_EQ(decoded, expected);
}

INSTANTIATE_TEST_SUITE_P(Files, RecordedJournals, ::testing::Values("dfir", "plaso"),
                         [](const auto& instance) { return instance.param; });

}  // namespace
}  // namespace tavi::journal
