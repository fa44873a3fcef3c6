#include "sim/ntfs_volume.h"

#include <utility>

#include "platform/constants.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::uint32_t kReparseTagCloud = 0x9000001A;

// Components of a path, the drive and empty ones left out.
std::vector<std::u16string> Split(std::u16string_view path) {
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

const NtfsVolume::Node* NtfsVolume::Lookup(std::u16string_view path) const {
    const Node* node = Get(root_);
    for (const std::u16string& part : Split(path)) {
        const auto child = node->children.find(Fold(part));
        if (child == node->children.end()) {
            return nullptr;
        }
        node = Get(child->second);
    }
    return node;
}

NtfsVolume::Node* NtfsVolume::Lookup(std::u16string_view path) {
    return const_cast<Node*>(std::as_const(*this).Lookup(path));
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

Frn NtfsVolume::TakeNumber() {
    if (nextFrn_ != 0) {
        return std::exchange(nextFrn_, 0);
    }
    if (reuse_ && !freed_.empty()) {
        const auto [number, sequence] = *freed_.begin();
        freed_.erase(freed_.begin());
        const auto next = static_cast<std::uint16_t>(sequence == 0xFFFF ? 1 : sequence + 1);
        return std::uint64_t{next} << 48 | number;
    }
    return std::uint64_t{1} << 48 | nextRecord_++;
}

void NtfsVolume::Record(const Node& node, std::uint32_t reason) {
    journal_.Append(node.info.frn, node.info.parent, node.info.name, node.info.attributes, reason, now_());
}

void NtfsVolume::Finish(const Node& node) {
    if (node.holds == 0) {
        journal_.Close(node.info.frn, now_());
    }
}

Frn NtfsVolume::Add(Node& parent, std::u16string name, std::uint32_t attributes, std::string contents) {
    const Frn frn = TakeNumber();
    Node& node = nodes_[frn];
    node.info = {frn, parent.info.frn, std::move(name), attributes, false, 0, std::move(contents)};
    parent.children[Fold(node.info.name)] = frn;
    Record(node, kReasonFileCreate);
    if (!node.info.contents.empty()) {
        Record(node, kReasonDataExtend);
    }
    Finish(node);
    return frn;
}

Frn NtfsVolume::MakeDirectory(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Node* node = Get(root_);
    for (std::u16string& part : Split(path)) {
        const auto child = node->children.find(Fold(part));
        node = Get(child != node->children.end() ? child->second
                                                 : Add(*node, std::move(part), kFileAttributeDirectory, {}));
        if (!node->info.IsDirectory()) {
            return 0;
        }
    }
    return node->info.frn;
}

Frn NtfsVolume::MakeFile(std::u16string_view path, std::string_view contents, std::uint32_t attributes) {
    const std::lock_guard lock(mutex_);
    Place place = PlaceFor(path);
    if (place.parent == nullptr || place.parent->children.contains(Fold(place.name))) {
        return 0;
    }
    return Add(*place.parent, std::move(place.name), attributes, std::string(contents));
}

bool NtfsVolume::Write(std::u16string_view path, std::string_view contents, WriteKind kind) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr || node->info.IsDirectory()) {
        return false;
    }
    std::string& data = node->info.contents;
    switch (kind) {
        case WriteKind::kOverwrite:
            data = contents;
            Record(*node, kReasonDataOverwrite);
            break;
        case WriteKind::kExtend:
            data += contents;
            Record(*node, kReasonDataExtend);
            break;
        case WriteKind::kTruncate:  // as an editor saves: to nothing, then the new contents
            Record(*node, kReasonDataTruncation);
            data = contents;
            if (!contents.empty()) {
                Record(*node, kReasonDataExtend);
            }
            break;
    }
    Finish(*node);
    return true;
}

bool NtfsVolume::MoveNode(Node& node, Place place) {
    for (const Node* at = place.parent; at->info.frn != root_; at = Get(at->info.parent)) {
        if (at == &node) {
            return false;  // into itself
        }
    }
    Get(node.info.parent)->children.erase(Fold(node.info.name));
    Record(node, kReasonRenameOldName);
    node.info.parent = place.parent->info.frn;
    node.info.name = std::move(place.name);
    place.parent->children[Fold(node.info.name)] = node.info.frn;
    Record(node, kReasonRenameNewName);
    Finish(node);
    return true;
}

bool NtfsVolume::RenameLocked(std::u16string_view from, std::u16string_view to) {
    Node* node = Lookup(from);
    Place place = PlaceFor(to);
    if (node == nullptr || node->info.frn == root_ || place.parent == nullptr) {
        return false;
    }
    const auto taken = place.parent->children.find(Fold(place.name));
    if (taken != place.parent->children.end() && taken->second != node->info.frn) {
        return false;  // a change of the own name's case is no collision
    }
    return MoveNode(*node, std::move(place));
}

bool NtfsVolume::Rename(std::u16string_view from, std::u16string_view to) {
    const std::lock_guard lock(mutex_);
    return RenameLocked(from, to);
}

bool NtfsVolume::Replace(std::u16string_view from, std::u16string_view to) {
    const std::lock_guard lock(mutex_);
    Node* source = Lookup(from);
    Node* target = Lookup(to);
    if (source == nullptr || target == source) {
        return false;
    }
    if (target != nullptr && (target->info.IsDirectory() || !RemoveNode(*target))) {
        return false;
    }
    return RenameLocked(from, to);
}

bool NtfsVolume::RemoveNode(Node& node) {
    if (node.info.frn == root_ || !node.children.empty()) {
        return false;
    }
    const Frn frn = node.info.frn;
    Record(node, kReasonFileDelete | kReasonClose);
    Get(node.info.parent)->children.erase(Fold(node.info.name));
    nodes_.erase(frn);
    freed_[frn & 0xFFFFFFFFFFFF] = static_cast<std::uint16_t>(frn >> 48);
    return true;
}

bool NtfsVolume::Remove(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    return node != nullptr && RemoveNode(*node);
}

bool NtfsVolume::RemoveBelow(Frn frn) {
    const std::map<std::u16string, Frn> children = Get(frn)->children;
    for (const auto& [name, child] : children) {
        RemoveBelow(child);
    }
    return RemoveNode(*Get(frn));
}

bool NtfsVolume::RemoveTree(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    return node != nullptr && node->info.frn != root_ && RemoveBelow(node->info.frn);
}

std::u16string NtfsVolume::Recycle(std::u16string_view path) {
    const std::u16string bin = u"\\$RECYCLE.BIN\\S-1-5-21-1001";
    MakeDirectory(bin);
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    if (node == nullptr) {
        return {};
    }
    const std::size_t point = node->info.name.rfind(u'.');
    std::u16string target = bin + u"\\$R";
    for (std::uint32_t number = ++recycled_, digit = 0; digit < 6; ++digit, number /= 26) {
        target += static_cast<char16_t>(u'A' + number % 26);
    }
    if (point != std::u16string::npos) {
        target += node->info.name.substr(point);
    }
    return RenameLocked(path, target) ? target : std::u16string();
}

bool NtfsVolume::SetAttributes(std::u16string_view path, std::uint32_t attributes) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    const std::uint32_t fixed = kFileAttributeDirectory | kFileAttributeReparsePoint;
    node->info.attributes = (attributes & ~fixed) | (node->info.attributes & fixed);
    Record(*node, kReasonBasicInfoChange);
    Finish(*node);
    return true;
}

void NtfsVolume::MarkReparse(Node& node, std::uint32_t tag) {
    node.info.reparseTag = tag;
    if (tag != 0) {
        node.info.attributes |= kFileAttributeReparsePoint;
    } else {
        node.info.attributes &= ~kFileAttributeReparsePoint;
    }
    Record(node, kReasonReparsePointChange);
    Finish(node);
}

bool NtfsVolume::SetPlaceholder(std::u16string_view path, bool placeholder) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    node->info.placeholder = placeholder;
    MarkReparse(*node, placeholder ? kReparseTagCloud : 0);
    return true;
}

Frn NtfsVolume::MakePlaceholder(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Place place = PlaceFor(path);
    if (place.parent == nullptr || place.parent->children.contains(Fold(place.name))) {
        return 0;
    }
    const Frn frn = TakeNumber();
    Node& node = nodes_[frn];
    node.info = {frn, place.parent->info.frn, std::move(place.name), 0x20, true, 0, {}};
    place.parent->children[Fold(node.info.name)] = frn;
    Record(node, kReasonFileCreate);
    MarkReparse(node, kReparseTagCloud);
    return frn;
}

bool NtfsVolume::SetReparseTag(std::u16string_view path, std::uint32_t tag) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    MarkReparse(*node, tag);
    return true;
}

bool NtfsVolume::Touch(std::u16string_view path, std::uint32_t reasons) {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    Record(*node, reasons);
    Finish(*node);
    return true;
}

bool NtfsVolume::Hold(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    ++node->holds;
    return true;
}

void NtfsVolume::Release(Frn frn) {
    const std::lock_guard lock(mutex_);
    Node* node = Get(frn);
    if (node != nullptr && node->holds > 0) {
        --node->holds;
        Finish(*node);
    }
}

Frn NtfsVolume::Find(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    return node == nullptr ? 0 : node->info.frn;
}

std::optional<NodeInfo> NtfsVolume::Info(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    return node == nullptr ? std::nullopt : std::optional(node->info);
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
    if (const Node* node = Lookup(path); node != nullptr) {
        for (const auto& [name, frn] : node->children) {
            const NodeInfo& info = Get(frn)->info;
            entries.push_back(
                {info.frn, info.parent, info.name, info.attributes, info.placeholder, info.reparseTag, {}});
        }
    }
    return entries;
}

void NtfsVolume::ListBelow(const Node& node, const std::u16string& prefix, std::vector<std::u16string>& paths) const {
    for (const auto& [name, frn] : node.children) {
        const Node& child = *Get(frn);
        paths.push_back(prefix + u"\\" + child.info.name);
        ListBelow(child, std::u16string(paths.back()), paths);
    }
}

std::vector<std::u16string> NtfsVolume::ListTree(std::u16string_view path) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::u16string> paths;
    if (const Node* node = Lookup(path); node != nullptr) {
        ListBelow(*node, node->info.frn == root_ ? std::u16string() : PathOfLocked(node->info.frn), paths);
    }
    return paths;
}

}  // namespace tavi::sim
