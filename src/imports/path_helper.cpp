#include "imports/path_helper.h"

#include <algorithm>
#include <cstddef>

namespace PathHelper {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// Is told of every point and separator in order, and obscures component after component.
template <typename Unit>
class Obscurer {
public:
    explicit Obscurer(std::span<Unit> path) : path_(path) {}

    void MeetPoint(std::size_t at) { point_ = at; }
    void MeetSeparator(std::size_t at) {
        Obscure(std::min(point_, at));
        begin_ = at + 1;
        point_ = kNone;
    }
    void Finish() { Obscure(std::min(point_, path_.size())); }

private:
    // The stem ends before `end`.
    void Obscure(std::size_t end) {
        if (end > begin_ + 2) {
            std::fill(path_.begin() + static_cast<std::ptrdiff_t>(begin_ + 1),
                      path_.begin() + static_cast<std::ptrdiff_t>(end - 1), Unit{'*'});
        }
    }

    std::span<Unit> path_;
    std::size_t begin_ = 0;      // of the component
    std::size_t point_ = kNone;  // the component's last
};

template <typename Unit>
void ObscureAll(std::span<Unit> path) {
    Obscurer<Unit> obscurer(path);
    for (std::size_t at = 0; at < path.size(); ++at) {
        if (path[at] == Unit{'.'}) {
            obscurer.MeetPoint(at);
        } else if (path[at] == Unit{'\\'} || path[at] == Unit{'/'}) {
            obscurer.MeetSeparator(at);
        }
    }
    obscurer.Finish();
}

}  // namespace

std::u16string FuzzyFilePath(std::u16string_view path) {
    std::u16string out(path);
    ObscureAll(std::span<char16_t>(out));
    return out;
}

void FuzzyAsciiPath(std::span<char> path) {
    ObscureAll(path);
}

}  // namespace PathHelper
