// The test double of the crash-report library, ZnDumpFile.dll. The service loads it at start and calls
// RegisterAppCrashHandler; that is where the machine gets what it lacks: opening the device of a drive opens the
// drive's root directory instead, and the change journal's control codes are answered by the emulated journal, whose
// state lies beside this library. Everything else the service does reaches the system as it is.
#include <windows.h>

#include <winioctl.h>

#include <cstddef>
#include <cwchar>
#include <span>
#include <string>

#include "import_redirect.h"
#include "journal_store.h"

namespace {

using tavi::emulation::JournalStore;

decltype(&CreateFileW) realCreateFileW = nullptr;
decltype(&DeviceIoControl) realDeviceIoControl = nullptr;

JournalStore& Store() {
    static JournalStore store(tavi::emulation::DefaultStorePath());
    return store;
}

// "\\.\X:" and nothing behind it.
bool IsDriveDevice(LPCWSTR path) {
    return std::wcsncmp(path, L"\\\\.\\", 4) == 0 && path[4] != 0 && path[5] == L':' && path[6] == 0;
}

HANDLE WINAPI OpenFileOrDrive(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                              DWORD disposition, DWORD flags, HANDLE templateFile) {
    if (!IsDriveDevice(path)) {
        return realCreateFileW(path, access, share, attributes, disposition, flags, templateFile);
    }
    const wchar_t root[] = {path[4], L':', L'\\', 0};
    return realCreateFileW(root, access, share, attributes, disposition, flags | FILE_FLAG_BACKUP_SEMANTICS,
                           templateFile);
}

bool IsJournalCode(DWORD code) {
    return code == FSCTL_READ_USN_JOURNAL || code == FSCTL_CREATE_USN_JOURNAL || code == FSCTL_QUERY_USN_JOURNAL ||
           code == FSCTL_DELETE_USN_JOURNAL || code == FSCTL_ENUM_USN_DATA;
}

BOOL WINAPI ControlDeviceOrJournal(HANDLE device, DWORD code, LPVOID input, DWORD inputBytes, LPVOID output,
                                   DWORD outputBytes, LPDWORD bytesReturned, LPOVERLAPPED overlapped) {
    if (!IsJournalCode(code)) {
        return realDeviceIoControl(device, code, input, inputBytes, output, outputBytes, bytesReturned, overlapped);
    }
    std::uint32_t returned = 0;
    const std::uint32_t error =
        Store().Control(code, std::span(static_cast<const std::byte*>(input), input == nullptr ? 0 : inputBytes),
                        std::span(static_cast<std::byte*>(output), output == nullptr ? 0 : outputBytes), returned);
    if (bytesReturned != nullptr) {
        *bytesReturned = returned;
    }
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

}  // namespace

extern "C" __declspec(dllexport) void RegisterAppCrashHandler(const void* /*registration*/) {
    if (realCreateFileW != nullptr) {
        return;
    }
    realCreateFileW = &CreateFileW;
    realDeviceIoControl = &DeviceIoControl;
    tavi::emulation::RedirectImport("CreateFileW", reinterpret_cast<void*>(&OpenFileOrDrive));
    tavi::emulation::RedirectImport("DeviceIoControl", reinterpret_cast<void*>(&ControlDeviceOrJournal));
}
