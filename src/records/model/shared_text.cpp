#include "records/model/shared_text.h"

#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <ostream>

#include "imports/type_convert.h"

namespace tavi::records {

SharedText::SharedText(std::u16string_view first, std::u16string_view second) {
    const std::size_t size = first.size() + second.size();
    if (size == 0) {
        return;
    }
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        throw std::bad_alloc();
    }
    void* const memory = ::operator new(sizeof(Block) + (size + 1) * sizeof(char16_t));
    block_ = new (memory) Block{1, static_cast<std::uint32_t>(size)};
    auto* const units = reinterpret_cast<char16_t*>(block_ + 1);
    std::uninitialized_copy(first.begin(), first.end(), units);
    std::uninitialized_copy(second.begin(), second.end(), units + first.size());
    new (units + size) char16_t(0);
}

bool SharedText::SameUnits(std::u16string_view left, std::u16string_view right) noexcept {
    return left.size() == right.size() &&
           (left.empty() || std::memcmp(left.data(), right.data(), left.size() * sizeof(char16_t)) == 0);
}

void PrintTo(const SharedText& text, std::ostream* out) {
    *out << '"' << TypeConvert::UnicodeToUTF8(text) << '"';
}

}  // namespace tavi::records
