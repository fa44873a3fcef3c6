// From file reference numbers to places in a list, for look-ups that happen once per journal record: open addressing
// with linear probing in one block of memory, at most half full. Nothing is ever removed but everything at once. One
// thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavi::journal {

class NumberIndex {
public:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    NumberIndex() { Resize(kFirstBits); }

    // The place that was added with the number, or kNone.
    std::uint32_t Find(std::uint64_t number) const {
        for (std::size_t slot = SlotOf(number);; slot = (slot + 1) & mask_) {
            if (slots_[slot].place == kNone || slots_[slot].number == number) {
                return slots_[slot].place;
            }
        }
    }

    // The number is not there yet.
    void Add(std::uint64_t number, std::uint32_t place) {
        if ((size_ + 1) * 2 > slots_.size()) {
            Resize(kNumberBits - shift_ + 1);
        }
        Place({number, place});
        ++size_;
    }

    // Keeps its memory.
    void Clear() {
        if (size_ != 0) {
            std::fill(slots_.begin(), slots_.end(), Slot{});
            size_ = 0;
        }
    }

private:
    struct Slot {
        std::uint64_t number = 0;
        std::uint32_t place = kNone;
    };

    static constexpr unsigned kFirstBits = 10;
    static constexpr unsigned kNumberBits = 64;

    std::size_t SlotOf(std::uint64_t number) const {
        constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
        return static_cast<std::size_t>((number * kGoldenRatio) >> shift_);
    }

    void Place(const Slot& added) {
        std::size_t slot = SlotOf(added.number);
        while (slots_[slot].place != kNone) {
            slot = (slot + 1) & mask_;
        }
        slots_[slot] = added;
    }

    void Resize(unsigned bits) {
        std::vector<Slot> old(std::size_t{1} << bits);
        old.swap(slots_);
        mask_ = slots_.size() - 1;
        shift_ = kNumberBits - bits;
        for (const Slot& slot : old) {
            if (slot.place != kNone) {
                Place(slot);
            }
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
    std::size_t mask_ = 0;
    unsigned shift_ = 0;
};

}  // namespace tavi::journal
