#include "imports/path_helper.h"

#include <algorithm>
#include <cstddef>

namespace PathHelper {

std::u16string FuzzyFilePath(std::u16string_view path) {
    std::u16string out(path);
    const auto obscure = [&out](std::size_t begin, std::size_t end) {
        for (std::size_t at = begin + 1; at + 1 < end; ++at) {
            out[at] = u'*';
        }
    };
    std::size_t begin = 0;                          // of the component
    std::size_t point = std::u16string_view::npos;  // the component's last
    for (std::size_t at = 0; at < path.size(); ++at) {
        const char16_t unit = path[at];
        if (unit == u'.') {
            point = at;
        } else if (unit == u'\\' || unit == u'/') {
            obscure(begin, std::min(point, at));
            begin = at + 1;
            point = std::u16string_view::npos;
        }
    }
    obscure(begin, std::min(point, path.size()));
    return out;
}

}  // namespace PathHelper
