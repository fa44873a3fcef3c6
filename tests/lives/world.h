// The simulated machine of one life, with the service on it and a client that asks it. Everything is done by the one
// thread that owns this; the service's own threads go on whenever that one sleeps or waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lives/database_image.h"
#include "lives/life_log.h"
#include "lives/plan.h"
#include "lives/truth.h"
#include "lives/workload.h"
#include "sim/machine.h"

namespace tavi::lives {

class World {
public:
    explicit World(const Plan& plan);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    sim::Machine& machine() { return machine_; }
    platform::Platform& platform() { return platform_; }
    LifeLog& log() { return log_; }
    Truth& truth() { return truth_; }
    Workload& workload() { return workload_; }
    sim::NtfsVolume& volume() { return machine_.volume(); }

    // Virtual time; troubles that are over end on the way.
    void Sleep(std::int64_t milliseconds);

    // The process. Stop gives the milliseconds it took, or nothing when the process died instead.
    void StartProcess();
    std::optional<std::int64_t> Stop();
    bool processStarted() const { return processStarted_; }
    std::size_t handlesWithoutTask() const { return handlesWithoutTask_; }  // of this process, before it was asked
    bool dead() { return machine_.dead(); }
    // After a death: the machine comes up again, without the process.
    void Restart();
    void LosePowerAtCall(std::uint64_t call);

    // The client. Nothing when no answer came.
    std::optional<std::uint32_t> AskStart(std::size_t user, std::size_t folder);
    std::optional<std::uint32_t> AskFinish();
    std::optional<std::uint32_t> AskStatus();

    std::filesystem::path DatabaseFile(std::size_t user);
    std::u16string UserId(std::size_t user) const;
    // The folder as the requests name it.
    std::u16string FolderName(std::size_t folder) const;

    // The client deletes the rows. False when it could not.
    bool DeleteRows(std::size_t user);

    // Troubles.
    void LockDatabase(std::size_t user, std::int64_t milliseconds);
    void FillDisk(std::int64_t milliseconds);
    void FailReads(std::int64_t milliseconds);
    void FailSqlite(const std::string& call, std::uint32_t code, std::uint64_t times);
    bool inTrouble() const { return !timers_.empty() || sqliteFailing_; }
    void EndTroubles();

    std::uint64_t journalId();
    std::int64_t journalFirst();
    std::int64_t journalNext();
    bool journalActive();
    // Nothing that happened inside the folder is still to be dealt with.
    bool IsAtTheEnd(const Image& image, std::size_t folder);

    // A program outside the folder writes until the journal has lost everything that it held.
    void FloodJournal();
    // The judges' own cycles write nothing.
    void EndOwnWrites() { ownWrites_ = false; }

private:
    std::optional<std::uint32_t> Ask(std::uint32_t command, std::u16string_view json);
    void MakeVolume();
    void WriteAsTheService();
    void RunTimers();
    void EndShortTroubles();
    void Unlock();

    LifeLog log_;
    const Plan& plan_;
    sim::Machine machine_;
    platform::Platform platform_;
    Truth truth_;
    Workload workload_;
    sim::Machine::ThreadId process_ = 0;
    bool processStarted_ = false;
    std::size_t handlesWithoutTask_ = 0;
    bool sqliteFailing_ = false;
    std::atomic<bool> ownWrites_ = false;
    std::int64_t nextCheckpoint_ = 0;
    Database locker_;
    std::vector<std::pair<std::int64_t, std::function<void()>>> timers_;
    std::map<std::size_t, std::filesystem::path> files_;
};

inline constexpr const char16_t* kDatabaseBase = u"C:\\ProgramData\\Base";

}  // namespace tavi::lives
