// A log backend that keeps every line in memory. Installs itself while it lives. Any thread.
#pragma once

#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "imports/sync_panel_log.h"

namespace tavi::sim {

enum class LogKind { kError, kTrace, kNet, kSync };

struct LogLine {
    LogKind kind = LogKind::kTrace;
    std::string classTag;  // of an error; the category of a sync line
    std::string function;  // of an error; the label of a sync line
    std::string text;

    friend bool operator==(const LogLine&, const LogLine&) = default;
};
void PrintTo(const LogLine& line, std::ostream* out);

class CapturedLog : public Drive::LogBackend {
public:
    explicit CapturedLog(std::u16string logPath = u"C:\\ProgramData\\ZenloTavi\\Log");
    ~CapturedLog() override;
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    void Init() override;
    void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) override;
    void WriteTraceLog(std::string_view message) override;
    void WriteNetLog(std::string_view message) override;
    void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) override;
    std::u16string GetLogPath() override;

    int initialisations() const;
    std::vector<LogLine> Lines() const;
    std::vector<std::string> Texts(LogKind kind) const;
    // Lines whose text equals, or contains, the given one.
    std::size_t Count(std::string_view text) const;
    std::size_t CountContaining(std::string_view part) const;
    std::size_t Count(LogKind kind, std::string_view text) const;
    bool Contains(std::string_view part) const { return CountContaining(part) != 0; }
    bool HasTrace(std::string_view text) const { return Count(LogKind::kTrace, text) != 0; }
    bool HasNet(std::string_view text) const { return Count(LogKind::kNet, text) != 0; }
    bool HasError(std::string_view classTag, std::string_view function, std::string_view message) const;
    void Clear();
    // All lines, one a row, for a failing test's message.
    std::string Dump() const;
    // Called with every line after it was kept, on the thread that logs.
    void OnLine(std::function<void(const LogLine&)> observer);

private:
    void Keep(LogLine line);
    std::size_t CountIf(const std::function<bool(const LogLine&)>& matches) const;

    mutable std::mutex mutex_;
    std::u16string logPath_;
    std::vector<LogLine> lines_;
    std::function<void(const LogLine&)> observer_;
    int initialisations_ = 0;
};

}  // namespace tavi::sim
