// Parses one name expression (the ECMAScript subset of name_automaton.h) into a tree. Used while the automaton is
// built.
#pragma once

#include <string_view>
#include <vector>

namespace tavi::records {

// Code units, both ends included. A set is sorted and its ranges neither overlap nor touch.
struct UnitRange {
    char16_t first;
    char16_t last;

    friend auto operator<=>(const UnitRange&, const UnitRange&) = default;
};
using UnitSet = std::vector<UnitRange>;

UnitSet MakeUnitSet(std::vector<UnitRange> ranges);
UnitSet Complement(const UnitSet& set);
bool Contains(const UnitSet& set, char16_t unit);

struct ExpressionNode {
    enum class Kind { kUnits, kSequence, kAlternatives, kRepeat };
    static constexpr unsigned kUnbounded = ~0U;

    Kind kind = Kind::kSequence;
    UnitSet units;                         // kUnits
    std::vector<ExpressionNode> children;  // kSequence (empty: the empty text), kAlternatives; one for kRepeat
    unsigned atLeast = 0;                  // kRepeat
    unsigned atMost = 0;                   // kRepeat, or kUnbounded
};

// The tree of what stands between ^ and $. Throws std::regex_error.
ExpressionNode ParseNameExpression(std::u16string_view text);

}  // namespace tavi::records
