// The service's name and the descriptions that the service manager's window shows. The texts are fixed: a change of
// their lengths, in code units, is a slip of the hand.
#pragma once

#include <string_view>

namespace tavi::service {

inline constexpr std::u16string_view kServiceName = u"TaviLumbraService";  // the display name too

inline constexpr std::u16string_view kEnglishDescription =
    u"The ZENLO ORVA Disk Synchronization service records changes in files and directories in the ZENLO ORVA Disk "
    u"Synchronization folder. Stopping or disabling this service will prevent you from using ZENLO ORVA disks.";
static_assert(kEnglishDescription.size() == 212);

inline constexpr std::u16string_view kChineseDescription =
    u"ZENLO ORVA磁盘同步服务记录同步文件夹中文件和目录变更。停止或禁用此服务将无法使用ZENLO ORVA磁盘。";
static_assert(kChineseDescription.size() == 58);

}  // namespace tavi::service
