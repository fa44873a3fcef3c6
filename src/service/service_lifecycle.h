// Runs the service under the service control manager. Called by the entry point on the process's first thread, which
// becomes the dispatcher's.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tavi::service {

// Returns when the service has ended, or at once when the process was not started by the service control manager. The
// service object lives in between. Clients must be signed by `publisher`.
void StartupSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName,
                                  const std::u16string& publisher);

}  // namespace tavi::service
