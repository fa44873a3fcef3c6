// The service's logs as files: "error.log", "trace.log", "net.log" and "sync.log" in one folder, each rotated by size
// and kept in bounded number ("error.1.log" is older than "error.log"). Every line begins with the local time and the
// thread. A file that cannot be rotated, because somebody holds an older one, grows to twice its size at most; then the
// oldest entries go, never the newest.
//
// Installed by the composition root as the backend of Drive::SyncPanelLog; it outlives every thread that logs. Any
// thread; nothing is thrown. Every entry is handed to the system before the call returns, so that a killed process
// loses nothing; a dump is one entry and so costs one write, and more only where it is longer than 1 MiB. What cannot
// be written is dropped: a service with a full disk goes on.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "imports/sync_panel_log.h"
#include "platform/platform.h"

namespace Drive {

// Bounds for one kind of log: `olderFiles` files of about `fileBytes` are kept beside the one that is written.
struct LogBounds {
    std::size_t fileBytes = 0;
    std::size_t olderFiles = 0;
};

struct FileLogBounds {
    LogBounds lines{5u << 20, 3};   // error, trace and net log, each
    LogBounds dumps{10u << 20, 5};  // sync log
};

class FileLog final : public LogBackend {
public:
    // The folder is created by Init when it is missing. An empty one means no log at all.
    explicit FileLog(std::u16string folder, FileLogBounds bounds = {});
    ~FileLog() override;

    // Opens the files; later calls open only those that could not be opened before.
    void Init() override;
    void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) override;
    void WriteTraceLog(std::string_view message) override;
    void WriteNetLog(std::string_view message) override;
    void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) override;
    std::u16string GetLogPath() override;

private:
    struct Files;
    std::u16string folder_;
    std::unique_ptr<Files> files_;
};

// "ZenloTavi\Log" in the common application-data folder, which every user may write to. Empty when that folder cannot
// be had, or when one of the two names is a link: the service would write, with its own rights, wherever the link
// leads.
std::u16string ServiceLogFolder(tavi::platform::Platform& platform);

}  // namespace Drive
