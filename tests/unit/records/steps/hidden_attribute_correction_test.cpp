#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

constexpr std::uint32_t kNewName = 0x2000;
constexpr std::uint32_t kBasicInfo = 0x8000;
constexpr std::uint32_t kClose = 0x80000000;

class HiddenAttributeCorrectionTest : public StepTest {
protected:
    std::vector<std::uint32_t> Attributes(UsnRecordList records) {
        std::vector<std::uint32_t> attributes;
        for (const UsnRecord& record : CorrectHiddenAttributes(std::move(records), context)) {
            attributes.push_back(record.fileAttributes);
        }
        return attributes;
    }
    using List = std::vector<std::uint32_t>;
    static constexpr std::uint32_t kHiddenFile = kFile | kHidden;
    static constexpr std::uint32_t kHiddenDirectory = kDirectory | kHidden;
};

TEST_F(HiddenAttributeCorrectionTest, FileRenamedIntoPlaceHiddenAndThenMadeVisibleIsReportedVisible) {
    EXPECT_EQ(Attributes({Usn(kNewName, u"a.docx", kHiddenFile), Usn(kBasicInfo, u"a.docx", kFile)}),
              (List{kFile, kFile}));
}

TEST_F(HiddenAttributeCorrectionTest, VisibleChangeOfANameNeverSeenHiddenChangesNothing) {
    EXPECT_EQ(Attributes({Usn(kNewName, u"a.docx", kHiddenFile), Usn(kBasicInfo, u"b.docx", kFile)}),
              (List{kHiddenFile, kFile}));
}

TEST_F(HiddenAttributeCorrectionTest, EmptyListStaysEmpty) {
    EXPECT_EQ(Attributes({}), List{});
}

TEST_F(HiddenAttributeCorrectionTest, CorrectionNeedsItsTwoRecords) {
    const struct {
        const char* title;
        UsnRecord arrival;
        UsnRecord change;
        bool corrected;
    } rows[] = {
        {"directory", Usn(kNewName, u"a", kHiddenDirectory), Usn(kBasicInfo, u"a", kDirectory), true},
        {"directory with a temporary name", Usn(kNewName, u"a.tmp", kHiddenDirectory),
         Usn(kBasicInfo, u"a.tmp", kDirectory), true},
        {"more reasons", Usn(kNewName | 0x3, u"a", kHiddenFile), Usn(kBasicInfo | 0x7, u"a", kFile), true},
        {"temporary file", Usn(kNewName, u"a.tmp", kHiddenFile), Usn(kBasicInfo, u"a.tmp", kFile), false},
        {"temporary file made visible", Usn(kNewName, u"a.tmp", kHiddenDirectory), Usn(kBasicInfo, u"a.tmp", kFile),
         false},
        {"arrival closed", Usn(kNewName | kClose, u"a", kHiddenFile), Usn(kBasicInfo, u"a", kFile), false},
        {"change closed", Usn(kNewName, u"a", kHiddenFile), Usn(kBasicInfo | kClose, u"a", kFile), false},
        {"still hidden", Usn(kNewName, u"a", kHiddenFile), Usn(kBasicInfo, u"a", kHiddenFile), false},
        {"no basic-info change", Usn(kNewName, u"a", kHiddenFile), Usn(0x2, u"a", kFile), false},
        {"another case", Usn(kNewName, u"a", kHiddenFile), Usn(kBasicInfo, u"A", kFile), false},
        {"old name", Usn(0x1000, u"a", kHiddenFile), Usn(kBasicInfo, u"a", kFile), false},
    };
    for (const auto& row : rows) {
        const std::uint32_t expected =
            row.corrected ? row.arrival.fileAttributes & ~kHidden : row.arrival.fileAttributes;
        EXPECT_EQ(Attributes({row.arrival, row.change}), (List{expected, row.change.fileAttributes})) << row.title;
    }
}

TEST_F(HiddenAttributeCorrectionTest, LatestArrivalIsCorrectedAndOnce) {
    const UsnRecord arrival = Usn(kNewName, u"a", kHiddenFile);
    const UsnRecord visible = Usn(kBasicInfo, u"a", kFile);
    EXPECT_EQ(Attributes({arrival, arrival, visible}), (List{kHiddenFile, kFile, kFile}));
    EXPECT_EQ(Attributes({arrival, arrival, visible, visible}), (List{kHiddenFile, kFile, kFile, kFile}));
    EXPECT_EQ(Attributes({arrival, visible, arrival}), (List{kFile, kFile, kHiddenFile}));
    EXPECT_EQ(Attributes({visible, arrival}), (List{kFile, kHiddenFile}));
}

TEST_F(HiddenAttributeCorrectionTest, HiddenArrivalWithBasicInfoIsAnArrivalOnly) {
    EXPECT_EQ(Attributes({Usn(kNewName | kBasicInfo, u"a", kHiddenFile), Usn(kNewName | kBasicInfo, u"a", kFile)}),
              (List{kFile, kFile}));
}

TEST_F(HiddenAttributeCorrectionTest, EveryRecordIsKeptInOrderAndLosesItsOldNumber) {
    UsnRecordList records = {Usn(kClose, u"c"), Usn(kNewName, u"a", kHiddenFile), Usn(0, u"b")};
    for (UsnRecord& record : records) {
        record.oldfrn = 11;
    }
    UsnRecordList expected = records;
    for (UsnRecord& record : expected) {
        record.oldfrn = -1;
    }
    EXPECT_EQ(CorrectHiddenAttributes(records, context), expected);
}

}  // namespace
}  // namespace tavi::records
