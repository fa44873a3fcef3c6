#include "change_lines.h"

#include <gtest/gtest.h>

namespace tavi::client {
namespace {

TEST(ChangeLines, AlignColumnsAndNameTheOldPath) {
    const Change renamed{7, 1'700'000'000'123, "new.txt", "old.txt", 0x20, kChangeRename, 1, 2};
    EXPECT_EQ(FormatChangeLine(renamed, LineStyle::kPlain), "2023-11-14 22:13:20.123  rename  new.txt  (was old.txt)");
    const Change moved{8, 0, "d\\a", "a", 0x20, kChangeMove, 1, 2};
    EXPECT_EQ(FormatChangeLine(moved, LineStyle::kPlain), "1970-01-01 00:00:00.000  move    d\\a  (was a)");
}

TEST(ChangeLines, MarkDirectories) {
    EXPECT_EQ(FormatChangeLine({1, 0, "dir", "", 0x10, kChangeCreate, 1, 2}, LineStyle::kPlain),
              "1970-01-01 00:00:00.000  create  dir\\");
}

TEST(ChangeLines, AColourEndsWhereItsTextEnds) {
    EXPECT_EQ(FormatChangeLine({1, 0, "a", "", 0x20, kChangeDelete, 1, 2}, LineStyle::kColoured),
              "\x1B[2m1970-01-01 00:00:00.000\x1B[0m  \x1B[31mdelete\x1B[0m  a");
}

TEST(ChangeLines, ANameCannotSteerTheTerminal) {
    EXPECT_EQ(WithoutControls("a\x1B[31m\n\x7F\xC2\x9B"
                              "b\xC2\xA0\xC3\xA4"),
              "a?[31m???b\xC2\xA0\xC3\xA4" + std::string());
}

TEST(ChangeLines, NumbersAreGrouped) {
    EXPECT_EQ(FormatNumber(0), "0");
    EXPECT_EQ(FormatNumber(999), "999");
    EXPECT_EQ(FormatNumber(1000), "1,000");
    EXPECT_EQ(FormatNumber(-1234567), "-1,234,567");
    EXPECT_EQ(FormatNumber(-123), "-123");
}

TEST(ChangeLines, TimesBeforeTheEpochAreTimesToo) {
    EXPECT_EQ(FormatTimestamp(-1), "1969-12-31 23:59:59.999");
}

}  // namespace
}  // namespace tavi::client
