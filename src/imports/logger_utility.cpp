#include "imports/logger_utility.h"

#include "imports/type_convert.h"

namespace Drive {

std::string LoggerUtility::GetErrorMessage(tavi::platform::SystemErrors& errors, std::uint32_t code) {
    // The system ends its texts with a line break and puts others inside long ones; a log entry is one line.
    std::u16string line;
    bool pendingBlank = false;
    for (const char16_t unit : errors.FormatMessageW(code)) {
        if (unit <= u' ') {
            pendingBlank = !line.empty();
            continue;
        }
        if (pendingBlank) {
            line.push_back(u' ');
            pendingBlank = false;
        }
        line.push_back(unit);
    }
    return TypeConvert::UnicodeToUTF8(line);
}

}  // namespace Drive
