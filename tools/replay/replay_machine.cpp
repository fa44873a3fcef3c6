#include "replay/replay_machine.h"

#include <span>
#include <unordered_map>
#include <utility>

namespace tavi::replay {

ReplayMachine::ReplayMachine(const std::u16string& listenPath)
    : volume_(listenPath[0] == u'C' || listenPath[0] == u'c' ? &machine_.volume()
                                                             : &machine_.files().AddVolume(listenPath[0])),
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

bool ReplayMachine::LoadJournal(const JournalStream& stream) {
    return volume_->WithJournal([&stream](sim::EmulatedJournal& journal) {
        return journal.LoadRecorded(std::span(stream.bytes), stream.firstUsn);
    });
}

std::int64_t ReplayMachine::firstUsn() {
    return volume_->WithJournal([](const sim::EmulatedJournal& journal) { return journal.firstUsn(); });
}

std::int64_t ReplayMachine::nextUsn() {
    return volume_->WithJournal([](const sim::EmulatedJournal& journal) { return journal.nextUsn(); });
}

// On a drive that is no volume of the simulated machine: a folder of this computer.
std::u16string ReplayMachine::databasePath() const {
    const char16_t drive = drive_ == u'Z' || drive_ == u'z' ? u'Y' : u'Z';
    return std::u16string(1, drive) + u":\\Replay\\ListenService.dat";
}

}  // namespace tavi::replay
