// One deterministic automaton over UTF-16 code units for many anchored expressions: a text is read once and every group
// of expressions that has a whole match is reported. Expressions are the ECMAScript subset that file-name rules need:
// literals, escaped punctuation, the dot (every unit but U+000A, U+000D, U+2028, U+2029), classes with ranges and
// negation, groups, alternatives and the quantifiers * + ? {n} {n,} {n,m}; each begins with ^ and ends with $. What is
// malformed, or beyond the subset, throws std::regex_error. Building takes milliseconds an expression; matching
// allocates nothing and costs two table look-ups per unit. Immutable after construction, usable from any thread.
#pragma once

#include <array>
#include <cstddef>
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

    NameAutomaton() : NameAutomaton(std::span<const Expression>{}) {}  // matches nothing
    explicit NameAutomaton(std::span<const Expression> expressions);

    // The groups with a match, one bit each.
    std::uint8_t Match(std::u16string_view text) const {
        std::size_t row = startRow_;
        for (const char16_t unit : text) {
            // The column is known before the row is: only the last look-up waits for the unit before.
            const std::uint32_t* const column = rows_.data() + unitClasses_[pages_[unit >> 8] + (unit & 0xFFU)];
            row = column[row];
        }
        return static_cast<std::uint8_t>(rows_[row + classCount_]);
    }

    std::size_t StateCount() const { return rows_.size() / (classCount_ + 1); }

private:
    // The class of a unit: pages_ says by its high byte where the classes of its 256 neighbours stand.
    std::array<std::uint16_t, 256> pages_{};
    std::vector<std::uint8_t> unitClasses_;
    std::size_t classCount_ = 0;
    // A row per state: for every class where the next state's row begins, then the groups that match here. A state is
    // known by where its row begins, so that a step needs no multiplication.
    std::vector<std::uint32_t> rows_;
    std::size_t startRow_ = 0;
};

}  // namespace tavi::records
