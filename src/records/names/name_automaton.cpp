#include "records/names/name_automaton.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

#include "records/names/automaton_builder.h"
#include "records/names/lower_case.h"
#include "records/names/name_expression.h"

namespace tavi::records {
namespace {

// Replaces the sets of an expression by the units whose lower case is in them.
class Lowering {
public:
    Lowering() {
        for (unsigned value = 0; value <= 0xFFFF; ++value) {
            const auto unit = static_cast<char16_t>(value);
            if (ToLowerUnit(unit) != unit) {
                capitals_.push_back(unit);
            }
        }
    }

    void Apply(ExpressionNode& node) const {
        if (node.kind == ExpressionNode::Kind::kUnits) {
            node.units = Preimage(node.units);
        }
        for (ExpressionNode& child : node.children) {
            Apply(child);
        }
    }

private:
    UnitSet Preimage(const UnitSet& set) const {
        std::vector<UnitRange> inside(set);
        std::vector<UnitRange> outside;
        for (const char16_t capital : capitals_) {
            (Contains(set, ToLowerUnit(capital)) ? inside : outside).push_back({capital, capital});
        }
        const UnitSet excluded = Complement(MakeUnitSet(std::move(inside)));
        outside.insert(outside.end(), excluded.begin(), excluded.end());
        return Complement(MakeUnitSet(std::move(outside)));
    }

    std::vector<char16_t> capitals_;
};

ExpressionGraph MakeGraph(std::span<const NameAutomaton::Expression> expressions) {
    std::optional<Lowering> lowering;
    ExpressionGraph graph;
    for (const NameAutomaton::Expression& expression : expressions) {
        ExpressionNode tree = ParseNameExpression(expression.text);
        if (expression.letters == NameAutomaton::Case::kLowered) {
            if (!lowering) {
                lowering.emplace();
            }
            lowering->Apply(tree);
        }
        graph.Add(tree, expression.group);
    }
    return graph;
}

}  // namespace

NameAutomaton::NameAutomaton(std::span<const Expression> expressions) {
    const ExpressionGraph graph = MakeGraph(expressions);
    const UnitClasses classes = ClassifyUnits(graph.sets());
    const DeterministicAutomaton automaton = Minimise(Determinise(graph, classes));

    classCount_ = automaton.classCount;
    const std::size_t stride = classCount_ + 1;
    startRow_ = automaton.start * stride;
    rows_.reserve(automaton.accepts.size() * stride);
    for (std::size_t state = 0; state < automaton.accepts.size(); ++state) {
        for (std::size_t unitClass = 0; unitClass < classCount_; ++unitClass) {
            rows_.push_back(static_cast<std::uint32_t>(automaton.next[state * classCount_ + unitClass] * stride));
        }
        rows_.push_back(automaton.accepts[state]);
    }
    // Most of the 256 pages are alike and stand once.
    std::map<std::u8string, std::uint16_t> pageAt;
    for (std::size_t page = 0; page < pages_.size(); ++page) {
        const auto begin = classes.classOfUnit.begin() + static_cast<std::ptrdiff_t>(page * 256);
        const auto [entry, isNew] =
            pageAt.try_emplace(std::u8string(begin, begin + 256), static_cast<std::uint16_t>(unitClasses_.size()));
        if (isNew) {
            unitClasses_.insert(unitClasses_.end(), begin, begin + 256);
        }
        pages_[page] = entry->second;
    }
}

}  // namespace tavi::records
