// Log lines of one kind, for whole comparisons.
#pragma once

#include <string>
#include <vector>

#include "sim/captured_log.h"

namespace tavi::test {

inline std::vector<sim::LogLine> Errors(const sim::CapturedLog& log) {
    std::vector<sim::LogLine> errors = log.Lines();
    std::erase_if(errors, [](const sim::LogLine& line) { return line.kind != sim::LogKind::kError; });
    return errors;
}

inline sim::LogLine ServiceError(const char* function, const char* message) {
    return {sim::LogKind::kError, "ListenServiceImpl", function, message};
}

}  // namespace tavi::test
