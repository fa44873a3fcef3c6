// One deterministic automaton over UTF-16 code units for many anchored expressions: a text is read once and every group
// of expressions that has a whole match is reported. Expressions are the ECMAScript subset that file-name rules need:
// literals, escaped characters, the dot (every unit but U+000A, U+000D, U+2028, U+2029), classes with ranges and
// negation, groups, alternatives and the quantifiers * + ? {n} {n,} {n,m}; each begins with ^ and ends with $. What is
// malformed, or beyond the subset, throws std::regex_error. Building takes milliseconds; matching allocates nothing and
// costs one table look-up per unit. Immutable after construction, usable from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tavi::records {

class NameAutomaton {
public:
    enum class Case { kExact, kLowered };  // kLowered: matches the texts whose lower-cased form the expression matches

    struct Expression {
        std::u16string_view text;
        std::uint8_t group = 0;  // bit number in the answer, 0 to 7
        Case letters = Case::kExact;
    };

    NameAutomaton() = default;  // matches nothing
    explicit NameAutomaton(std::span<const Expression> expressions);

    // The groups with a match, one bit each.
    std::uint8_t Match(std::u16string_view text) const;

    std::size_t StateCount() const { return accepts_.size(); }
    std::size_t UnitClassCount() const { return classCount_; }

private:
    // Two-stage table from code unit to class: pages_ by the high byte, then classes of 256 units each.
    std::array<std::uint8_t, 256> pages_{};
    std::vector<std::uint8_t> unitClasses_;
    std::size_t classCount_ = 0;
    std::vector<std::uint16_t> transitions_;  // state * classCount_ + class; rows of the premultiplied next state
    std::vector<std::uint8_t> accepts_;
    std::uint16_t start_ = 0;
};

}  // namespace tavi::records
