// Numbers the file reference numbers that it is given, from 0 upward, for tables that are looked at once per journal
// record: open addressing with linear probing, at most half full, in slots of 32 bits, so that the slots of thousands
// of directories stay in the processor's nearest caches. Nothing is ever removed but everything at once. One thread.
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

    // The number's place, or kNone.
    std::uint32_t Find(std::uint64_t number) const {
        for (std::size_t slot = SlotOf(number);; slot = (slot + 1) & mask_) {
            const std::uint32_t place = slots_[slot];
            if (place == kNone || numbers_[place] == number) {
                return place;
            }
        }
    }

    // Its place: how many there were before. The number is not there yet.
    std::uint32_t Add(std::uint64_t number) {
        if ((numbers_.size() + 1) * 2 > slots_.size()) {
            Resize(kNumberBits - shift_ + 1);
        }
        const auto place = static_cast<std::uint32_t>(numbers_.size());
        numbers_.push_back(number);
        Fill(place);
        return place;
    }

    // Keeps its memory.
    void Clear() {
        if (!numbers_.empty()) {
            std::fill(slots_.begin(), slots_.end(), kNone);
            numbers_.clear();
        }
    }

private:
    static constexpr unsigned kFirstBits = 10;
    static constexpr unsigned kNumberBits = 64;

    std::size_t SlotOf(std::uint64_t number) const {
        constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
        return static_cast<std::size_t>((number * kGoldenRatio) >> shift_);
    }

    void Fill(std::uint32_t place) {
        std::size_t slot = SlotOf(numbers_[place]);
        while (slots_[slot] != kNone) {
            slot = (slot + 1) & mask_;
        }
        slots_[slot] = place;
    }

    void Resize(unsigned bits) {
        slots_.assign(std::size_t{1} << bits, kNone);
        mask_ = slots_.size() - 1;
        shift_ = kNumberBits - bits;
        for (std::uint32_t place = 0; place < numbers_.size(); ++place) {
            Fill(place);
        }
    }

    std::vector<std::uint32_t> slots_;    // places
    std::vector<std::uint64_t> numbers_;  // by place
    std::size_t mask_ = 0;
    unsigned shift_ = 0;
};

}  // namespace tavi::journal
