#include "imports/sync_panel_log.h"

#include <atomic>

namespace Drive {

namespace {

std::atomic<LogBackend*> installedBackend{nullptr};

}  // namespace

void SyncPanelLog::Install(LogBackend* backend) {
    installedBackend.store(backend, std::memory_order_release);
}

void SyncPanelLog::ListenServiceLogInit() {
    if (LogBackend* backend = installedBackend.load(std::memory_order_acquire)) {
        backend->Init();
    }
}

void SyncPanelLog::WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) {
    if (LogBackend* backend = installedBackend.load(std::memory_order_acquire)) {
        backend->WriteErrorLog(classTag, function, message);
    }
}

void SyncPanelLog::WriteTraceLog(std::string_view message) {
    if (LogBackend* backend = installedBackend.load(std::memory_order_acquire)) {
        backend->WriteTraceLog(message);
    }
}

void SyncPanelLog::WriteNetLog(std::string_view message) {
    if (LogBackend* backend = installedBackend.load(std::memory_order_acquire)) {
        backend->WriteNetLog(message);
    }
}

void SyncPanelLog::WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) {
    if (LogBackend* backend = installedBackend.load(std::memory_order_acquire)) {
        backend->WriteSyncLog(category, label, text);
    }
}

std::u16string SyncPanelLog::GetLogPath() {
    LogBackend* backend = installedBackend.load(std::memory_order_acquire);
    return backend != nullptr ? backend->GetLogPath() : std::u16string();
}

}  // namespace Drive
