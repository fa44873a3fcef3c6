// Text in the system's ANSI code page (kernel32). Any thread.
#pragma once

#include <string>

namespace tavi::platform {

class CodePage {
public:
    virtual ~CodePage() = default;

    // WideCharToMultiByte(CP_ACP), with the system's stand-in for what the page lacks. Empty on failure.
    virtual std::string WideCharToMultiByteAcp(const std::u16string& text) = 0;
};

}  // namespace tavi::platform
