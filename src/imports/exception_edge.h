// The edge at which exceptions end: an operation that reports failure by its result runs inside, and what is thrown in
// it, out of memory in practice, becomes a line of the error log and a failure. Nothing that the edge does itself
// throws. Any thread.
//
//     bool done = false;
//     EndStandardExceptions(kUtilLog, "Work", {.standard = kStdException}, [&] { done = Work(); });
//     return done;
#pragma once

#include <exception>
#include <string_view>

#include "imports/class_log.h"

namespace Drive {

// What the line says about an exception of the standard family, and about any other; an empty text means no line.
struct ExceptionTexts {
    std::string_view standard = {};
    std::string_view other = {};
    bool reasonFollows = true;  // the exception's own text after `standard`
};

inline constexpr std::string_view kStdException = "std::exception : ";

inline void LogException(const ClassLog& log, std::string_view function, const ExceptionTexts& texts,
                         const std::exception& exception) noexcept {
    if (!texts.standard.empty()) {
        log.Error(function, texts.standard, std::string_view(texts.reasonFollows ? exception.what() : ""));
    }
}

// Returns false when an exception has ended the operation, which then has been logged. Ends only the standard family:
// of this code's own, nothing else is thrown, and where it is run by something that ends threads by an exception of its
// own, that one must pass.
template <typename Operation>
bool EndStandardExceptions(const ClassLog& log, std::string_view function, const ExceptionTexts& texts,
                           Operation&& operation) {
    try {
        operation();
        return true;
    } catch (const std::exception& exception) {
        LogException(log, function, texts, exception);
        return false;
    }
}

// The same for callers that nothing at all may pass: the system's and SQLite's callbacks, destructors, the database's
// operations.
template <typename Operation>
bool EndExceptions(const ClassLog& log, std::string_view function, const ExceptionTexts& texts,
                   Operation&& operation) noexcept {
    try {
        operation();
        return true;
    } catch (const std::exception& exception) {
        LogException(log, function, texts, exception);
    } catch (...) {
        if (!texts.other.empty()) {
            log.Error(function, texts.other);
        }
    }
    return false;
}

// The same without a line.
template <typename Operation>
bool EndExceptions(Operation&& operation) noexcept {
    return EndExceptions(ClassLog({}), {}, {}, operation);
}

}  // namespace Drive
