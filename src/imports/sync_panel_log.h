// The service's logs, behind one facade: errors (class tag, function, message), traces, network-channel messages and
// the record dumps of the sync log. Messages are UTF-8. Every call may come from any thread and never throws.
//
// The facade is process-wide, as its users expect of a log. Where the lines go is the installed backend's affair: files
// in the service (imports/file_log.h), memory in the tests. Without a backend every call does nothing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Drive {

// A text for the sync log that is longer becomes several entries, each as many whole lines as fit, with the same
// heading. Who cuts it there beforehand writes the same file.
inline constexpr std::size_t kLargestSyncLogEntry = 1u << 20;

// Receives what the facade is given. Implementations are thread-safe and do not throw.
class LogBackend {
public:
    virtual ~LogBackend() = default;

    virtual void Init() = 0;  // may be called more than once
    virtual void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) = 0;
    virtual void WriteTraceLog(std::string_view message) = 0;
    virtual void WriteNetLog(std::string_view message) = 0;
    virtual void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) = 0;
    virtual std::u16string GetLogPath() = 0;  // the log folder, without a trailing backslash
};

class SyncPanelLog {
public:
    // Not owned; null takes the backend away. Not to be called while other threads log.
    static void Install(LogBackend* backend);

    static void ListenServiceLogInit();
    static void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message);
    static void WriteTraceLog(std::string_view message);
    static void WriteNetLog(std::string_view message);
    static void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text);
    static std::u16string GetLogPath();
};

}  // namespace Drive
