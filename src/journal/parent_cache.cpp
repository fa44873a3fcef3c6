#include "journal/parent_cache.h"

namespace tavi::journal {

ParentCache::ParentCache(std::u16string_view listenPath) {
    const std::size_t colon = listenPath.find(u':');
    hasDrive_ = colon != std::u16string_view::npos;
    if (hasDrive_) {
        folder_ = listenPath.substr(colon + 1);
    }
}

ParentCache::Entry& ParentCache::Add(std::uint64_t fileReferenceNumber, std::u16string_view path) {
    places_.Add(fileReferenceNumber);
    Entry& entry = entries_.emplace_back();
    Replace(entry, path);
    return entry;
}

void ParentCache::Replace(Entry& entry, std::u16string_view path) {
    if (entry.pathUnits != 0 && PathOf(entry) == path) {
        return;
    }
    entry.pathOffset = static_cast<std::uint32_t>(text_.size());
    entry.pathUnits = static_cast<std::uint32_t>(path.size());
    text_ += path;
    if (!path.ends_with(u'\\')) {
        text_.push_back(u'\\');
    }
    Judge(entry, path);
}

// Inside means: the path up to the first backslash at or after the folder's length is the folder, so that a sibling
// whose name merely begins like the folder's is outside. A parent without a path is nowhere.
void ParentCache::Judge(Entry& entry, std::u16string_view path) const {
    entry.insideListenFolder = hasDrive_ && !path.empty() && path.starts_with(folder_) &&
                               (path.size() == folder_.size() || path[folder_.size()] == u'\\');
    entry.relativeUnits = 0;
    if (entry.insideListenFolder) {
        const std::size_t relativeOffset = entry.pathOffset + folder_.size() + 1;
        entry.relativeUnits = static_cast<std::uint32_t>(text_.size() - relativeOffset);
    }
}

void ParentCache::Clear() {
    places_.Clear();
    entries_.clear();
    text_.clear();
}

}  // namespace tavi::journal
