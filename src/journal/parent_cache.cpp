#include "journal/parent_cache.h"

namespace tavi::journal {

ParentCache::ParentCache(std::u16string_view listenPath) {
    const std::size_t colon = listenPath.find(u':');
    hasDrive_ = colon != std::u16string_view::npos;
    if (hasDrive_) {
        folder_ = listenPath.substr(colon + 1);
    }
}

const ParentCache::Entry& ParentCache::Add(platform::FileReferenceNumber number, std::u16string_view path) {
    return Fill(entries_[number], path);
}

const ParentCache::Entry& ParentCache::Pass(std::u16string_view path) {
    return Fill(passing_, path);
}

// Inside means: the path up to the first backslash at or after the folder's length is the folder, so that a sibling
// whose name merely begins like the folder's is outside. A parent without a path is nowhere.
ParentCache::Entry& ParentCache::Fill(Entry& entry, std::u16string_view path) const {
    entry.text = path;
    if (!path.ends_with(u'\\')) {
        entry.text += u'\\';
    }
    entry.pathUnits = path.size();
    entry.insideListenFolder = hasDrive_ && !path.empty() && path.starts_with(folder_) &&
                               (path.size() == folder_.size() || path[folder_.size()] == u'\\');
    entry.relativeOffset = entry.insideListenFolder ? folder_.size() + 1 : entry.text.size();
    return entry;
}

void ParentCache::Clear() {
    entries_.clear();
}

}  // namespace tavi::journal
