// A simulated machine with a recorded volume: its directories, with their reference numbers, and its change journal.
// The product's own classes read it as they read a real one, in virtual time. Its database is a file in a temporary
// folder that goes with it. One thread; one at a time, because the log that it takes over is the process's.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "replay/directory_list.h"
#include "replay/journal_extract.h"
#include "replay/recorded_volume.h"
#include "sim/captured_log.h"
#include "sim/machine.h"

namespace tavi::replay {

class ReplayMachine {
public:
    // `listenPath` begins with the drive's letter and a colon.
    explicit ReplayMachine(const std::u16string& listenPath);

    // Makes the directories. Those whose chain of parents does not lead to the root are left out; their number.
    std::size_t AddDirectories(std::vector<Directory> directories);
    // Some folders of the simulated machine are on this computer's disk; the listened one, which exists by now, never
    // is.
    void KeepOnVolume(const std::u16string& path) { machine_.files().AddVolumeFolder(path); }
    // The volume's change journal from now on; outlives the machine's use.
    void UseJournal(JournalExtract& journal) { recordedVolume_.UseJournal(journal); }

    bool HasDirectory(const std::u16string& path) { return volume_->Find(path) != 0; }
    platform::Platform platform();
    sim::CapturedLog& log() { return log_; }
    std::u16string databasePath() const;
    std::filesystem::path databaseFile() { return machine_.files().HostPath(databasePath()); }

private:
    sim::CapturedLog log_;
    sim::Machine machine_;
    sim::NtfsVolume* volume_;
    RecordedVolume recordedVolume_;
    char16_t drive_;
};

}  // namespace tavi::replay
