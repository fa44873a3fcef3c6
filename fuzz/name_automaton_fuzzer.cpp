// The name automaton against a naive matcher that keeps the set of places the text may have been read up to. The input
// is an expression and a name, parted by its first line feed: the name is matched against the expression (when that is
// one) and against the product's own tables.
#include <algorithm>
#include <bitset>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "records/names/lower_case.h"
#include "records/names/name_automaton.h"
#include "records/names/name_expression.h"
#include "records/names/temporary_file_rules.h"

namespace {

using namespace tavi::records;

constexpr std::size_t kLongestInput = 120;
using Places = std::bitset<kLongestInput + 1>;

Places After(const ExpressionNode& node, std::u16string_view text, const Places& before);

Places AfterUnits(const UnitSet& units, std::u16string_view text, const Places& before) {
    Places result;
    for (std::size_t place = 0; place < text.size(); ++place) {
        result[place + 1] = before[place] && Contains(units, text[place]);
    }
    return result;
}

Places AfterRepeat(const ExpressionNode& node, std::u16string_view text, Places reached) {
    Places result = node.atLeast == 0 ? reached : Places{};
    std::vector<Places> seen;  // a round that gives what an earlier one gave cannot lead anywhere new
    for (unsigned round = 1; round <= node.atMost && reached.any(); ++round) {
        reached = After(node.children.front(), text, reached);
        if (round < node.atLeast) {
            continue;
        }
        result |= reached;
        if (std::ranges::find(seen, reached) != seen.end()) {
            break;
        }
        seen.push_back(reached);
    }
    return result;
}

Places After(const ExpressionNode& node, std::u16string_view text, const Places& before) {
    if (before.none()) {
        return {};
    }
    Places result;
    switch (node.kind) {
        case ExpressionNode::Kind::kUnits:
            return AfterUnits(node.units, text, before);
        case ExpressionNode::Kind::kSequence:
            result = before;
            for (const ExpressionNode& child : node.children) {
                result = After(child, text, result);
            }
            return result;
        case ExpressionNode::Kind::kAlternatives:
            for (const ExpressionNode& child : node.children) {
                result |= After(child, text, before);
            }
            return result;
        case ExpressionNode::Kind::kRepeat:
            return AfterRepeat(node, text, before);
    }
    return result;
}

bool Matches(const ExpressionNode& tree, std::u16string_view text) {
    return After(tree, text, Places(1))[text.size()];
}

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

struct Tables {
    Tables() {
        for (const auto pattern : TemporaryFileRules::TemporaryPatterns()) {
            temporary.push_back(ParseNameExpression(pattern));
        }
        for (const auto pattern : TemporaryFileRules::SpecialPatterns()) {
            special.push_back(ParseNameExpression(pattern));
        }
        for (const auto& [family, pattern] : rules.lockFileMap()) {
            lock.push_back(ParseNameExpression(pattern));
        }
        hydration.push_back(ParseNameExpression(TemporaryFileRules::HydrationPattern()));
    }

    NameClass Classify(std::u16string_view name) const {
        const auto any = [](const std::vector<ExpressionNode>& trees, std::u16string_view text) {
            return std::ranges::any_of(trees, [text](const ExpressionNode& tree) { return Matches(tree, text); });
        };
        return {.temporary = any(temporary, name),
                .lock = any(lock, name),
                .specialLowered = any(special, ToLower(name)),
                .hydration = any(hydration, name)};
    }

    TemporaryFileRules rules;
    std::vector<ExpressionNode> temporary;
    std::vector<ExpressionNode> special;
    std::vector<ExpressionNode> lock;
    std::vector<ExpressionNode> hydration;
};

// Bytes below 0x80 are themselves, so that the fuzzer can write ASCII; the others select units that the rules treat in
// a way of their own.
std::u16string ToUnits(const std::uint8_t* data, std::size_t size) {
    static constexpr std::u16string_view kOthers =
        u"\r\n\u2028\u2029\u212A\u0130\u00C4\u00E4\u0401\xD800\xDC00\xFFFF\\";
    std::u16string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += data[i] < 0x80 ? static_cast<char16_t>(data[i]) : kOthers[data[i] % kOthers.size()];
    }
    return text;
}

void CheckExpression(const std::u16string& expression, std::u16string_view name) {
    // Both ways in turn: building an automaton takes most of the time.
    const bool lowered = name.size() % 2 != 0;
    try {
        const ExpressionNode tree = ParseNameExpression(expression);
        const NameAutomaton::Expression expressions[] = {
            {expression, 5, lowered ? NameAutomaton::Case::kLowered : NameAutomaton::Case::kExact}};
        const bool matched = NameAutomaton(expressions).Match(name) == 1U << 5;
        Require(matched == Matches(tree, lowered ? ToLower(name) : std::u16string(name)));
    } catch (const std::regex_error&) {
        // Malformed, beyond the subset, or too large.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tables tables;
    if (size > kLongestInput) {
        return 0;
    }
    const std::uint8_t* const border = std::find(data, data + size, std::uint8_t{'\n'});
    const auto expressionSize = static_cast<std::size_t>(border - data);
    const std::size_t nameBegin = std::min(size, expressionSize + 1);
    const std::u16string name = ToUnits(data + nameBegin, size - nameBegin);
    // Long expressions make large automata, and large automata slow runs.
    if (expressionSize <= 24) {
        CheckExpression(ToUnits(data, expressionSize), name);
    }
    Require(tables.rules.Classify(name) == tables.Classify(LastComponent(name)));
    return 0;
}
