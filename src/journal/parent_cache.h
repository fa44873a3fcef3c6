// The parents' paths of one read: every parent directory is resolved once, whatever the number of its records, since
// all records of one read see the names of one instant. An entry also keeps what follows from the path (inside the
// listened folder or not, the part that goes before a record's name), so that a record costs one look-up. Dropped at
// the read's end; capacity is kept. Listen thread only.
//
// A path has at most kLongestPathUnits code units (path_mapping.h), a read some 17,000 records, so 32 bits count the
// text. Paths rebuilt from the path mapping are good only for the mapping's version they were built from: the decoder
// rebuilds them when that has moved on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "journal/number_index.h"

namespace tavi::journal {

class ParentCache {
public:
    // Small, so that thousands of them stay close: one is looked at for every record.
    struct Entry {
        std::uint32_t pathOffset = 0;     // in the cache's text
        std::uint32_t pathUnits = 0;      // without the backslash that is added to it
        std::uint32_t relativeUnits = 0;  // of what goes before the name: "Folder\", or nothing
        bool rebuilt = false;             // from the mapping: the directory itself could not be opened
        bool insideListenFolder = false;
        std::uint64_t mappingVersion = 0;  // for rebuilt paths
    };

    // The folder that records must lie in, as the request names it; with a drive and its colon.
    explicit ParentCache(std::u16string_view listenPath);

    // Null when the number has not been resolved in this read. Valid until the next Add or Clear.
    Entry* Find(std::uint64_t fileReferenceNumber) {
        const std::uint32_t place = places_.Find(fileReferenceNumber);
        return place == NumberIndex::kNone ? nullptr : &entries_[place];
    }
    // An entry's place, which outlives further Adds, and back.
    std::uint32_t PlaceOf(const Entry& entry) const { return static_cast<std::uint32_t>(&entry - entries_.data()); }
    const Entry& At(std::uint32_t place) const { return entries_[place]; }
    // `path` is volume-relative. The number is not in the cache yet.
    Entry& Add(std::uint64_t fileReferenceNumber, std::u16string_view path);
    // Gives an entry another path.
    void Replace(Entry& entry, std::u16string_view path);
    void Clear();

    std::u16string_view PathOf(const Entry& entry) const {
        return std::u16string_view(text_).substr(entry.pathOffset, entry.pathUnits);
    }
    std::u16string_view RelativeOf(const Entry& entry) const {
        if (!entry.insideListenFolder) {
            return {};
        }
        return std::u16string_view(text_).substr(entry.pathOffset + folder_.size() + 1, entry.relativeUnits);
    }
    std::size_t size() const { return entries_.size(); }

private:
    void Judge(Entry& entry, std::u16string_view path) const;

    std::u16string folder_;  // the listened folder without its drive
    bool hasDrive_ = false;
    std::vector<Entry> entries_;
    std::u16string text_;  // the paths, one after the other
    NumberIndex places_;   // those in entries_
};

}  // namespace tavi::journal
