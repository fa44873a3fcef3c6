// What the service said during a life, as far as the judges need it: which way a start request took, and the lines
// before something went wrong. Installs itself as the log's backend while it lives. Any thread.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

#include "imports/sync_panel_log.h"

namespace tavi::lives {

// The ways of a start request, by the trace that names each.
enum class StartWay { kNone, kFirstLogin, kPathSwitch, kJournalClosed, kExpired, kContinue };

class LifeLog final : public Drive::LogBackend {
public:
    LifeLog() { Drive::SyncPanelLog::Install(this); }
    ~LifeLog() override { Drive::SyncPanelLog::Install(nullptr); }
    LifeLog(const LifeLog&) = delete;
    LifeLog& operator=(const LifeLog&) = delete;

    void Init() override {}
    void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) override;
    void WriteTraceLog(std::string_view message) override;
    void WriteNetLog(std::string_view message) override;
    void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) override;
    std::u16string GetLogPath() override { return u"C:\\ProgramData\\Log"; }

    // The next pieces of dumps find no memory.
    void FailDumps(int pieces) { failingDumps_ = pieces; }
    // Since the last call.
    void ForgetStart();
    StartWay startWay() const;
    bool tablesCleared() const;  // because another task was replaced
    // Whether the position was given up while reading, since the life's beginning.
    int positionsGivenUp() const;
    // Batches that could not be saved in ten attempts, likewise.
    int savesGivenUp() const;
    // The last lines, one a row.
    std::string Tail() const;

private:
    void Keep(std::string line);

    mutable std::mutex mutex_;
    std::deque<std::string> lines_;
    StartWay startWay_ = StartWay::kNone;
    bool tablesCleared_ = false;
    int positionsGivenUp_ = 0;
    int savesGivenUp_ = 0;
    std::atomic<int> failingDumps_ = 0;
};

}  // namespace tavi::lives
