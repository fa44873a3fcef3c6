#include "imports/class_log.h"

#include <string>

#include "imports/sync_panel_log.h"

namespace Drive {

void ClassLog::Error(std::string_view function, std::string_view message) const noexcept {
    try {
        SyncPanelLog::WriteErrorLog(classTag_, function, message);
    } catch (...) {  // there is nobody left to tell
    }
}

void ClassLog::Error(std::string_view function, std::string_view message, std::int64_t code) const noexcept {
    try {
        Error(function, message, std::string_view(std::to_string(code)));
    } catch (...) {
        Error(function, message);
    }
}

void ClassLog::Error(std::string_view function, std::string_view message, std::string_view end) const noexcept {
    std::string line;
    try {
        line.append(message).append(end);
    } catch (...) {
        Error(function, message);
        return;
    }
    Error(function, line);
}

}  // namespace Drive
