#include <windows.h>

#include <shellapi.h>

#include <iostream>

#include "client.h"
#include "imports/type_convert.h"
#include "platform/windows/windows_platform.h"
#include "tavi_client/service_pipe.h"
#include "windows/windows_installed_service.h"

namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// The command line as the system keeps it: the narrow one that main() gets has lost what the code page lacks.
std::vector<std::string> Arguments() {
    std::vector<std::string> arguments;
    int count = 0;
    LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int index = 1; wide != nullptr && index < count; ++index) {
        const std::wstring_view argument(wide[index]);
        arguments.push_back(TypeConvert::UnicodeToUTF8(std::u16string(argument.begin(), argument.end())));
    }
    LocalFree(wide);
    return arguments;
}

// Whether the administrators' group counts for this process: not in an ordinary prompt of an administrator's, where it
// is there to deny only.
bool RunsElevated() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID administrators = nullptr;
    BOOL member = FALSE;
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &administrators)) {
        return false;
    }
    const bool known = CheckTokenMembership(nullptr, administrators, &member) != FALSE;
    FreeSid(administrators);
    return known && member != FALSE;
}

// A console that could be told to understand colours.
bool OutShowsColours() {
    const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(out, &mode) && SetConsoleMode(out, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

}  // namespace

int main() {
    SetConsoleOutputCP(CP_UTF8);
    tavi::platform::WindowsPlatform windows;
    tavi::platform::Platform platform = windows.Parts();
    tavi::client::WindowsInstalledService installedService;
    const auto pipe = tavi::client::MakeServicePipe();
    return tavi::client::RunClient(
        Arguments(), {*pipe, std::cout, std::cerr, &platform, &installedService, OutShowsColours(), RunsElevated()});
}
