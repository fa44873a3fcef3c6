// What the executable does, from its arguments on: crash reporting and the log first, then installing, uninstalling,
// nothing, or running as the service. Portable; the wide entry point of main.cpp only converts and calls it.
#pragma once

#include <span>
#include <string>

#include "platform/platform.h"
#include "service/crash_report.h"

namespace tavi::service {

// `arguments` without the program's own name. The log's backend has been installed. `holder` keeps the crash-report
// library until the process exits. Returns the exit code, which is 0 whatever happens.
int RunEntryPoint(platform::Platform& platform, DumpHandleHolder& holder, std::span<const std::u16string> arguments,
                  const std::u16string& publisher);

}  // namespace tavi::service
