#include "service/crash_report.h"

#include <string>

namespace tavi::service {
namespace {

// A drive's root keeps its backslash, as the shell's function for this leaves it.
std::u16string FolderOf(const std::u16string& file) {
    const std::size_t backslash = file.rfind(u'\\');
    if (backslash == std::u16string::npos) {
        return {};
    }
    const bool root = backslash == 2 && file[1] == u':';
    return file.substr(0, root ? backslash + 1 : backslash);
}

// In an installed product the executable lies in the folder "Lumbra" below the library's.
std::u16string DumpBaseFolder(platform::Platform& platform) {
    const std::u16string folder = FolderOf(platform.modules.GetModuleFileNameW(platform::kMaxPath));
    const std::size_t backslash = folder.rfind(u'\\');
    if (backslash == std::u16string::npos) {
        return folder;
    }
    const bool installed = std::u16string_view(folder).substr(backslash) == u"\\Lumbra";
    return (installed ? folder.substr(0, backslash) : folder) + u"\\";
}

}  // namespace

std::uint32_t RegisterDumpHandler(platform::Platform& platform, DumpHandleHolder& holder, std::u16string_view version,
                                  std::u16string_view productTag) {
    const std::u16string baseFolder = DumpBaseFolder(platform);
    if (!platform.paths.PathFileExistsW(baseFolder + u"DumpReport.exe")) {
        return kNoDumpReporter;
    }
    if (!holder.library) {
        // Its dependencies are looked for beside it and where the system's are, never in the current folder.
        holder.library.Reset(platform.modules.LoadLibraryExW(
            baseFolder + u"ZnDumpFile.dll",
            platform::kLoadLibrarySearchDefaultDirs | platform::kLoadLibrarySearchDllLoadDir));
        if (!holder.library) {
            return platform.errors.GetLastError();
        }
    }
    platform::CrashReportRegistration registration;
    registration.version = version;
    registration.productTag = productTag;

    const platform::ProcAddress address =
        platform.modules.GetProcAddress(holder.library.get(), "RegisterAppCrashHandler");
    if (address == platform::kNoProcAddress) {
        return platform.errors.GetLastError();
    }
    platform.modules.CallRegisterAppCrashHandler(address, registration);
    return platform::kErrorSuccess;
}

}  // namespace tavi::service
