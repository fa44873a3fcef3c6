#include "service/redirection_trust.h"

#include <string>

#include "imports/sync_panel_log.h"

namespace tavi::service {
namespace {

std::string Outcome(platform::Platform& platform) {
    const platform::ModuleHandle kernel = platform.modules.GetModuleHandleW(u"kernel32.dll");
    const platform::ProcAddress setPolicy = kernel == platform::kNoModule
                                                ? platform::kNoProcAddress
                                                : platform.modules.GetProcAddress(kernel, "SetProcessMitigationPolicy");
    if (setPolicy == platform::kNoProcAddress) {
        return "Junctions that users made are followed: the system has no mitigations";
    }
    if (!platform.modules.CallSetProcessMitigationPolicy(setPolicy, platform::kProcessRedirectionTrustPolicy,
                                                         platform::kEnforceRedirectionTrust)) {
        return "Junctions that users made are followed: the system refuses that mitigation, error code is " +
               std::to_string(platform.errors.GetLastError());
    }
    return "Junctions that users made are not followed";
}

}  // namespace

void DistrustJunctionsOfUsers(platform::Platform& platform) {
    Drive::SyncPanelLog::WriteTraceLog(Outcome(platform));
}

}  // namespace tavi::service
