#include "journal/parent_cache.h"

#include <algorithm>

namespace tavi::journal {
namespace {

constexpr unsigned kFirstSlotBits = 10;
constexpr unsigned kNumberBits = 64;

}  // namespace

ParentCache::ParentCache(std::u16string_view listenPath) {
    const std::size_t colon = listenPath.find(u':');
    hasDrive_ = colon != std::u16string_view::npos;
    if (hasDrive_) {
        folder_ = listenPath.substr(colon + 1);
    }
    Resize(kFirstSlotBits);
}

ParentCache::Entry& ParentCache::Add(std::uint64_t fileReferenceNumber, std::u16string_view path) {
    if ((entries_.size() + 1) * 2 > slots_.size()) {
        Resize(kNumberBits - slotShift_ + 1);
    }
    std::size_t slot = SlotOf(fileReferenceNumber);
    while (slots_[slot] != kFree) {
        slot = (slot + 1) & slotMask_;
    }
    Entry& entry = entries_.emplace_back();
    slots_[slot] = static_cast<std::uint32_t>(entries_.size() - 1);
    entry.fileReferenceNumber = fileReferenceNumber;
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
        text_ += u'\\';
    }
    Judge(entry, path);
}

// Inside means: the path up to the first backslash at or after the folder's length is the folder, so that a sibling
// whose name merely begins like the folder's is outside. A parent without a path is nowhere.
void ParentCache::Judge(Entry& entry, std::u16string_view path) const {
    entry.insideListenFolder = hasDrive_ && !path.empty() && path.starts_with(folder_) &&
                               (path.size() == folder_.size() || path[folder_.size()] == u'\\');
    entry.relativeOffset = entry.pathOffset;
    entry.relativeUnits = 0;
    if (entry.insideListenFolder) {
        entry.relativeOffset += static_cast<std::uint32_t>(folder_.size() + 1);
        entry.relativeUnits = static_cast<std::uint32_t>(text_.size() - entry.relativeOffset);
    }
}

void ParentCache::Resize(unsigned bits) {
    slots_.assign(std::size_t{1} << bits, kFree);
    slotMask_ = slots_.size() - 1;
    slotShift_ = kNumberBits - bits;
    for (std::uint32_t index = 0; index < entries_.size(); ++index) {
        std::size_t slot = SlotOf(entries_[index].fileReferenceNumber);
        while (slots_[slot] != kFree) {
            slot = (slot + 1) & slotMask_;
        }
        slots_[slot] = index;
    }
}

void ParentCache::Clear() {
    if (!entries_.empty()) {
        std::fill(slots_.begin(), slots_.end(), kFree);
    }
    entries_.clear();
    text_.clear();
}

}  // namespace tavi::journal
