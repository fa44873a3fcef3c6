#include "service/entry.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "imports/sync_panel_log.h"
#include "service/descriptions.h"
#include "service/installation.h"
#include "service/redirection_trust.h"
#include "service/service_lifecycle.h"

namespace tavi::service {
namespace {

enum class Mode { kInstall, kUninstall, kNothing, kRunService };

// One above the identifier of Chinese as used in the People's Republic of China, which gets the English text.
constexpr std::uint16_t kChineseDescriptionLanguage = 0x0805;

char16_t AsciiLower(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right) {
    return std::ranges::equal(left, right, {}, AsciiLower, AsciiLower);
}

Mode DecideMode(std::span<const std::u16string> arguments) {
    if (arguments.empty() || !arguments.front().starts_with(u'/')) {
        return Mode::kRunService;
    }
    const std::u16string_view word = std::u16string_view(arguments.front()).substr(1);
    if (EqualsIgnoringCase(word, u"install")) {
        return Mode::kInstall;
    }
    return EqualsIgnoringCase(word, u"uninstall") ? Mode::kUninstall : Mode::kNothing;
}

void Install(platform::Platform& platform, const std::u16string& serviceName) {
    InstallSyncFileListenService(platform, serviceName, serviceName);
    const bool chinese = platform.modules.GetUserDefaultUILanguage() == kChineseDescriptionLanguage;
    UpdateSyncFileListenServiceDescription(platform, serviceName,
                                           std::u16string(chinese ? kChineseDescription : kEnglishDescription));
}

// Deletes files in users' folders with an administrator's rights.
void Uninstall(platform::Platform& platform, const std::u16string& serviceName) {
    DistrustJunctionsOfUsers(platform);
    UninstallSyncFileListenService(platform, serviceName);
    DeleteListenServiceDatabase(platform);
}

}  // namespace

int RunEntryPoint(platform::Platform& platform, DumpHandleHolder& holder, std::span<const std::u16string> arguments,
                  const std::u16string& publisher) {
    Drive::SyncPanelLog::ListenServiceLogInit();
    const std::uint32_t registered = RegisterDumpHandler(platform, holder, kDumpVersion, kDumpProductTag);
    Drive::SyncPanelLog::WriteNetLog("init dump = " + std::to_string(registered));

    const std::u16string serviceName(kServiceName);
    switch (DecideMode(arguments)) {
        case Mode::kInstall:
            Install(platform, serviceName);
            break;
        case Mode::kUninstall:
            Uninstall(platform, serviceName);
            break;
        case Mode::kRunService:
            DistrustJunctionsOfUsers(platform);
            StartupSyncFileListenService(platform, serviceName, publisher);
            break;
        case Mode::kNothing:
            break;
    }
    return 0;
}

}  // namespace tavi::service
