#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "records/steps/numbered_name.h"
#include "records/steps/rename_passes.h"

namespace tavi::records {
namespace {

// A rename in the output, with the hash of its number and name.
struct Member {
    std::size_t hash = 0;
    std::size_t index = 0;

    friend auto operator<=>(const Member&, const Member&) = default;
};

// All renames of one file to one name: a range of the members, ascending by index. Walks consume it from its front.
struct Group {
    std::size_t hash = 0;
    NumberedName key;
    std::size_t begin = 0;
    std::size_t end = 0;

    bool IsEmpty() const { return begin == end; }
};

// A rename of a group by its old name.
struct Link {
    std::u16string_view originalName;
    std::size_t index = 0;

    friend auto operator<=>(const Link&, const Link&) = default;
};

// Third pass. The walk for a rename r removes every rename of r's file to r's old name, remembering the last one's old
// name, until it meets a rename like r itself; that one takes the remembered name. Groups are found by sorted hashes:
// in a batch of many renames that keeps to the cache, which a hash map does not.
//
// A rename like r is looked for only after something was consumed from the group of r's old name, and always behind
// it. So a rename that has taken another old name need not be taken off the old one's links: what is left of the group
// that asks for it lies behind it. And it need not be put on the new one's unless that name's group is still to be
// consumed.
class RenameChainPass {
public:
    explicit RenameChainPass(RenameOutput& output);
    void Use(const SeenRename& rename);

private:
    NumberedName KeyOf(const Member& member) const {
        return {output_[member.index].frn, output_[member.index].fileName};
    }
    void SortMembers();
    void MakeGroups();
    Group* Find(NumberedName key);
    std::size_t NextMember(const Group& group) const { return members_[group.begin].index; }
    const std::vector<Link>& LinksOf(const Group& group);
    std::size_t FirstLikeAfter(const Group& group, std::u16string_view originalName, std::size_t index);
    // The record whose old name, as it came in, is this one's at present.
    const StepRecord& OldNameOf(std::size_t index) const;
    void Collapse(std::uint64_t frn, const Group& own, std::size_t index, const StepRecord& savedName);

    static constexpr std::size_t kNone = ~std::size_t{0};

    RenameOutput& output_;
    std::vector<Member> members_;                                // by hash, then group, then index
    std::vector<Group> groups_;                                  // by hash, then key
    std::unordered_map<const Group*, std::vector<Link>> links_;  // sorted; of groups that were asked for
    std::set<std::pair<const Group*, Link>> laterLinks_;
    std::vector<const StepRecord*> oldNames_;  // by index, null for one's own; empty as long as nothing has collapsed
};

RenameChainPass::RenameChainPass(RenameOutput& output) : output_(output) {
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (output.Is(i, FileChangeReason::kRename)) {
            members_.push_back({NumberedNameHash{}({output[i].frn, output[i].fileName}), i});
        }
    }
    SortMembers();
    MakeGroups();
}

// By hash and index; then, where different keys share a hash, by key and index.
void RenameChainPass::SortMembers() {
    std::sort(members_.begin(), members_.end());
    for (auto begin = members_.begin(); begin != members_.end();) {
        bool isOneKey = true;
        auto end = begin + 1;
        for (; end != members_.end() && end->hash == begin->hash; ++end) {
            isOneKey = isOneKey && KeyOf(*end) == KeyOf(*begin);
        }
        if (!isOneKey) {
            std::sort(begin, end, [this](const Member& left, const Member& right) {
                const NumberedName leftKey = KeyOf(left);
                const NumberedName rightKey = KeyOf(right);
                return leftKey != rightKey ? leftKey < rightKey : left.index < right.index;
            });
        }
        begin = end;
    }
}

void RenameChainPass::MakeGroups() {
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (i == 0 || members_[i].hash != members_[i - 1].hash || KeyOf(members_[i]) != groups_.back().key) {
            groups_.push_back({members_[i].hash, KeyOf(members_[i]), i, i});
        }
        ++groups_.back().end;
    }
}

Group* RenameChainPass::Find(NumberedName key) {
    const std::size_t hash = NumberedNameHash{}(key);
    const auto group = std::lower_bound(
        groups_.begin(), groups_.end(), key, [hash](const Group& candidate, const NumberedName& wanted) {
            return candidate.hash != hash ? candidate.hash < hash : candidate.key < wanted;
        });
    return group != groups_.end() && group->hash == hash && group->key == key ? &*group : nullptr;
}

const std::vector<Link>& RenameChainPass::LinksOf(const Group& group) {
    std::vector<Link>& links = links_[&group];
    if (links.empty()) {
        for (std::size_t i = group.begin; i < group.end; ++i) {
            links.push_back({output_[members_[i].index].originalFileName, members_[i].index});
        }
        std::sort(links.begin(), links.end());
    }
    return links;
}

std::size_t RenameChainPass::FirstLikeAfter(const Group& group, std::u16string_view originalName, std::size_t index) {
    if (group.IsEmpty()) {
        return kNone;
    }
    const Link wanted{originalName, std::max(index + 1, NextMember(group))};
    std::size_t first = kNone;
    if (group.end - group.begin == 1) {
        const std::size_t only = NextMember(group);
        first = only >= wanted.index && output_[only].originalFileName == originalName ? only : kNone;
    } else {
        const std::vector<Link>& links = LinksOf(group);
        const auto link = std::lower_bound(links.begin(), links.end(), wanted);
        first = link != links.end() && link->originalName == originalName ? link->index : kNone;
    }
    const auto later = laterLinks_.lower_bound({&group, wanted});
    if (later != laterLinks_.end() && later->first == &group && later->second.originalName == originalName) {
        first = std::min(first, later->second.index);
    }
    return first;
}

const StepRecord& RenameChainPass::OldNameOf(std::size_t index) const {
    const bool isOwn = oldNames_.empty() || oldNames_[index] == nullptr;
    return isOwn ? output_[index] : *oldNames_[index];
}

void RenameChainPass::Collapse(std::uint64_t frn, const Group& own, std::size_t index, const StepRecord& savedName) {
    oldNames_.resize(output_.size());
    oldNames_[index] = &savedName;
    output_.TakeOriginalName(index, savedName);
    const Group* asking = Find({frn, savedName.originalFileName});
    if (asking != nullptr && !asking->IsEmpty()) {
        laterLinks_.insert({&own, {savedName.originalFileName, index}});
    }
}

void RenameChainPass::Use(const SeenRename& rename) {
    const std::u16string_view oldName = rename.record->originalFileName;
    Group* earlier = Find({rename.frn, oldName});
    if (earlier == nullptr || earlier->IsEmpty()) {
        return;
    }
    const Group* own = Find({rename.frn, rename.record->fileName});
    const bool mayCollapse = own != nullptr && own != earlier;
    while (!earlier->IsEmpty()) {
        const std::size_t removed = NextMember(*earlier);
        ++earlier->begin;
        output_.Remove(removed);
        const StepRecord& savedName = OldNameOf(removed);
        if (savedName.originalFileName.empty() || !mayCollapse) {
            continue;
        }
        const std::size_t like = FirstLikeAfter(*own, oldName, removed);
        if (like == kNone || (!earlier->IsEmpty() && NextMember(*earlier) < like)) {
            continue;  // the walk ends, or meets another earlier rename first
        }
        Collapse(rename.frn, *own, like, savedName);
        return;
    }
}

}  // namespace

void CollapseRenameChains(const RenameList& renames, RenameOutput& output) {
    if (renames.empty()) {
        return;
    }
    RenameChainPass pass(output);
    for (const SeenRename& rename : renames) {
        pass.Use(rename);
    }
}

}  // namespace tavi::records
