// The edge of the operator's operations, where exceptions end, and their log lines. Any thread. Private to src/db.
#pragma once

#include <string_view>

#include "imports/exception_edge.h"

namespace tavi::db {

inline void LogError(std::string_view function, std::string_view message) {
    Drive::kSqLite3OperatorLog.Error(function, message);
}

inline void LogError(std::string_view function, std::string_view message, int code) {
    Drive::kSqLite3OperatorLog.Error(function, message, code);
}

// What an operation logs when an exception ends it: `standard` for those of the standard family, `other` for any other.
// Empty texts: nothing.
struct ExceptionTexts {
    std::string_view other;
    std::string_view standard;
    Drive::ClassLog log = Drive::kSqLite3OperatorLog;
};

// Runs the operation; an exception is logged and counts as a failure.
template <typename Operation>
bool Guarded(std::string_view function, const ExceptionTexts& texts, Operation operation) noexcept {
    bool done = false;
    Drive::EndExceptions(texts.log, function,
                         {.standard = texts.standard, .other = texts.other, .reasonFollows = false},
                         [&] { done = operation(); });
    return done;
}

template <typename Operation>
bool Guarded(Operation operation) noexcept {
    return Guarded({}, {}, operation);
}

}  // namespace tavi::db
