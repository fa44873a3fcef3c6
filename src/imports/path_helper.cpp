#include "imports/path_helper.h"

#include <algorithm>
#include <cstddef>

namespace PathHelper {

std::u16string FuzzyFilePath(std::u16string_view path) {
    std::u16string out(path);
    for (std::size_t begin = 0; begin <= out.size();) {
        const std::size_t end = std::min(out.find_first_of(u"\\/", begin), out.size());
        const std::size_t point = std::u16string_view(out).substr(begin, end - begin).rfind(u'.');
        const std::size_t stem = point == std::u16string_view::npos ? end - begin : point;
        for (std::size_t i = 1; i + 1 < stem; ++i) {
            out[begin + i] = u'*';
        }
        begin = end + 1;
    }
    return out;
}

}  // namespace PathHelper
