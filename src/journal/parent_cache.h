// The parents' paths of one read, so that a directory is resolved once however many records it has, and with each path
// what follows from it: whether it lies inside the listened folder, and what goes before a record's name.
//
// Owned by the BatchDecoder, which decides what is cached. Listen thread only. Nothing fails but allocations.
//
// The flat hash map and the common text are for one promise of bench/bench_decode.cpp: a read with 5,000 parents that
// it has not seen before takes at most twice as long as building its records. With them it takes 1.5 times as long,
// with std::unordered_map 2.0, and with a string of its own for each path as well 3.3. 32 bits count the text, since a
// read has some 16,000 records and a path at most kLongestPathUnits code units (asserted in volume_journal.cpp).
#pragma once

#include <tsl/robin_map.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace tavi::journal {

class ParentCache {
public:
    // Small, so that thousands of them stay close: one is looked at for every record.
    struct Entry {
        std::uint32_t pathOffset = 0;     // in the cache's text
        std::uint32_t pathUnits = 0;      // without the backslash that is added to it
        std::uint32_t relativeUnits = 0;  // of what goes before a name: "Folder\", or nothing
        bool insideListenFolder = false;
    };

    // The folder that records must lie in, as the request names it; with a drive and its colon, without a trailing
    // backslash.
    explicit ParentCache(std::u16string_view listenPath);

    // Null when the directory is not cached. What is returned here and below is valid until the next Add, Pass or
    // Clear.
    const Entry* Find(platform::FileReferenceNumber number) const {
        const auto found = entries_.find(number);
        return found == entries_.end() ? nullptr : &found->second;
    }
    // `path` is volume-relative, or empty. The number is not cached yet.
    const Entry& Add(platform::FileReferenceNumber number, std::u16string_view path);
    // The same for a path that is good for one record only.
    const Entry& Pass(std::u16string_view path);
    void Clear();

    std::u16string_view PathOf(const Entry& entry) const {
        return std::u16string_view(text_).substr(entry.pathOffset, entry.pathUnits);
    }
    // "Folder\" for a directory in the listened folder, nothing for the folder itself and for what is outside.
    std::u16string_view RelativeOf(const Entry& entry) const {
        const std::size_t skipped = entry.insideListenFolder ? folder_.size() + 1 : 0;
        return std::u16string_view(text_).substr(entry.pathOffset + skipped, entry.relativeUnits);
    }
    std::size_t size() const { return entries_.size(); }

private:
    // Numbers may differ in their high bits alone.
    struct Hash {
        std::size_t operator()(platform::FileReferenceNumber number) const {
            constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
            return static_cast<std::size_t>((number * kGoldenRatio) >> 32U);
        }
    };

    Entry Judge(std::u16string_view path);

    std::u16string folder_;  // the listened folder without its drive
    bool hasDrive_ = false;
    tsl::robin_map<platform::FileReferenceNumber, Entry, Hash> entries_;
    std::u16string text_;          // the entries' paths, one after the other; behind them that of passing_
    std::size_t cachedUnits_ = 0;  // of the text
    Entry passing_;
};

}  // namespace tavi::journal
