#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

class PlaceholderFilterTest : public StepTest {
protected:
    std::vector<std::u16string> Kept(UsnRecordList records) {
        std::vector<std::u16string> names;
        for (const UsnRecord& record : FilterPlaceholders(std::move(records), context)) {
            names.push_back(record.filename);
        }
        return names;
    }

    static UsnRecordList Release() {
        return {Usn(0x80000000, u"a"), Usn(0x8000, u"b"), Usn(0x108000, u"c"), Usn(0x108001, u"d"),
                Usn(0x80108001, u"e")};
    }

    static UsnRecordList Hydration(std::u16string first, std::u16string last) {
        UsnRecordList records(8, Usn(0x2, u"between"));
        records.front() = Usn(0x100000, std::move(first));
        records.back() = Usn(0x80000200, std::move(last));
        return records;
    }

    using Names = std::vector<std::u16string>;
};

TEST_F(PlaceholderFilterTest, ReleaseVanishesWhateverTheNames) {
    EXPECT_EQ(Kept(Release()), Names{});
}

TEST_F(PlaceholderFilterTest, FourRecordsOfAReleaseAtTheEndOfABatchAreKept) {
    UsnRecordList records = Release();
    records.pop_back();
    EXPECT_EQ(Kept(records), (Names{u"a", u"b", u"c", u"d"}));
}

TEST_F(PlaceholderFilterTest, CreationVanishesAndItsNeighbourIsKept) {
    EXPECT_EQ(Kept({Usn(0x80100102, u"a"), Usn(0x80100106, u"b")}), Names{u"b"});
    EXPECT_EQ(Kept({Usn(0x80100100, u"a"), Usn(0x80100101, u"b"), Usn(0x100100, u"c")}), (Names{u"b", u"c"}));
}

TEST_F(PlaceholderFilterTest, EmptyListStaysEmpty) {
    EXPECT_EQ(Kept({}), Names{});
}

TEST_F(PlaceholderFilterTest, ReleaseNeedsEveryReasonInItsPlace) {
    for (std::size_t wrong = 0; wrong < 5; ++wrong) {
        UsnRecordList records = Release();
        records[wrong].reason ^= 0x4;
        EXPECT_EQ(Kept(records).size(), 5U) << wrong;
    }
}

TEST_F(PlaceholderFilterTest, ReleaseIsFoundAmongOthersAndTwiceInARow) {
    UsnRecordList records = {Usn(0x80000000, u"first")};
    for (int i = 0; i < 2; ++i) {
        std::ranges::copy(Release(), std::back_inserter(records));
    }
    records.push_back(Usn(0x80000000, u"last"));
    EXPECT_EQ(Kept(records), (Names{u"first", u"last"}));
}

TEST_F(PlaceholderFilterTest, HydrationVanishesWithTheSixRecordsBetween) {
    UsnRecordList records = Hydration(u"docs\\plan.txt", u"docs\\~Nuvexa_plan.txt_1.tmp");
    records.insert(records.begin(), Usn(0x2, u"before"));
    records.push_back(Usn(0x2, u"after"));
    EXPECT_EQ(Kept(records), (Names{u"before", u"after"}));
}

TEST_F(PlaceholderFilterTest, HydrationNeedsItsTemporaryFileAndTheNameInIt) {
    const struct {
        const char* title;
        UsnRecordList records;
    } rows[] = {
        {"another name", Hydration(u"plan.txt", u"~Nuvexa_plan.doc.tmp")},
        {"another case", Hydration(u"Plan.txt", u"~Nuvexa_plan.txt.tmp")},
        {"no temporary file", Hydration(u"plan.txt", u"~Nuvexa_plan.txt.bak")},
        {"the name stands in the folder", Hydration(u"plan.txt", u"plan.txt\\~Nuvexa_x.tmp")},
        {"the prefix is spelt otherwise", Hydration(u"plan.txt", u"~nuvexa_plan.txt.tmp")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Kept(row.records).size(), 8U) << row.title;
    }
    UsnRecordList records = Hydration(u"plan.txt", u"~Nuvexa_plan.txt.tmp");
    records[0].reason = 0x100001;
    EXPECT_EQ(Kept(records).size(), 8U);
    records[0].reason = 0x100000;
    records[7].reason = 0x80000300;
    EXPECT_EQ(Kept(records).size(), 8U);
    records[7].reason = 0x80000200;
    records.erase(records.begin() + 3);
    EXPECT_EQ(Kept(records).size(), 7U) << "the eighth record is missing";
    EXPECT_EQ(Kept(Hydration(u"x\\plan.txt", u"y\\~Nuvexa_plan.txt.tmp")).size(), 0U) << "folders play no part";
}

TEST_F(PlaceholderFilterTest, KeptRecordsOnlyLoseTheirOldNumber) {
    UsnRecord record = Usn(0x2, u"a", kFile | kHidden, 9);
    record.oldfrn = 5;
    const UsnRecordList kept = FilterPlaceholders({record}, context);
    record.oldfrn = -1;
    EXPECT_EQ(kept, UsnRecordList{record});
}

TEST_F(PlaceholderFilterTest, KeptRecordsStandInTheOrderOfTheInput) {
    EXPECT_EQ(Kept({Usn(1, u"c"), Usn(0x80100100, u"x"), Usn(1, u"a"), Usn(0x80000000, u"b")}),
              (Names{u"c", u"a", u"b"}));
}

}  // namespace
}  // namespace tavi::records
