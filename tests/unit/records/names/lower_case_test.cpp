#include "records/names/lower_case.h"

#include <gtest/gtest.h>

namespace tavi::records {
namespace {

TEST(LowerCase, SingleUnitsFollowTheirSimpleLowerCase) {
    const struct {
        char16_t unit;
        char16_t lower;
    } rows[] = {
        {u'A', u'a'},     {u'Z', u'z'},     {u'[', u'['},     {u'@', u'@'},     {u'a', u'a'},     {u'0', u'0'},
        {0x00C4, 0x00E4}, {0x00D7, 0x00D7}, {0x00DE, 0x00FE}, {0x00DF, 0x00DF}, {0x0100, 0x0101}, {0x0101, 0x0101},
        {0x012F, 0x012F}, {0x0139, 0x013A}, {0x013A, 0x013A}, {0x0178, 0x00FF}, {0x0391, 0x03B1}, {0x03A3, 0x03C3},
        {0x03A2, 0x03A2}, {0x0410, 0x0430}, {0x0401, 0x0451}, {0x0531, 0x0561}, {0x10A0, 0x2D00}, {0x13A0, 0xAB70},
        {0x1E9E, 0x00DF}, {0x2126, 0x03C9}, {0x212B, 0x00E5}, {0x2160, 0x2170}, {0x24B6, 0x24D0}, {0xA640, 0xA641},
        {0xFF21, 0xFF41}, {0xFFFF, 0xFFFF}, {0x4E2D, 0x4E2D},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToLowerUnit(row.unit), row.lower) << std::hex << static_cast<unsigned>(row.unit);
    }
}

TEST(LowerCase, KelvinSignBecomesK) {
    EXPECT_EQ(ToLowerUnit(0x212A), u'k');
}

TEST(LowerCase, CapitalIWithDotStays) {
    EXPECT_EQ(ToLowerUnit(0x0130), 0x0130);
}

TEST(LowerCase, SurrogatesStayPairedOrNot) {
    for (unsigned unit = 0xD800; unit <= 0xDFFF; ++unit) {
        ASSERT_EQ(ToLowerUnit(static_cast<char16_t>(unit)), unit);
    }
    EXPECT_EQ(ToLower(u"\xD801\xDC00X"), u"\xD801\xDC00x");
}

TEST(LowerCase, LoweringTwiceChangesNothing) {
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const char16_t lowered = ToLowerUnit(static_cast<char16_t>(unit));
        ASSERT_EQ(ToLowerUnit(lowered), lowered) << std::hex << unit;
    }
}

TEST(LowerCase, TextIsLoweredUnitByUnit) {
    EXPECT_EQ(ToLower(u"Größe ÄÖÜ.TXT"), u"größe äöü.txt");
    EXPECT_EQ(ToLower(u""), u"");
}

}  // namespace
}  // namespace tavi::records
