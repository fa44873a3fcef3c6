#include "replay/replay_machine.h"

#include <unordered_map>
#include <utility>

namespace tavi::replay {

ReplayMachine::ReplayMachine(const std::u16string& listenPath)
    : volume_(listenPath[0] == u'C' || listenPath[0] == u'c' ? &machine_.volume()
                                                             : &machine_.files().AddVolume(listenPath[0])),
      recordedVolume_(machine_.platform().volumes, machine_.platform().errors),
      drive_(listenPath[0]) {}

std::size_t ReplayMachine::AddDirectories(std::vector<Directory> directories) {
    std::unordered_map<std::uint64_t, std::vector<const Directory*>> byParent;
    std::vector<std::pair<const Directory*, std::u16string>> pending;  // with the path, parents before children
    for (const Directory& directory : directories) {
        if (directory.frn == directory.parentFrn) {
            volume_->UseRootFrn(directory.frn);
            pending.emplace_back(&directory, u"");
        } else {
            byParent[directory.parentFrn].push_back(&directory);
        }
    }
    for (std::size_t i = 0; i < pending.size(); ++i) {
        const auto children = byParent.find(pending[i].first->frn);
        if (children == byParent.end()) {
            continue;
        }
        for (const Directory* child : children->second) {
            const std::u16string path = pending[i].second + u"\\" + child->name;
            volume_->UseNextFrn(child->frn);
            volume_->MakeDirectory(path);
            pending.emplace_back(child, path);
        }
    }
    return directories.size() - pending.size();
}

platform::Platform ReplayMachine::platform() {
    const platform::Platform real = machine_.platform();
    return {.errors = recordedVolume_,
            .services = real.services,
            .modules = real.modules,
            .files = real.files,
            .paths = real.paths,
            .volumes = recordedVolume_,
            .nativeCalls = real.nativeCalls,
            .cloudFiles = real.cloudFiles,
            .codePage = real.codePage,
            .pipes = real.pipes,
            .threads = real.threads,
            .clock = real.clock,
            .heap = real.heap,
            .trust = real.trust,
            .sqlite = real.sqlite,
            .digest = real.digest};
}

// On a drive that is no volume of the simulated machine: a folder of this computer.
std::u16string ReplayMachine::databasePath() const {
    const char16_t drive = drive_ == u'Z' || drive_ == u'z' ? u'Y' : u'Z';
    return std::u16string(1, drive) + u":\\Replay\\ListenService.dat";
}

}  // namespace tavi::replay
