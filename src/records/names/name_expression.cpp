#include "records/names/name_expression.h"

#include <algorithm>
#include <regex>
#include <utility>

namespace tavi::records {
namespace {

using std::regex_constants::error_type;

// Far above what any rule needs; keeps a slip of the pen from filling the memory.
constexpr unsigned kMaximumRepeat = 1000;

class Parser {
public:
    explicit Parser(std::u16string_view text) : rest_(text) {}

    ExpressionNode Parse() {
        if (rest_.size() < 2 || rest_.front() != u'^' || rest_.back() != u'$') {
            Fail(std::regex_constants::error_complexity);  // would not be a test of the whole name
        }
        rest_ = rest_.substr(1, rest_.size() - 2);
        ExpressionNode node = ParseAlternatives();
        if (!rest_.empty()) {
            Fail(std::regex_constants::error_paren);
        }
        return node;
    }

private:
    [[noreturn]] static void Fail(error_type code) { throw std::regex_error(code); }

    bool Accept(char16_t unit) {
        if (rest_.empty() || rest_.front() != unit) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    char16_t Take(error_type whenEmpty) {
        if (rest_.empty()) {
            Fail(whenEmpty);
        }
        const char16_t unit = rest_.front();
        rest_.remove_prefix(1);
        return unit;
    }

    ExpressionNode ParseAlternatives() {
        ExpressionNode node;
        node.kind = ExpressionNode::Kind::kAlternatives;
        do {
            node.children.push_back(ParseSequence());
        } while (Accept(u'|'));
        return node.children.size() == 1 ? std::move(node.children.front()) : node;
    }

    ExpressionNode ParseSequence() {
        ExpressionNode node;
        while (!rest_.empty() && rest_.front() != u'|' && rest_.front() != u')') {
            node.children.push_back(ParseQuantified());
        }
        return node;
    }

    ExpressionNode ParseQuantified() {
        ExpressionNode atom = ParseAtom();
        if (Accept(u'*')) {
            return Repeat(std::move(atom), 0, ExpressionNode::kUnbounded);
        }
        if (Accept(u'+')) {
            return Repeat(std::move(atom), 1, ExpressionNode::kUnbounded);
        }
        if (Accept(u'?')) {
            return Repeat(std::move(atom), 0, 1);
        }
        return Accept(u'{') ? ParseCounted(std::move(atom)) : atom;
    }

    ExpressionNode ParseCounted(ExpressionNode atom) {
        const unsigned atLeast = ParseNumber();
        unsigned atMost = atLeast;
        if (Accept(u',')) {
            atMost = !rest_.empty() && rest_.front() == u'}' ? ExpressionNode::kUnbounded : ParseNumber();
        }
        if (!Accept(u'}')) {
            Fail(std::regex_constants::error_brace);
        }
        if (atMost < atLeast) {
            Fail(std::regex_constants::error_badbrace);
        }
        return Repeat(std::move(atom), atLeast, atMost);
    }

    unsigned ParseNumber() {
        unsigned number = 0;
        if (rest_.empty() || !IsDigit(rest_.front())) {
            Fail(std::regex_constants::error_badbrace);
        }
        while (!rest_.empty() && IsDigit(rest_.front())) {
            number = number * 10 + static_cast<unsigned>(rest_.front() - u'0');
            rest_.remove_prefix(1);
            if (number > kMaximumRepeat) {
                Fail(std::regex_constants::error_badbrace);
            }
        }
        return number;
    }

    static bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

    // A second quantifier would have another meaning (non-greedy) or none.
    ExpressionNode Repeat(ExpressionNode atom, unsigned atLeast, unsigned atMost) const {
        if (!rest_.empty() && std::u16string_view(u"*+?{").find(rest_.front()) != std::u16string_view::npos) {
            Fail(std::regex_constants::error_badrepeat);
        }
        ExpressionNode node;
        node.kind = ExpressionNode::Kind::kRepeat;
        node.atLeast = atLeast;
        node.atMost = atMost;
        node.children.push_back(std::move(atom));
        return node;
    }

    ExpressionNode ParseAtom() {
        const char16_t unit = Take(std::regex_constants::error_badrepeat);
        switch (unit) {
            case u'(': {
                ExpressionNode node = ParseAlternatives();
                if (!Accept(u')')) {
                    Fail(std::regex_constants::error_paren);
                }
                return node;
            }
            case u'[':
                return Units(ParseClass());
            case u'.':
                return Units(Complement(MakeUnitSet({{u'\n', u'\n'}, {u'\r', u'\r'}, {0x2028, 0x2029}})));
            case u'\\': {
                const char16_t escaped = TakeEscaped();
                return Units({{escaped, escaped}});
            }
            case u'*':
            case u'+':
            case u'?':
                Fail(std::regex_constants::error_badrepeat);
            case u'{':
            case u'}':
                Fail(std::regex_constants::error_brace);
            case u']':
                Fail(std::regex_constants::error_brack);
            case u'^':
            case u'$':
                Fail(std::regex_constants::error_complexity);  // an anchor inside: beyond the subset
            default:
                return Units({{unit, unit}});
        }
    }

    static ExpressionNode Units(UnitSet units) {
        ExpressionNode node;
        node.kind = ExpressionNode::Kind::kUnits;
        node.units = std::move(units);
        return node;
    }

    // Only punctuation stands for itself; \d, \b, \1 and their like are beyond the subset.
    char16_t TakeEscaped() {
        const char16_t unit = Take(std::regex_constants::error_escape);
        const bool word = IsDigit(unit) || (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
        if (word || unit >= 0x80) {
            Fail(std::regex_constants::error_escape);
        }
        return unit;
    }

    UnitSet ParseClass() {
        const bool negated = Accept(u'^');
        std::vector<UnitRange> ranges;
        while (!Accept(u']')) {
            const char16_t first = TakeClassUnit();
            char16_t last = first;
            if (rest_.size() >= 2 && rest_[0] == u'-' && rest_[1] != u']') {
                rest_.remove_prefix(1);
                last = TakeClassUnit();
            }
            if (last < first) {
                Fail(std::regex_constants::error_range);
            }
            ranges.push_back({first, last});
        }
        UnitSet set = MakeUnitSet(std::move(ranges));
        return negated ? Complement(set) : set;
    }

    char16_t TakeClassUnit() {
        const char16_t unit = Take(std::regex_constants::error_brack);
        return unit == u'\\' ? TakeEscaped() : unit;
    }

    std::u16string_view rest_;
};

}  // namespace

UnitSet MakeUnitSet(std::vector<UnitRange> ranges) {
    std::ranges::sort(ranges);
    UnitSet set;
    for (const UnitRange& range : ranges) {
        if (!set.empty() && range.first <= static_cast<unsigned>(set.back().last) + 1) {
            set.back().last = std::max(set.back().last, range.last);
        } else {
            set.push_back(range);
        }
    }
    return set;
}

UnitSet Complement(const UnitSet& set) {
    UnitSet result;
    unsigned next = 0;
    for (const UnitRange& range : set) {
        if (range.first > next) {
            result.push_back({static_cast<char16_t>(next), static_cast<char16_t>(range.first - 1)});
        }
        next = range.last + 1U;
    }
    if (next <= 0xFFFF) {
        result.push_back({static_cast<char16_t>(next), 0xFFFF});
    }
    return result;
}

bool Contains(const UnitSet& set, char16_t unit) {
    const auto after = std::ranges::upper_bound(set, unit, {}, &UnitRange::first);
    return after != set.begin() && unit <= std::prev(after)->last;
}

ExpressionNode ParseNameExpression(std::u16string_view text) {
    return Parser(text).Parse();
}

}  // namespace tavi::records
