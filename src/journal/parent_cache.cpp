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
    const Entry entry = Judge(path);
    const auto added = entries_.try_emplace(number, entry).first;
    cachedUnits_ = text_.size();
    return added->second;
}

const ParentCache::Entry& ParentCache::Pass(std::u16string_view path) {
    passing_ = Judge(path);
    return passing_;
}

// Appends the path to the text. Inside means: the path up to the first backslash at or after the folder's length is the
// folder, so that a sibling whose name merely begins like the folder's is outside. A parent without a path is nowhere.
ParentCache::Entry ParentCache::Judge(std::u16string_view path) {
    text_.resize(cachedUnits_);
    Entry entry;
    entry.pathOffset = static_cast<std::uint32_t>(text_.size());
    entry.pathUnits = static_cast<std::uint32_t>(path.size());
    text_ += path;
    if (!path.ends_with(u'\\')) {
        text_ += u'\\';
    }
    entry.insideListenFolder = hasDrive_ && !path.empty() && path.starts_with(folder_) &&
                               (path.size() == folder_.size() || path[folder_.size()] == u'\\');
    if (entry.insideListenFolder) {
        entry.relativeUnits = static_cast<std::uint32_t>(text_.size() - entry.pathOffset - folder_.size() - 1);
    }
    return entry;
}

void ParentCache::Clear() {
    entries_.clear();
    text_.clear();
    cachedUnits_ = 0;
}

}  // namespace tavi::journal
