// Installing the service, describing it, removing it, and deleting the databases of all users. Called by the entry
// point on the process's one thread, one after the other: each logs its outcome, a failure ends only the operation in
// which it occurs, and none returns a result. Handles are closed on every way out.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tavi::service {

void InstallSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName,
                                  const std::u16string& displayName);
void UpdateSyncFileListenServiceDescription(platform::Platform& platform, const std::u16string& serviceName,
                                            const std::u16string& description);
// Waits for a running service for as long as it stays stop-pending, also when the manager has given up waiting for its
// answer.
void UninstallSyncFileListenService(platform::Platform& platform, const std::u16string& serviceName);
// Of all users whose databases lie under the current user's roaming application data.
void DeleteListenServiceDatabase(platform::Platform& platform);

}  // namespace tavi::service
