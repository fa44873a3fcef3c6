// The composition root: the one place where the real system and the real log are created. Everything else gets them
// handed down.
#include <exception>
#include <string>
#include <vector>

#include "db/sqlite3_operator.h"
#include "imports/file_log.h"
#include "imports/sync_panel_log.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_platform.h"
#include "service/crash_report.h"
#include "service/entry.h"

namespace {

// The only conversion of the command line: inside, text is UTF-16 in char16_t.
std::vector<std::u16string> ConvertArguments(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(tavi::platform::FromWide(values[i]));
    }
    return arguments;
}

}  // namespace

int wmain(int argumentCount, wchar_t* argumentValues[]) {
    // Static, so that they are released at process exit, from the last to the first: the crash-report library stays
    // until then.
    static tavi::platform::WindowsPlatform windows;
    static tavi::platform::Platform platform = windows.Parts();
    static Drive::FileLog log(Drive::ServiceLogFolder(platform));
    static tavi::service::DumpHandleHolder dumpHandles(platform);
    Drive::SyncPanelLog::Install(&log);
    tavi::db::SqLite3Operator::ConfigureLibrary(platform.sqlite);
    try {
        return tavi::service::RunEntryPoint(platform, dumpHandles, ConvertArguments(argumentCount, argumentValues),
                                            u"" TAVI_PUBLISHER);
    } catch (const std::exception&) {
        return 0;  // out of memory before or after the service ran; the exit code says nothing, in every case
    }
}
