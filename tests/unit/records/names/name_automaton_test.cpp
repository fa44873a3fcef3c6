#include "records/names/name_automaton.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace tavi::records {
namespace {

using Case = NameAutomaton::Case;

NameAutomaton One(std::u16string_view text, Case letters = Case::kExact) {
    const NameAutomaton::Expression expressions[] = {{text, 0, letters}};
    return NameAutomaton(expressions);
}

TEST(NameAutomaton, EachConstructMatchesWhatItMeans) {
    const struct {
        const char16_t* expression;
        std::vector<std::u16string> matches;
        std::vector<std::u16string> others;
    } rows[] = {
        {u"^abc$", {u"abc"}, {u"", u"ab", u"abcd", u"xabc", u"Abc"}},
        {u"^$", {u""}, {u"a"}},
        {u"^a.c$",
         {u"abc", u"a.c",
          u"a\xD800"
          u"c",
          u"a\xFFFF"
          u"c"},
         {u"ac", u"abbc"}},
        {u"^a*$", {u"", u"a", u"aaaa"}, {u"b", u"aab"}},
        {u"^a+b$", {u"ab", u"aab"}, {u"b", u"a"}},
        {u"^ab?$", {u"a", u"ab"}, {u"abb", u""}},
        {u"^a{3}$", {u"aaa"}, {u"aa", u"aaaa"}},
        {u"^a{2,3}$", {u"aa", u"aaa"}, {u"a", u"aaaa"}},
        {u"^a{0,1}$", {u"", u"a"}, {u"aa"}},
        {u"^a{2,}$", {u"aa", u"aaaaaa"}, {u"a"}},
        {u"^a{0}b$", {u"b"}, {u"ab"}},
        {u"^[0-9,a-f]{2}$", {u"0f", u",,", u"9a"}, {u"0g", u"A0", u"-0"}},
        {u"^[^0-9]$", {u"a", u"\n"}, {u"5", u""}},
        {u"^[\\.,\\-]$", {u".", u",", u"-"}, {u"\\", u"a"}},
        {u"^[a-]$", {u"a", u"-"}, {u"b"}},
        {u"^[-a]$", {u"a", u"-"}, {u"b"}},
        {u"^(ab|c|)d$", {u"abd", u"cd", u"d"}, {u"abcd", u"ab"}},
        {u"^(a|b)+$", {u"a", u"abba"}, {u"", u"abc"}},
        {u"^(a*)*$", {u"", u"aaa"}, {u"b"}},
        {u"^(ab){2}$", {u"abab"}, {u"ab", u"aabb"}},
        {u"^a|b$", {u"a", u"b"}, {u"ab"}},
        {u"^\\$\\{\\}\\.\\\\$", {u"${}.\\"}, {u"$"}},
    };
    for (const auto& row : rows) {
        const NameAutomaton automaton = One(row.expression);
        for (const std::u16string& text : row.matches) {
            EXPECT_EQ(automaton.Match(text), 1)
                << testing::PrintToString(std::u16string(row.expression)) << testing::PrintToString(text);
        }
        for (const std::u16string& text : row.others) {
            EXPECT_EQ(automaton.Match(text), 0)
                << testing::PrintToString(std::u16string(row.expression)) << testing::PrintToString(text);
        }
    }
}

TEST(NameAutomaton, DotLeavesOutTheFourLineEndsOnly) {
    const NameAutomaton automaton = One(u"^.$");
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const bool lineEnd = unit == 0xA || unit == 0xD || unit == 0x2028 || unit == 0x2029;
        ASSERT_EQ(automaton.Match(std::u16string(1, static_cast<char16_t>(unit))), lineEnd ? 0 : 1) << unit;
    }
}

TEST(NameAutomaton, GroupsAnswerIndependently) {
    const NameAutomaton::Expression expressions[] = {
        {u"^.*\\.tmp$", 0}, {u"^~.*$", 3}, {u"^~x\\.tmp$", 7}, {u"^.*\\.bak$", 0}};
    const NameAutomaton automaton(expressions);
    EXPECT_EQ(automaton.Match(u"a.tmp"), 0x01);
    EXPECT_EQ(automaton.Match(u"a.bak"), 0x01);
    EXPECT_EQ(automaton.Match(u"~a"), 0x08);
    EXPECT_EQ(automaton.Match(u"~x.tmp"), 0x89);
    EXPECT_EQ(automaton.Match(u"x"), 0x00);
}

TEST(NameAutomaton, LoweredExpressionMatchesEveryCaseOfItsLetters) {
    const NameAutomaton automaton = One(u"^.*\\.lck[a-c]$", Case::kLowered);
    EXPECT_EQ(automaton.Match(u"x.lcka"), 1);
    EXPECT_EQ(automaton.Match(u"X.LCKC"), 1);
    EXPECT_EQ(automaton.Match(u"X.LC\u212Ab"), 1) << "the Kelvin sign's lower case is k";
    EXPECT_EQ(automaton.Match(u"x.lckd"), 0);
    EXPECT_EQ(automaton.Match(u"x.lck\u0130"), 0);
    // No text's lower case holds a capital.
    EXPECT_EQ(One(u"^A$", Case::kLowered).Match(u"A"), 0);
    EXPECT_EQ(One(u"^A$", Case::kLowered).Match(u"a"), 0);
    EXPECT_EQ(One(u"^[^a]$", Case::kLowered).Match(u"A"), 0);
    EXPECT_EQ(One(u"^[^a]$", Case::kLowered).Match(u"B"), 1);
}

TEST(NameAutomaton, NothingMatchesWithoutExpressions) {
    EXPECT_EQ(NameAutomaton().Match(u""), 0);
    EXPECT_EQ(NameAutomaton().Match(u"anything"), 0);
}

TEST(NameAutomaton, StatesThatCannotBeToldApartAreOne) {
    // Start, after a, the two accepting ends are one, and the dead end.
    EXPECT_EQ(One(u"^(ab|cb)$").StateCount(), 4U);
    EXPECT_EQ(One(u"^(a|b|c|d)$").StateCount(), 3U);
    EXPECT_EQ(One(u"^a*$").StateCount(), 2U);
    EXPECT_EQ(One(u"^(a*|a*a|aa*)$").StateCount(), 2U);
}

TEST(NameAutomaton, MalformedExpressionsAreRefused) {
    const char16_t* const rows[] = {
        u"",      u"^",     u"$",       u"a",       u"^a",         u"a$",         u"^(a$",
        u"^a)$",  u"^[a$",  u"^a]$",    u"^*a$",    u"^+$",        u"^?$",        u"^a**$",
        u"^a*?$", u"^a{2$", u"^a{$",    u"^a{}$",   u"^a{x}$",     u"^a{3,2}$",   u"^a{1}{2}$",
        u"^{2}$", u"^a}$",  u"^[b-a]$", u"^a\\$",   u"^\\d$",      u"^[\\w]$",    u"^\\1$",
        u"^a^b$", u"^a$b$", u"^(?:a)$", u"^(?=a)$", u"^a{99999}$", u"^\\\u00E4$",
    };
    for (const char16_t* const text : rows) {
        EXPECT_THROW(One(text), std::regex_error) << testing::PrintToString(std::u16string(text));
    }
}

TEST(NameAutomaton, MeasurelessExpressionIsRefusedInsteadOfFillingTheMemory) {
    EXPECT_THROW(One(u"^((a{1000}){1000}){1000}$"), std::regex_error);
    EXPECT_THROW(One(u"^[ab]*a[ab]{30}$"), std::regex_error) << "two to the power of thirty states";
}

}  // namespace
}  // namespace tavi::records
