// What changes the volume, and the records that each change writes.
#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/constants.h"
#include "sim/ntfs_volume.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::uint32_t kReparseTagCloud = 0x9000001A;
constexpr std::uint32_t kReasonNamedDataOverwrite = 0x10;
constexpr std::uint32_t kReasonNamedDataExtend = 0x20;
constexpr std::uint32_t kReasonNamedDataTruncation = 0x40;
constexpr std::uint32_t kReasonObjectIdChange = 0x80000;
constexpr std::uint32_t kReasonStreamChange = 0x200000;
constexpr std::uint32_t kHiddenSystemDirectory = 0x16;
constexpr std::uint64_t kRecordNumber = 0xFFFFFFFFFFFF;
constexpr int kSequenceShift = 48;

// Sequence, record number and a number that is not used again, 24 digits in all.
std::u16string NameInDeleted(Frn frn, std::uint64_t number) {
    std::array<char, 32> digits;
    std::snprintf(digits.data(), digits.size(), "%04X%012llX%08llX", static_cast<unsigned>(frn >> kSequenceShift),
                  static_cast<unsigned long long>(frn & kRecordNumber), static_cast<unsigned long long>(number));
    const std::string_view text(digits.data());
    return {text.begin(), text.end()};
}

bool SharesDeletion(const Opening& opening) {
    return SharingNeededFor(opening.access) == 0 || (opening.share & kFileShareDelete) != 0;
}

}  // namespace

Frn NtfsVolume::TakeNumber() {
    if (nextFrn_ != 0) {
        return std::exchange(nextFrn_, 0);
    }
    if (reuse_ && !freed_.empty()) {
        const auto [number, sequence] = *freed_.begin();
        freed_.erase(freed_.begin());
        const auto next = static_cast<std::uint16_t>(sequence == 0xFFFF ? 1 : sequence + 1);
        return std::uint64_t{next} << kSequenceShift | number;
    }
    return std::uint64_t{1} << kSequenceShift | nextRecord_++;
}

std::uint64_t NtfsVolume::Now() const {
    return now_() / tick_ * tick_;
}

void NtfsVolume::Record(const Node& node, std::uint32_t reason) {
    journal_.Append(node.info.frn, node.info.parent, node.info.name, node.info.attributes, reason, Now());
}

void NtfsVolume::Finish(const Node& node) {
    if (node.holds.empty()) {
        journal_.Close(node.info.frn, Now());
    }
}

NtfsVolume::Node& NtfsVolume::AddNode(Node& parent, std::u16string name, std::uint32_t attributes) {
    const Frn frn = TakeNumber();
    Node& node = nodes_[frn];
    node.info = {frn, parent.info.frn, std::move(name), attributes, false, 0, {}};
    parent.children[Fold(node.info.name)] = frn;
    Record(node, kReasonFileCreate);
    return node;
}

Frn NtfsVolume::Add(Node& parent, std::u16string name, std::uint32_t attributes, std::string contents) {
    Node& node = AddNode(parent, std::move(name), attributes);
    node.info.contents = std::move(contents);
    if (!node.info.contents.empty()) {
        Record(node, kReasonDataExtend);
    }
    Finish(node);
    return node.info.frn;
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
    Place place = FreePlaceFor(path);
    return place.parent == nullptr ? 0 : Add(*place.parent, std::move(place.name), attributes, std::string(contents));
}

Frn NtfsVolume::MakeHeldFile(std::u16string_view path, std::uint32_t attributes, Opening opening) {
    const std::lock_guard lock(mutex_);
    Place place = FreePlaceFor(path);
    if (place.parent == nullptr) {
        return 0;
    }
    Node& node = AddNode(*place.parent, std::move(place.name), attributes);
    node.holds.push_back(opening);
    return node.info.frn;
}

bool NtfsVolume::Write(std::u16string_view path, std::string_view contents, WriteKind kind) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr || node->info.IsDirectory()) {
        return false;
    }
    node->info.attributes |= kFileAttributeArchive;  // without a record of its own
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

bool NtfsVolume::WriteStream(std::u16string_view path, std::u16string_view stream, std::string_view contents,
                             WriteKind kind) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    const auto [at, isNew] = node->streams.try_emplace(Fold(stream));
    if (isNew) {
        Record(*node, kReasonStreamChange);
    }
    at->second = kind == WriteKind::kExtend ? at->second + std::string(contents) : std::string(contents);
    if (kind == WriteKind::kTruncate) {
        Record(*node, kReasonNamedDataTruncation);
    }
    if (!contents.empty()) {
        Record(*node, kind == WriteKind::kOverwrite ? kReasonNamedDataOverwrite : kReasonNamedDataExtend);
    }
    Finish(*node);
    return true;
}

bool NtfsVolume::RemoveStream(std::u16string_view path, std::u16string_view stream) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr || node->streams.erase(Fold(stream)) == 0) {
        return false;
    }
    Record(*node, kReasonStreamChange);
    Finish(*node);
    return true;
}

bool NtfsVolume::MakeLink(std::u16string_view path, std::u16string_view link) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    Place place = FreePlaceFor(link);
    if (node == nullptr || node->info.IsDirectory() || place.parent == nullptr) {
        return false;
    }
    node->otherLinks.push_back({place.parent->info.frn, place.name});
    place.parent->children[Fold(place.name)] = node->info.frn;
    journal_.AppendRaw(node->info.frn, place.parent->info.frn, place.name, node->info.attributes,
                       kReasonHardLinkChange | kReasonClose, Now());
    return true;
}

bool NtfsVolume::CanBeDeleted(const Node& node) const {
    return node.info.frn != root_ && node.children.empty() && !node.isDeleted &&
           std::all_of(node.holds.begin(), node.holds.end(), SharesDeletion);
}

bool NtfsVolume::IsHeldBelow(const Node& node) const {
    return std::any_of(node.children.begin(), node.children.end(), [this](const auto& child) {
        const Node& below = *Get(child.second);
        return !below.holds.empty() || IsHeldBelow(below);
    });
}

bool NtfsVolume::CanBeMoved(const Node& node) const {
    return node.info.frn != root_ && !IsHeldBelow(node) &&
           std::all_of(node.holds.begin(), node.holds.end(), SharesDeletion);
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
    return true;
}

bool NtfsVolume::RenameLocked(std::u16string_view from, std::u16string_view to) {
    Node* node = Lookup(from);
    Place place = PlaceFor(to);
    if (node == nullptr || place.parent == nullptr || !CanBeMoved(*node)) {
        return false;
    }
    const bool onlyItsCase = place.parent->info.frn == node->info.parent && Fold(place.name) == Fold(node->info.name);
    if (place.parent->children.contains(Fold(place.name)) && !onlyItsCase) {
        return false;
    }
    if (!MoveNode(*node, std::move(place))) {
        return false;
    }
    Finish(*node);
    return true;
}

bool NtfsVolume::Rename(std::u16string_view from, std::u16string_view to) {
    const std::lock_guard lock(mutex_);
    return RenameLocked(from, to);
}

bool NtfsVolume::Replace(std::u16string_view from, std::u16string_view to) {
    const std::lock_guard lock(mutex_);
    Node* source = Lookup(from);
    if (source == nullptr || !CanBeMoved(*source)) {
        return false;
    }
    Node* target = Lookup(to);
    if (target == source || (target != nullptr && (target->info.IsDirectory() || !RemoveNode(*target)))) {
        return false;
    }
    return RenameLocked(from, to);
}

// Made by the system itself: no record tells of it.
NtfsVolume::Node& NtfsVolume::HiddenFolder(Node& parent, const std::u16string& name, Frn frn) {
    const auto [child, isNew] = parent.children.try_emplace(Fold(name), frn);
    if (isNew) {
        nodes_[frn].info = {frn, parent.info.frn, name, kHiddenSystemDirectory, false, 0, {}};
    }
    return *Get(child->second);
}

NtfsVolume::Node& NtfsVolume::DeletedFolder() {
    constexpr Frn kExtend = 0x000B00000000000B;
    constexpr Frn kDeleted = 0x000100000000001D;
    return HiddenFolder(HiddenFolder(*Get(root_), u"$Extend", kExtend), u"$Deleted", kDeleted);
}

// Nothing that was pending is told with the deletion later.
void NtfsVolume::MoveToDeleted(Node& node) {
    MoveNode(node, {&DeletedFolder(), NameInDeleted(node.info.frn, ++deleted_)});
    journal_.Forget(node.info.frn);
    node.isDeleted = true;
}

void NtfsVolume::Forget(Node& node) {
    const Frn frn = node.info.frn;
    Record(node, kReasonFileDelete | kReasonClose);
    Get(node.info.parent)->children.erase(Fold(node.info.name));
    nodes_.erase(frn);
    freed_[frn & kRecordNumber] = static_cast<std::uint16_t>(frn >> kSequenceShift);
}

void NtfsVolume::RemoveLink(Node& node) {
    journal_.AppendRaw(node.info.frn, node.info.parent, node.info.name, node.info.attributes,
                       kReasonHardLinkChange | kReasonClose, Now());
    Get(node.info.parent)->children.erase(Fold(node.info.name));
    node.info.parent = node.otherLinks.back().parent;
    node.info.name = std::move(node.otherLinks.back().name);
    node.otherLinks.pop_back();
}

bool NtfsVolume::RemoveNode(Node& node) {
    if (!CanBeDeleted(node)) {
        return false;
    }
    if (!node.otherLinks.empty()) {
        RemoveLink(node);
    } else if (!node.holds.empty()) {
        MoveToDeleted(node);
    } else {
        Forget(node);
    }
    return true;
}

bool NtfsVolume::Remove(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    return node != nullptr && RemoveNode(*node);
}

bool NtfsVolume::RemoveBelow(Frn frn, TreeRemoval removal) {
    const std::map<std::u16string, Frn> children = Get(frn)->children;
    for (const auto& [name, child] : children) {
        Node& below = *Get(child);
        UseLink(below, LinkAt(below, frn, name));
        RemoveBelow(child, removal);
    }
    Node& node = *Get(frn);
    if (removal == TreeRemoval::kByName || !node.info.IsDirectory()) {
        return RemoveNode(node);
    }
    if (!CanBeDeleted(node)) {
        return false;
    }
    MoveToDeleted(node);
    if (node.holds.empty()) {
        Forget(node);
    }
    return true;
}

bool NtfsVolume::RemoveTree(std::u16string_view path, TreeRemoval removal) {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    return node != nullptr && node->info.frn != root_ && RemoveBelow(node->info.frn, removal);
}

std::u16string NtfsVolume::Recycle(std::u16string_view path) {
    const std::u16string bin = u"\\" + recycleBin_ + u"\\S-1-5-21-1001";
    MakeDirectory(bin);
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    if (node == nullptr) {
        return {};
    }
    const std::size_t point = node->info.name.rfind(u'.');
    std::u16string name;
    for (std::uint32_t number = ++recycled_, digit = 0; digit < 6; ++digit, number /= 26) {
        name += static_cast<char16_t>(u'A' + number % 26);
    }
    if (point != std::u16string::npos) {
        name += node->info.name.substr(point);
    }
    const std::u16string target = bin + u"\\$R" + name;
    if (!RenameLocked(path, target)) {
        return {};
    }
    Place note = FreePlaceFor(bin + u"\\$I" + name);
    Add(*note.parent, std::move(note.name), kFileAttributeArchive, "where it was");
    return target;
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

bool NtfsVolume::SetObjectId(std::u16string_view path) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    if (node == nullptr) {
        return false;
    }
    if (!std::exchange(node->hasObjectId, true)) {
        Record(*node, kReasonObjectIdChange);
        Finish(*node);
    }
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
    Place place = FreePlaceFor(path);
    if (place.parent == nullptr) {
        return 0;
    }
    Node& node = AddNode(*place.parent, std::move(place.name), kFileAttributeArchive);
    node.info.placeholder = true;
    MarkReparse(node, kReparseTagCloud);
    return node.info.frn;
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

bool NtfsVolume::Hold(std::u16string_view path, Opening opening) {
    const std::lock_guard lock(mutex_);
    Node* node = Lookup(path);
    const auto conflicts = [&opening](const Opening& held) { return IsConflict(held, opening); };
    if (node == nullptr || std::any_of(node->holds.begin(), node->holds.end(), conflicts)) {
        return false;
    }
    node->holds.push_back(opening);
    return true;
}

void NtfsVolume::Release(Frn frn) {
    const std::lock_guard lock(mutex_);
    Node* node = Get(frn);
    if (node == nullptr || node->holds.empty()) {
        return;
    }
    node->holds.erase(node->holds.begin());
    if (node->isDeleted && node->holds.empty()) {
        Forget(*node);
    } else {
        Finish(*node);
    }
}

void NtfsVolume::ReleaseAndDelete(Frn frn) {
    {
        const std::lock_guard lock(mutex_);
        Node* node = Get(frn);
        if (node == nullptr || node->holds.empty()) {
            return;
        }
        if (node->holds.size() == 1 && node->otherLinks.empty() && !node->isDeleted && node->children.empty()) {
            node->holds.clear();
            Forget(*node);
            return;
        }
        if (!node->isDeleted) {
            RemoveNode(*node);
        }
    }
    Release(frn);
}

bool NtfsVolume::Permits(Frn frn, Opening opening) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Get(frn);
    return node == nullptr || std::none_of(node->holds.begin(), node->holds.end(),
                                           [&opening](const Opening& held) { return IsConflict(held, opening); });
}

}  // namespace tavi::sim
