// The installed service as Windows knows it.
#pragma once

#include "machine/installed_service.h"

namespace tavi::client {

class WindowsInstalledService final : public InstalledService {
public:
    std::u16string BinaryPath() override;
    std::string FileVersion(const std::u16string& executable) override;
};

}  // namespace tavi::client
