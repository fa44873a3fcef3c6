// What the machine knows of the installed service beside its state. On Windows: the service control manager's
// configuration and the executable's version resource. One thread.
#pragma once

#include <string>

namespace tavi::client {

class InstalledService {
public:
    virtual ~InstalledService() = default;

    // The command line that the service is registered with; empty when it cannot be had.
    virtual std::u16string BinaryPath() = 0;
    // The file version of an executable, "3.0.0.300"; empty when the file is missing or has none.
    virtual std::string FileVersion(const std::u16string& executable) = 0;
};

}  // namespace tavi::client
