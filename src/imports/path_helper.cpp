#include "imports/path_helper.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

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
void Meet(Obscurer<Unit>& obscurer, Unit unit, std::size_t at) {
    if (unit == Unit{'.'}) {
        obscurer.MeetPoint(at);
    } else if (unit == Unit{'\\'} || unit == Unit{'/'}) {
        obscurer.MeetSeparator(at);
    }
}

// Eight ASCII characters at a time: the high bit of every byte that is the character, and no other.
constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kAllButHighBits = 0x7F * kLowBits;
std::uint64_t WhereNot(std::uint64_t characters, char character) {
    return (characters ^ static_cast<std::uint64_t>(character) * kLowBits) + kAllButHighBits;
}

}  // namespace

std::u16string FuzzyFilePath(std::u16string_view path) {
    std::u16string out(path);
    Obscurer<char16_t> obscurer(out);
    for (std::size_t at = 0; at < out.size(); ++at) {
        Meet(obscurer, out[at], at);
    }
    obscurer.Finish();
    return out;
}

void FuzzyAsciiPath(std::span<char> path) {
    static_assert(std::endian::native == std::endian::little, "the first character is the lowest byte");
    Obscurer<char> obscurer(path);
    std::size_t at = 0;
    for (std::uint64_t characters = 0; at + sizeof characters <= path.size(); at += sizeof characters) {
        std::memcpy(&characters, path.data() + at, sizeof characters);
        std::uint64_t met =
            ~(WhereNot(characters, '.') & WhereNot(characters, '\\') & WhereNot(characters, '/')) & ~kAllButHighBits;
        for (; met != 0; met &= met - 1) {
            const std::size_t place = at + static_cast<std::size_t>(std::countr_zero(met)) / 8;
            Meet(obscurer, path[place], place);
        }
    }
    for (; at < path.size(); ++at) {
        Meet(obscurer, path[at], at);
    }
    obscurer.Finish();
}

}  // namespace PathHelper
