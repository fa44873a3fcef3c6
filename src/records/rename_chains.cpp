#include <algorithm>
#include <set>
#include <tuple>
#include <unordered_map>

#include "records/numbered_name.h"
#include "records/rename_passes.h"

namespace tavi::records {
namespace {

// Third pass. The walk for a rename r removes every rename of r's file to r's old name, remembering the last one's old
// name, until it meets the rename that r itself became; that one takes the remembered name. All renames of one file to
// one name form a group. A walk consumes a group from its front, so that what is left of a group is always its end.
class RenameChainPass {
public:
    explicit RenameChainPass(OutputSlots output);
    void Use(const SeenRename& rename);

private:
    struct Group {
        std::vector<std::size_t> members;  // ascending
        std::size_t consumed = 0;

        bool IsEmpty() const { return consumed == members.size(); }
    };
    // A member of a group by its present old name.
    using Link = std::tuple<const Group*, std::u16string_view, std::size_t>;
    using Groups = std::unordered_map<NumberedName, Group, NumberedNameHash>;

    void IndexLinks();
    std::set<Link>::iterator FirstLinkAfter(const Group& group, std::u16string_view originalName, std::size_t index);

    OutputSlots output_;
    Groups groups_;
    std::set<Link> links_;  // made when first needed: most batches have no chain
    bool linksIndexed_ = false;
};

RenameChainPass::RenameChainPass(OutputSlots output) : output_(output) {
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (output[i].present && output[i].reason == FileChangeReason::kRename) {
            groups_[{output[i].frn, output[i].name.text}].members.push_back(i);
        }
    }
}

void RenameChainPass::IndexLinks() {
    if (linksIndexed_) {
        return;
    }
    linksIndexed_ = true;
    std::vector<Link> links;
    for (const auto& [key, group] : groups_) {
        for (std::size_t i = group.consumed; i < group.members.size(); ++i) {
            const std::size_t member = group.members[i];
            links.emplace_back(&group, output_[member].originalName.text, member);
        }
    }
    std::sort(links.begin(), links.end());
    links_ = std::set<Link>(links.begin(), links.end());  // linear, because it is sorted
}

std::set<RenameChainPass::Link>::iterator RenameChainPass::FirstLinkAfter(const Group& group,
                                                                          std::u16string_view originalName,
                                                                          std::size_t index) {
    if (group.IsEmpty()) {
        return links_.end();
    }
    const std::size_t first = std::max(index + 1, group.members[group.consumed]);
    const auto link = links_.lower_bound(Link(&group, originalName, first));
    const bool matches = link != links_.end() && std::get<0>(*link) == &group && std::get<1>(*link) == originalName;
    return matches ? link : links_.end();
}

void RenameChainPass::Use(const SeenRename& rename) {
    const auto earlier = groups_.find({rename.frn, rename.originalName.text});
    if (earlier == groups_.end() || earlier->second.IsEmpty()) {
        return;
    }
    IndexLinks();
    Group& earlierRenames = earlier->second;
    const auto own = groups_.find({rename.frn, rename.name.text});
    const bool mayCollapse = own != groups_.end() && own != earlier;
    while (!earlierRenames.IsEmpty()) {
        const std::size_t removed = earlierRenames.members[earlierRenames.consumed++];
        output_[removed].present = false;
        const ClassedName savedName = output_[removed].originalName;
        if (savedName.text.empty() || !mayCollapse) {
            continue;
        }
        const auto link = FirstLinkAfter(own->second, rename.originalName.text, removed);
        if (link == links_.end()) {
            continue;
        }
        const std::size_t collapsed = std::get<2>(*link);
        if (!earlierRenames.IsEmpty() && earlierRenames.members[earlierRenames.consumed] < collapsed) {
            continue;  // the walk meets another earlier rename first
        }
        output_[collapsed].originalName = savedName;
        links_.erase(link);
        links_.emplace(&own->second, savedName.text, collapsed);
        return;
    }
}

}  // namespace

void CollapseRenameChains(const RenameList& renames, OutputSlots output) {
    if (renames.empty()) {
        return;
    }
    RenameChainPass pass(output);
    for (const SeenRename& rename : renames) {
        pass.Use(rename);
    }
}

}  // namespace tavi::records
