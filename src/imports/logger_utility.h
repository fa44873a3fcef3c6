// The system's text for an error code, as the logs print it: UTF-8, on one line, without trailing blanks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/system_errors.h"

namespace Drive {

class LoggerUtility {
public:
    static std::string GetErrorMessage(tavi::platform::SystemErrors& errors, std::uint32_t code);
};

}  // namespace Drive
