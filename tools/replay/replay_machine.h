// A simulated machine with a recorded volume: its directories, with their reference numbers, and its change journal.
// The product's own classes read it as they read a real one, in virtual time. Its database is a file in a temporary
// folder that goes with it. One thread; one at a time, because the log that it takes over is the process's.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "replay/recorded_journal.h"
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
    // False when the bytes are no journal.
    bool LoadJournal(const JournalStream& stream);

    bool HasDirectory(const std::u16string& path) { return volume_->Find(path) != 0; }
    std::int64_t firstUsn();
    std::int64_t nextUsn();
    sim::Machine& machine() { return machine_; }
    sim::CapturedLog& log() { return log_; }
    std::u16string databasePath() const;
    std::filesystem::path databaseFile() { return machine_.files().HostPath(databasePath()); }

private:
    sim::CapturedLog log_;
    sim::Machine machine_;
    sim::NtfsVolume* volume_;
    char16_t drive_;
};

}  // namespace tavi::replay
