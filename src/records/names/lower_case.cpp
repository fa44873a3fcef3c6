#include "records/names/lower_case.h"

#include <algorithm>
#include <iterator>

#include "records/names/lower_case_table.h"

namespace tavi::records {

char16_t ToLowerUnitBeyondAscii(char16_t unit) {
    const auto row = std::lower_bound(std::begin(kLowerCaseRows), std::end(kLowerCaseRows), unit,
                                      [](const LowerCaseRow& r, char16_t u) { return r.last < u; });
    if (row == std::end(kLowerCaseRows) || unit < row->first || (unit - row->first) % row->step != 0) {
        return unit;
    }
    return static_cast<char16_t>(unit + row->delta);
}

std::u16string ToLower(std::u16string_view text) {
    std::u16string lowered(text);
    std::ranges::transform(lowered, lowered.begin(), ToLowerUnit);
    return lowered;
}

}  // namespace tavi::records
