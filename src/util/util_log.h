// The error log's class tag for this folder's functions, which belong to no class. Private to src/util.
#pragma once

#include <string_view>

#include "imports/sync_panel_log.h"

namespace tavi::util {

inline constexpr std::string_view kClassTag = "Util";

inline void LogError(std::string_view function, std::string_view message) {
    Drive::SyncPanelLog::WriteErrorLog(kClassTag, function, message);
}

}  // namespace tavi::util
