#include "records/dumps/record_dumps.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

#include "imports/path_helper.h"
#include "imports/type_convert.h"
#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

constexpr std::string_view kUsnHeader = "usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n";
constexpr std::string_view kChangeHeader =
    "fileName\toriginalFileName\tfrn\toldfrn\tfileAttributes\tisTempFile\treason\tdelayCount\ttimestamp\n";

// What follows the header line.
std::string LinesOf(const std::string& dump, std::string_view header) {
    EXPECT_EQ(dump.substr(0, header.size()), header);
    return dump.substr(header.size());
}

TEST(RecordDumps, EmptyListsGiveEmptyTextsWithoutAHeader) {
    EXPECT_EQ(FormatUsnRecords({}), "");
    EXPECT_EQ(FormatFileChangeRecords(FileChangeInfoList{}), "");
    EXPECT_EQ(FormatFileChangeRecords(StepRecordList{}), "");
}

TEST(RecordDumps, RawLineHasItsColumnsInOrder) {
    UsnRecord record;
    record.usn = 4096;
    record.reason = 0x80000102;
    record.fileAttributes = 32;
    record.timestamp = 1700000000123;
    record.filename = u"docs\\report.docx";
    record.frn = 281474976710661;
    EXPECT_EQ(LinesOf(FormatUsnRecords({record}), kUsnHeader),
              "4096\tDataExtend, FileCreate, *Close*\t32\t1700000000123\td**s\\r****t.docx\t281474976710661\t"
              "18446744073709551615\n");
}

TEST(RecordDumps, RawNumbersAreSignedOrUnsignedByColumn) {
    UsnRecord record;
    record.usn = -1;
    record.fileAttributes = 0xFFFFFFFF;
    record.timestamp = -2;
    record.frn = 0xFFFFFFFFFFFFFFFF;
    record.oldfrn = 5;
    EXPECT_EQ(LinesOf(FormatUsnRecords({record}), kUsnHeader), "-1\t\t-1\t-2\t\t18446744073709551615\t5\n");
}

TEST(RecordDumps, ProcessedLineHasItsColumnsInOrder) {
    FileChangeInfo record;
    record.fileName = u"docs\\new name.txt";
    record.originalFileName = u"old.txt";
    record.fileAttributes = 0xFFFFFFFF;
    record.isTempFile = true;
    record.reason = FileChangeReason::kRename;
    record.delayCount = 3;
    record.timestamp = -7;
    record.frn = 0xFFFFFFFFFFFFFFFE;
    record.oldfrn = 12;
    EXPECT_EQ(LinesOf(FormatFileChangeRecords(FileChangeInfoList{record}), kChangeHeader),
              "d**s\\n******e.txt\to*d.txt\t18446744073709551614\t12\t4294967295\t1\tRENAME\t3\t-7\n");
}

TEST(RecordDumps, UnnamedKindsAndUnmarkedRecordsLeaveTheirColumns) {
    FileChangeInfo record;
    record.reason = static_cast<FileChangeReason>(8);
    EXPECT_EQ(LinesOf(FormatFileChangeRecords(FileChangeInfoList{record}), kChangeHeader),
              "\t\t0\t18446744073709551615\t0\t0\t\t0\t0\n");
}

TEST(RecordDumps, StepRecordsAreDumpedLikeTheirChanges) {
    StepRecord record;
    record.fileName = u"a.tmp";
    record.originalFileName = u"b";
    record.reason = FileChangeReason::kMove;
    record.nameClass.temporary = true;
    const FileChangeInfoList changes = {record};
    EXPECT_EQ(FormatFileChangeRecords(StepRecordList{record}), FormatFileChangeRecords(changes));
}

TEST(RecordDumps, LinesStandInTheOrderOfTheRecords) {
    UsnRecordList records(3);
    records[0].usn = 3;
    records[1].usn = 1;
    records[2].usn = 2;
    const std::string none = "\t\t0\t0\t\t0\t18446744073709551615\n";
    EXPECT_EQ(LinesOf(FormatUsnRecords(records), kUsnHeader), "3" + none + "1" + none + "2" + none);
}

// A line says what it says alone, whether or not its columns repeat those of the line before.
TEST(RecordDumps, ALineDoesNotDependOnTheOneBefore) {
    const std::u16string names[] = {u"docs\\report.docx",
                                    u"docs\\r\u540Cport.docx",
                                    u"docs\\repart.docx",
                                    u"",
                                    std::u16string(3'000, u'n') + u".txt",
                                    u"\u540Cdocs\\report.docx"};
    std::mt19937 random(7);
    UsnRecordList raw;
    FileChangeInfoList changes;
    std::string rawLines(kUsnHeader);
    std::string changeLines(kChangeHeader);
    for (int i = 0; i < 2'000; ++i) {
        const auto either = [&random](auto one, auto other) { return random() % 2 == 0 ? one : other; };
        UsnRecord& record = raw.emplace_back();
        record.fileAttributes = either(0x20U, 0x80000000U);
        record.timestamp = either(std::int64_t{0}, std::int64_t{-1'700'000'000'123});
        record.filename = names[random() % std::size(names)];
        record.frn = either(std::uint64_t{0}, std::uint64_t{281'474'976'710'661});
        rawLines += LinesOf(FormatUsnRecords({record}), kUsnHeader);
        FileChangeInfo& change = changes.emplace_back();
        change.fileName = record.filename;
        change.originalFileName = names[random() % std::size(names)];
        change.fileAttributes = record.fileAttributes;
        change.delayCount = either(0U, 4'294'967'295U);
        change.timestamp = record.timestamp;
        change.frn = record.frn;
        changeLines += LinesOf(FormatFileChangeRecords(FileChangeInfoList{change}), kChangeHeader);
    }
    EXPECT_EQ(FormatUsnRecords(raw), rawLines);
    EXPECT_EQ(FormatFileChangeRecords(changes), changeLines);
}

TEST(RecordDumps, PathsAreObscuredInACopyAndInClearOnRequest) {
    FileChangeInfo record;
    record.fileName = u"secret\\müller.txt";
    record.originalFileName = u"\xD83D\xDE00\xD800.txt";
    const FileChangeInfoList records = {record};
    const std::string fuzzy = TypeConvert::UnicodeToUTF8(PathHelper::FuzzyFilePath(record.fileName));
    EXPECT_EQ(LinesOf(FormatFileChangeRecords(records), kChangeHeader).substr(0, fuzzy.size() + 1), fuzzy + "\t");
    EXPECT_EQ(records[0], record);
    const std::string clear = LinesOf(FormatFileChangeRecords(records, DumpPaths::kClear), kChangeHeader);
    EXPECT_TRUE(clear.starts_with("secret\\m\xC3\xBCller.txt\t\xF0\x9F\x98\x80\xEF\xBF\xBD.txt\t")) << clear;

    UsnRecord usn;
    usn.filename = record.fileName;
    const UsnRecordList usnRecords = {usn};
    EXPECT_NE(FormatUsnRecords(usnRecords).find("\t" + fuzzy + "\t"), std::string::npos);
    EXPECT_NE(FormatUsnRecords(usnRecords, DumpPaths::kClear).find("\tsecret\\m\xC3\xBCller.txt\t"), std::string::npos);
    EXPECT_EQ(usnRecords[0], usn);
}

TEST(RecordDumps, EveryReasonBitHasItsName) {
    const std::string_view names[] = {
        "DataOverwrite",      "DataExtend",        "DataTruncation",      "0x00000008",
        "NamedDataOverwrite", "NamedDataExtend",   "NamedDataTruncation", "0x00000080",
        "FileCreate",         "FileDelete",        "PropertyChange",      "SecurityChange",
        "RenameOldName",      "RenameNewName",     "IndexableChange",     "BasicInfoChange",
        "HardLinkChange",     "CompressionChange", "EncryptionChange",    "ObjectIdChange",
        "ReparsePointChange", "StreamChange",      "0x00400000",          "0x00800000",
        "0x01000000",         "0x02000000",        "0x04000000",          "0x08000000",
        "0x10000000",         "0x20000000",        "0x40000000",          "*Close*"};
    static_assert(std::size(names) == 32);
    std::string all;
    for (std::size_t bit = 0; bit < 32; ++bit) {
        EXPECT_EQ(FormatReasonFlags(std::uint32_t{1} << bit), names[bit]);
        all.append(bit == 0 ? "" : ", ").append(names[bit]);
    }
    EXPECT_EQ(FormatReasonFlags(0), "");
    EXPECT_EQ(FormatReasonFlags(0xFFFFFFFF), all) << "all names together fit into the column";
    EXPECT_LT(all.size(), 1024U);
}

}  // namespace
}  // namespace tavi::records
