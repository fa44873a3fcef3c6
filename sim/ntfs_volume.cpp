#include "sim/ntfs_volume.h"

#include <algorithm>
#include <utility>

#include "platform/constants.h"

namespace tavi::sim {

using namespace platform;

namespace {

char16_t Upper(char16_t unit) {
    const bool ascii = unit >= u'a' && unit <= u'z';
    const bool latin = unit >= 0xE0 && unit <= 0xFE && unit != 0xF7;
    const bool greek = unit >= 0x3B1 && unit <= 0x3C9 && unit != 0x3C2;
    const bool cyrillic = unit >= 0x430 && unit <= 0x44F;
    if (ascii || latin || greek || cyrillic) {
        return static_cast<char16_t>(unit - 0x20);
    }
    return unit >= 0x450 && unit <= 0x45F ? static_cast<char16_t>(unit - 0x50) : unit;
}

}  // namespace

std::vector<std::u16string> NtfsVolume::Split(std::u16string_view path) {
    if (path.size() >= 2 && path[1] == u':') {
        path.remove_prefix(2);
    }
    std::vector<std::u16string> parts;
    std::u16string part;
    for (const char16_t unit : path) {
        if (unit != u'\\') {
            part += unit;
        } else if (!part.empty()) {
            parts.push_back(std::exchange(part, {}));
        }
    }
    if (!part.empty()) {
        parts.push_back(std::move(part));
    }
    return parts;
}

std::u16string NtfsVolume::Fold(std::u16string_view name) {
    std::u16string folded(name);
    for (char16_t& unit : folded) {
        unit = Upper(unit);
    }
    return folded;
}

NtfsVolume::NtfsVolume(char16_t drive, std::function<std::uint64_t()> now, std::uint64_t seed)
    : drive_(drive), now_(std::move(now)), journal_(seed) {
    Node& root = nodes_[root_];
    root.info.frn = root.info.parent = root_;
    root.info.name = u".";
    root.info.attributes = kFileAttributeDirectory | kFileAttributeHidden | 0x4;
    journal_.Create();
}

void NtfsVolume::UseRootFrn(Frn frn) {
    const std::lock_guard lock(mutex_);
    auto node = nodes_.extract(root_);
    node.key() = frn;
    node.mapped().info.frn = node.mapped().info.parent = frn;
    nodes_.insert(std::move(node));
    root_ = frn;
}

NtfsVolume::Node* NtfsVolume::Get(Frn frn) {
    const auto found = nodes_.find(frn);
    return found == nodes_.end() ? nullptr : &found->second;
}

const NtfsVolume::Node* NtfsVolume::Get(Frn frn) const {
    const auto found = nodes_.find(frn);
    return found == nodes_.end() ? nullptr : &found->second;
}

NtfsVolume::Link NtfsVolume::LinkAt(const Node& node, Frn parent, const std::u16string& folded) const {
    for (const Link& link : node.otherLinks) {
        if (link.parent == parent && Fold(link.name) == folded) {
            return link;
        }
    }
    return {node.info.parent, node.info.name};
}

NodeInfo NtfsVolume::InfoUnder(const Node& node, const Link& link) {
    NodeInfo info = node.info;
    info.parent = link.parent;
    info.name = link.name;
    return info;
}

NtfsVolume::Found NtfsVolume::LookupName(std::u16string_view path) const {
    const Node* node = Get(root_);
    Found found{node, {node->info.parent, node->info.name}};
    for (const std::u16string& part : Split(path)) {
        const Frn parent = found.node->info.frn;
        const auto child = found.node->children.find(Fold(part));
        if (child == found.node->children.end()) {
            return {};
        }
        found.node = Get(child->second);
        found.link = LinkAt(*found.node, parent, child->first);
    }
    return found;
}

void NtfsVolume::UseLink(Node& node, const Link& link) {
    for (Link& other : node.otherLinks) {
        if (other.parent == link.parent && other.name == link.name) {
            std::swap(other.parent, node.info.parent);
            std::swap(other.name, node.info.name);
        }
    }
}

NtfsVolume::Node* NtfsVolume::Lookup(std::u16string_view path) {
    const Found found = LookupName(path);
    Node* node = found.node == nullptr ? nullptr : Get(found.node->info.frn);
    if (node != nullptr) {
        UseLink(*node, found.link);
    }
    return node;
}

// The existing directory and the name that a new or moved file gets; no parent when that directory does not exist.
NtfsVolume::Place NtfsVolume::PlaceFor(std::u16string_view path) {
    const std::vector<std::u16string> parts = Split(path);
    if (parts.empty()) {
        return {};
    }
    Node* node = Get(root_);
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        const auto child = node->children.find(Fold(parts[i]));
        if (child == node->children.end()) {
            return {};
        }
        node = Get(child->second);
    }
    return node->info.IsDirectory() ? Place{node, parts.back()} : Place{};
}

// The same; no parent either when the name is taken.
NtfsVolume::Place NtfsVolume::FreePlaceFor(std::u16string_view path) {
    Place place = PlaceFor(path);
    return place.parent == nullptr || place.parent->children.contains(Fold(place.name)) ? Place{} : place;
}

Frn NtfsVolume::Find(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    const Node* node = LookupName(path).node;
    return node == nullptr ? 0 : node->info.frn;
}

std::optional<NodeInfo> NtfsVolume::Info(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    const Found found = LookupName(path);
    return found.node == nullptr ? std::nullopt : std::optional(InfoUnder(*found.node, found.link));
}

std::optional<NodeInfo> NtfsVolume::InfoByFrn(Frn frn) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Get(frn);
    return node == nullptr ? std::nullopt : std::optional(node->info);
}

std::u16string NtfsVolume::PathOfLocked(Frn frn) const {
    const Node* node = Get(frn);
    if (node == nullptr) {
        return {};
    }
    if (frn == root_) {
        return u"\\";
    }
    std::u16string path;
    for (; node->info.frn != root_; node = Get(node->info.parent)) {
        path.insert(0, u"\\" + node->info.name);
    }
    return path;
}

std::u16string NtfsVolume::PathOf(Frn frn) const {
    const std::lock_guard lock(mutex_);
    return PathOfLocked(frn);
}

std::vector<NodeInfo> NtfsVolume::List(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    std::vector<NodeInfo> entries;
    if (const Node* node = LookupName(path).node; node != nullptr) {
        for (const auto& [name, frn] : node->children) {
            const Node& child = *Get(frn);
            NodeInfo info = InfoUnder(child, LinkAt(child, node->info.frn, name));
            info.contents.clear();
            entries.push_back(std::move(info));
        }
    }
    return entries;
}

void NtfsVolume::ListBelow(const Node& node, const std::u16string& prefix, std::vector<std::u16string>& paths) const {
    for (const auto& [name, frn] : node.children) {
        const Node& child = *Get(frn);
        paths.push_back(prefix + u"\\" + LinkAt(child, node.info.frn, name).name);
        ListBelow(child, std::u16string(paths.back()), paths);
    }
}

std::vector<std::u16string> NtfsVolume::ListTree(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::u16string> paths;
    if (const Node* node = LookupName(path).node; node != nullptr) {
        ListBelow(*node, node->info.frn == root_ ? std::u16string() : PathOfLocked(node->info.frn), paths);
    }
    return paths;
}

}  // namespace tavi::sim
