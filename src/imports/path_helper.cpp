#include "imports/path_helper.h"

#include <algorithm>
#include <cstddef>

namespace PathHelper {

namespace {

template <typename Unit>
void Obscure(std::span<Unit> path) {
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    const auto obscure = [path](std::size_t begin, std::size_t end) {
        for (std::size_t at = begin + 1; at + 1 < end; ++at) {
            path[at] = Unit{'*'};
        }
    };
    std::size_t begin = 0;      // of the component
    std::size_t point = kNone;  // the component's last
    for (std::size_t at = 0; at < path.size(); ++at) {
        const Unit unit = path[at];
        if (unit == Unit{'.'}) {
            point = at;
        } else if (unit == Unit{'\\'} || unit == Unit{'/'}) {
            obscure(begin, std::min(point, at));
            begin = at + 1;
            point = kNone;
        }
    }
    obscure(begin, std::min(point, path.size()));
}

}  // namespace

std::u16string FuzzyFilePath(std::u16string_view path) {
    std::u16string out(path);
    Obscure(std::span<char16_t>(out));
    return out;
}

void FuzzyAsciiPath(std::span<char> path) {
    Obscure(path);
}

}  // namespace PathHelper
