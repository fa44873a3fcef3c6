// Whether two texts are the same, compared as memory: std::u16string_view's own comparison goes unit by unit.
#pragma once

#include <algorithm>
#include <string_view>

namespace tavi::records {

inline bool SameUnits(std::u16string_view left, std::u16string_view right) {
    return left.size() == right.size() && std::equal(left.data(), left.data() + left.size(), right.data());
}

}  // namespace tavi::records
