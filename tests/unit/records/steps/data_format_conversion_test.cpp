#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

constexpr std::uint32_t kClose = 0x80000000;

class DataFormatConversionTest : public StepTest {
protected:
    StepRecordList Convert(const UsnRecordList& records) { return DataFormatConversion(records, context); }

    std::vector<FileChangeReason> KindsOf(const UsnRecordList& records) {
        std::vector<FileChangeReason> kinds;
        for (const StepRecord& record : Convert(records)) {
            kinds.push_back(record.reason);
        }
        return kinds;
    }
    using Kinds = std::vector<FileChangeReason>;
};

TEST_F(DataFormatConversionTest, EmptyListConvertsToAnEmptyList) {
    EXPECT_TRUE(Convert({}).empty());
}

TEST_F(DataFormatConversionTest, RecordThatOnlyAddsInsignificantBitsIsDropped) {
    EXPECT_EQ(KindsOf({Usn(0x1, u"a.txt"), Usn(0x1 | kClose, u"a.txt")}), Kinds{kModify});
    EXPECT_EQ(KindsOf({Usn(0x2, u"a.txt"), Usn(0x8002, u"a.txt"), Usn(0x80008002, u"a.txt")}), Kinds{kModify});
}

TEST_F(DataFormatConversionTest, CloseAloneYieldsNothing) {
    EXPECT_EQ(KindsOf({Usn(kClose, u"a.txt")}), Kinds{});
}

TEST_F(DataFormatConversionTest, CreatedAndDeletedWhenClosedYieldsDelete) {
    EXPECT_EQ(KindsOf({Usn(0x80000300, u"a.txt")}), Kinds{kDelete});
}

TEST_F(DataFormatConversionTest, DataChangeWithOldNameYieldsModifyThenOldName) {
    EXPECT_EQ(KindsOf({Usn(0x1003, u"a.txt")}), (Kinds{kModify, kRenameOldName}));
}

TEST_F(DataFormatConversionTest, BothRenameBitsYieldTheOldNameOnly) {
    EXPECT_EQ(KindsOf({Usn(0x3000, u"a.txt")}), Kinds{kRenameOldName});
}

TEST_F(DataFormatConversionTest, SecondOldNameOfTheSameFileAndNameIsDropped) {
    EXPECT_EQ(KindsOf({Usn(0x1000, u"a.txt"), Usn(0x100, u"b.txt"), Usn(0x1000, u"a.txt")}),
              (Kinds{kRenameOldName, kCreate}));
}

TEST_F(DataFormatConversionTest, DirectoryWithATemporaryNameIsNoTemporaryFile) {
    const StepRecordList records = Convert({Usn(0x100, u"cache.tmp", kDirectory), Usn(0x100, u"file.tmp", kFile)});
    ASSERT_EQ(records.size(), 2U);
    EXPECT_FALSE(records[0].isTempFile);
    EXPECT_TRUE(records[1].isTempFile);
}

TEST_F(DataFormatConversionTest, ReasonsMeanTheirKinds) {
    const struct {
        std::uint32_t reason;
        Kinds kinds;
    } rows[] = {
        {0x100, {kCreate}},
        {0x500, {kCreate}},
        {0x900, {}},  // create with a security change is no create
        {0x700, {}},
        {0x101, {kModify}},  // create with data is a modification
        {0x502, {kModify}},
        {0x1, {kModify}},
        {0x2, {kModify}},
        {0x4, {kModify}},
        {0x8, {}},
        {0x70, {}},   // named streams
        {0x200, {}},  // a deletion counts when closed
        {0x80000200, {kDelete}},
        {0x80000207, {kDelete}},
        {0x80003200, {kDelete}},
        {0x80000001, {kModify}},
        {0x80000102, {kModify}},
        {0x80000100, {}},
        {0x80000500, {}},
        {0x80001000, {}},  // a closing record takes no part in renames
        {0x80002000, {}},
        {0x80002001, {kModify}},
        {0x1000, {kRenameOldName}},
        {0x2000, {kRenameNewName}},
        {0x1100, {kRenameOldName}},
        {0x2100, {kRenameNewName}},
        {0x2004, {kModify, kRenameNewName}},
        {0x3007, {kModify, kRenameOldName}},
        {0x8000, {}},
        {0x400, {}},
        {0, {}},
        {0x7FFFFFFF, {kModify, kRenameOldName}},
        {0xFFFFFFFF, {kDelete}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(KindsOf({Usn(row.reason, u"a.txt")}), row.kinds) << std::hex << row.reason;
    }
}

TEST_F(DataFormatConversionTest, SuppressionNeedsTheSameNameAllOldBitsAndNoNewSignificantOne) {
    const struct {
        const char* title;
        UsnRecordList records;
        std::size_t results;
    } rows[] = {
        {"same reason", {Usn(0x2, u"a"), Usn(0x2, u"a")}, 1},
        {"another name", {Usn(0x2, u"a"), Usn(0x2, u"A")}, 2},
        {"a prefix of the name", {Usn(0x2, u"ab"), Usn(0x2, u"a")}, 2},
        {"a bit is gone", {Usn(0x8002, u"a"), Usn(0x2, u"a")}, 2},
        {"a new data bit", {Usn(0x2, u"a"), Usn(0x3, u"a")}, 2},
        {"a new data bit, closed", {Usn(0x2, u"a"), Usn(0x80000003, u"a")}, 2},
        {"deleted", {Usn(0x2, u"a"), Usn(0x80000202, u"a")}, 2},
        {"the number plays no part", {Usn(0x2, u"a", kFile, 1), Usn(0x2, u"a", kFile, 2)}, 1},
        {"one record between", {Usn(0x2, u"a"), Usn(0x2, u"b"), Usn(0x2, u"a")}, 3},
        {"nothing before it", {Usn(0, u"a"), Usn(0x8000, u"a"), Usn(0x8001, u"a")}, 1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Convert(row.records).size(), row.results) << row.title;
    }
}

TEST_F(DataFormatConversionTest, SuppressionComparesWithThePreviousInputWhateverItProduced) {
    // The second is suppressed, the third is compared with it, not with the first.
    EXPECT_EQ(KindsOf({Usn(0x2, u"a"), Usn(0x8002, u"a"), Usn(0x2, u"a")}), (Kinds{kModify, kModify}));
    // The first produced nothing and still silences the second.
    EXPECT_EQ(KindsOf({Usn(0x80000100, u"a"), Usn(0x80008100, u"a")}), Kinds{});
    EXPECT_EQ(KindsOf({Usn(0x900, u"a"), Usn(0x80000900, u"a")}), Kinds{});
}

TEST_F(DataFormatConversionTest, RenameHalvesAreDroppedOnlyForTheSameFileKindAndName) {
    const auto halves = [this](const UsnRecord& first, const UsnRecord& second) {
        return Convert({first, Usn(0x1, u"between", kFile, 99), second}).size() - 1;
    };
    EXPECT_EQ(halves(Usn(0x2000, u"a"), Usn(0x2000, u"a")), 1U);
    EXPECT_EQ(halves(Usn(0x2000, u"a"), Usn(0x1000, u"a")), 2U);
    EXPECT_EQ(halves(Usn(0x2000, u"a"), Usn(0x2000, u"A")), 2U);
    EXPECT_EQ(halves(Usn(0x2000, u"a", kFile, 1), Usn(0x2000, u"a", kFile, 2)), 2U);
    EXPECT_EQ(halves(Usn(0x2001, u"a"), Usn(0x2001, u"a")), 3U) << "the modification is emitted again";
}

TEST_F(DataFormatConversionTest, RecordIsBuiltFromItsSource) {
    UsnRecord source = Usn(0x100, u"d\\~$a.docx", 0x26, 42);
    source.timestamp = -5;
    source.oldfrn = 3;
    const StepRecordList records = Convert({source});
    ASSERT_EQ(records.size(), 1U);
    FileChangeInfo expected;
    expected.fileName = u"d\\~$a.docx";
    expected.fileAttributes = 0x26;
    expected.isTempFile = true;
    expected.reason = kCreate;
    expected.timestamp = -5;
    expected.frn = 42;
    EXPECT_EQ(static_cast<const FileChangeInfo&>(records[0]), expected);
    EXPECT_EQ(records[0], Rules().ToStepRecord(expected));
}

TEST_F(DataFormatConversionTest, DelayRecordsFlowInFirstAndTheHeldListIsEmptied) {
    FileChangeInfo held = Change(kRenameOldName, u"a.tmp");
    held.delayCount = 2;
    held.isTempFile = false;  // as it was stored, right or wrong
    delayRecords = {held};
    const StepRecordList records = DataFormatConversion({Usn(0x100, u"b"), Usn(0x1000, u"a.tmp")}, context);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0], Rules().ToStepRecord(held));
    EXPECT_EQ(records[1].reason, kCreate);
    EXPECT_EQ(records[2].reason, kRenameOldName) << "a held record is no part of the conversion's own output";
    EXPECT_TRUE(delayRecords.empty());
}

TEST_F(DataFormatConversionTest, HeldRecordsFlowThroughAnEmptyBatch) {
    delayRecords = {Change(kRename, u"x"), Change(kCreate, u"y")};
    EXPECT_EQ(OutlineOf(DataFormatConversion({}, context)), (Outline{{kRename, u"x"}, {kCreate, u"y"}}));
    EXPECT_TRUE(delayRecords.empty());
}

TEST_F(DataFormatConversionTest, OutputKeepsTheOrderOfTheInput) {
    UsnRecordList records;
    Outline expected;
    for (int i = 0; i < 100; ++i) {
        const std::u16string name(static_cast<std::size_t>(i % 7 + 1), static_cast<char16_t>(u'a' + i % 26));
        records.push_back(Usn(0x2004, name, kFile, static_cast<std::uint64_t>(i)));
        expected.emplace_back(kModify, name);
        expected.emplace_back(kRenameNewName, name);
    }
    EXPECT_EQ(OutlineOf(Convert(records)), expected);
}

}  // namespace
}  // namespace tavi::records
