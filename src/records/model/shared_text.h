// A text of UTF-16 code units that never changes and is shared by its copies: what the records keep their names in. The
// journal names a file in every record about it, and the steps hand names from record to record; a copy of a name costs
// no memory, and a record is small. The last copy frees the text. Copies may be used and destroyed on any threads, one
// object by one thread at a time. Making a text may throw std::bad_alloc; nothing else throws.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace tavi::records {

class SharedText {
public:
    SharedText() noexcept = default;  // the empty text, which needs no memory
    SharedText(std::u16string_view text) : SharedText(text, {}) {}
    SharedText(const std::u16string& text) : SharedText(std::u16string_view(text)) {}
    SharedText(const char16_t* text) : SharedText(std::u16string_view(text)) {}
    // The two texts, one behind the other.
    SharedText(std::u16string_view first, std::u16string_view second);

    SharedText(const SharedText& other) noexcept : block_(other.block_) { Retain(); }
    SharedText(SharedText&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}  // leaves it empty
    SharedText& operator=(SharedText other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~SharedText() { Release(); }

    bool empty() const noexcept { return block_ == nullptr; }
    std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->size; }
    // Valid as long as any copy of this text lives; NUL-terminated.
    const char16_t* c_str() const noexcept {
        return block_ == nullptr ? u"" : reinterpret_cast<const char16_t*>(block_ + 1);
    }
    std::u16string_view view() const noexcept { return {c_str(), size()}; }
    operator std::u16string_view() const noexcept { return view(); }
    operator std::u16string() const { return std::u16string(view()); }  // a copy, for what asks for such a string

    // Whether both are copies of one text. Texts that were made apart are not, even if they are equal.
    bool IsSharedWith(const SharedText& other) const noexcept { return block_ == other.block_; }

    friend bool operator==(const SharedText& left, const SharedText& right) noexcept {
        return left.block_ == right.block_ || SameUnits(left.view(), right.view());
    }
    friend std::strong_ordering operator<=>(const SharedText& left, const SharedText& right) noexcept {
        return left.view() <=> right.view();
    }
    template <typename Text>
    requires(std::convertible_to<const Text&, std::u16string_view> && !std::same_as<Text, SharedText>) friend bool
    operator==(const SharedText& left, const Text& right) noexcept {
        return SameUnits(left.view(), right);
    }

private:
    // The units and a NUL follow it in the same allocation.
    struct Block {
        std::atomic<std::uint32_t> owners;
        std::uint32_t size;
    };

    // As memory: the views' own comparison goes unit by unit.
    static bool SameUnits(std::u16string_view left, std::u16string_view right) noexcept;
    void Retain() const noexcept {
        if (block_ != nullptr) {
            block_->owners.fetch_add(1, std::memory_order_relaxed);
        }
    }
    void Release() noexcept {
        if (block_ != nullptr && block_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            ::operator delete(block_);
        }
    }

    Block* block_ = nullptr;  // null for the empty text
};

// For test output.
void PrintTo(const SharedText& text, std::ostream* out);

}  // namespace tavi::records

template <>
struct std::hash<tavi::records::SharedText> {
    std::size_t operator()(const tavi::records::SharedText& text) const noexcept {
        return std::hash<std::u16string_view>()(text.view());
    }
};
