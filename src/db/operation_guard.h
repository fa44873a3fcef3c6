// The edge of the operator's operations: nothing that is thrown inside one leaves it. Private to src/db.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "imports/sync_panel_log.h"

namespace tavi::db {

inline constexpr std::string_view kClassTag = "SqLite3Operator";
// Two operations log under this spelling.
inline constexpr std::string_view kDeviatingClassTag = "SQLite3Operator";

inline void LogError(std::string_view function, std::string_view message) {
    Drive::SyncPanelLog::WriteErrorLog(kClassTag, function, message);
}

inline void LogError(std::string_view function, std::string_view message, int code) {
    LogError(function, std::string(message) + std::to_string(code));
}

// What an operation logs when an exception ends it: `standard` for those of the standard family, `other` for any other.
// Empty texts: nothing.
struct ExceptionTexts {
    std::string_view other;
    std::string_view standard;
    std::string_view classTag = kClassTag;
};

// Runs the operation; an exception is logged and counts as a failure.
template <typename Operation>
bool Guarded(std::string_view function, const ExceptionTexts& texts, Operation operation) noexcept {
    std::string_view message;
    try {
        return operation();
    } catch (const std::exception&) {
        message = texts.standard;
    } catch (...) {
        message = texts.other;
    }
    if (!message.empty()) {
        Drive::SyncPanelLog::WriteErrorLog(texts.classTag, function, message);
    }
    return false;
}

template <typename Operation>
bool Guarded(Operation operation) noexcept {
    return Guarded({}, {}, operation);
}

}  // namespace tavi::db
