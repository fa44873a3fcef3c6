// From expression trees to a minimal deterministic automaton, in the textbook's order: nondeterministic automaton with
// empty moves, classes of code units that no expression tells apart, subset construction, partition refinement. Used
// while a NameAutomaton is built.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "records/names/name_expression.h"

namespace tavi::records {

// The nondeterministic automaton of all expressions.
class ExpressionGraph {
public:
    struct State {
        enum class Kind { kUnits, kEither, kAccept };
        Kind kind;
        std::size_t next;   // kUnits, kEither
        std::size_t other;  // kEither: the second way on; kUnits: index of the set; kAccept: group
    };

    void Add(const ExpressionNode& expression, std::uint8_t group);

    const std::vector<State>& states() const { return states_; }
    const std::vector<std::size_t>& starts() const { return starts_; }
    const std::vector<UnitSet>& sets() const { return sets_; }

private:
    std::size_t Append(const State& state);
    std::size_t SetIndex(const UnitSet& set);
    std::size_t Compile(const ExpressionNode& node, std::size_t next);
    std::size_t CompileRepeat(const ExpressionNode& node, std::size_t next);

    std::vector<State> states_;
    std::vector<std::size_t> starts_;
    std::vector<UnitSet> sets_;
    std::map<UnitSet, std::size_t> setIndexes_;
};

using Bits = std::vector<std::uint64_t>;  // a set of small numbers

// Code units grouped by the sets that they are in.
struct UnitClasses {
    std::vector<std::uint8_t> classOfUnit;  // 65,536 entries
    std::vector<Bits> setsOfClass;          // by class: the sets that it is in
};
UnitClasses ClassifyUnits(const std::vector<UnitSet>& sets);

struct DeterministicAutomaton {
    std::size_t classCount = 0;
    std::vector<std::uint32_t> next;    // state * classCount + class
    std::vector<std::uint8_t> accepts;  // by state: groups, one bit each
    std::size_t start = 0;
};
DeterministicAutomaton Determinise(const ExpressionGraph& graph, const UnitClasses& classes);
DeterministicAutomaton Minimise(const DeterministicAutomaton& automaton);

}  // namespace tavi::records
