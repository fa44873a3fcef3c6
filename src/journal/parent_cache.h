// The parents' paths of one read, so that a directory is resolved once however many records it has, and with each path
// what follows from it: whether it lies inside the listened folder, and what goes before a record's name.
//
// Owned by the BatchDecoder, which decides what is cached. Listen thread only. Nothing fails but allocations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/types.h"

namespace tavi::journal {

class ParentCache {
public:
    struct Entry {
        std::u16string_view path() const { return std::u16string_view(text).substr(0, pathUnits); }
        // "Folder\" for a directory in the listened folder, nothing for the folder itself and for what is outside.
        std::u16string_view relative() const { return std::u16string_view(text).substr(relativeOffset); }

        std::u16string text;             // the path, ending in a backslash
        std::size_t pathUnits = 0;       // without the backslash that was added
        std::size_t relativeOffset = 0;  // where in the text the part below the listened folder begins
        bool insideListenFolder = false;
    };

    // The folder that records must lie in, as the request names it; with a drive and its colon, without a trailing
    // backslash.
    explicit ParentCache(std::u16string_view listenPath);

    // Null when the directory is not cached. Valid until Clear.
    const Entry* Find(platform::FileReferenceNumber number) const {
        const auto found = entries_.find(number);
        return found == entries_.end() ? nullptr : &found->second;
    }
    // `path` is volume-relative, or empty. The number is not cached yet. Valid until Clear.
    const Entry& Add(platform::FileReferenceNumber number, std::u16string_view path);
    // The same for a path that is good for one record only. Valid until the next Pass.
    const Entry& Pass(std::u16string_view path);
    void Clear();

    std::size_t size() const { return entries_.size(); }

private:
    Entry& Fill(Entry& entry, std::u16string_view path) const;

    std::u16string folder_;  // the listened folder without its drive
    bool hasDrive_ = false;
    std::unordered_map<platform::FileReferenceNumber, Entry> entries_;
    Entry passing_;
};

}  // namespace tavi::journal
