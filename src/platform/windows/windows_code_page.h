// The system's ANSI code page on Windows.
#pragma once

#include "platform/code_page.h"

namespace tavi::platform {

class WindowsCodePage final : public CodePage {
public:
    std::string WideCharToMultiByteAcp(const std::u16string& text) override;
};

}  // namespace tavi::platform
