#include "e2e/programs.h"

#include <windows.h>

#include <thread>

namespace tavi::e2e {
namespace {

// The rules of CommandLineToArgvW: a quoted argument doubles the backslashes before a quotation mark.
std::wstring Quoted(const std::wstring& argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) {
        return argument;
    }
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        result.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        result += c;
    }
    result.append(2 * backslashes, L'\\');
    return result + L'"';
}

std::string ReadAll(HANDLE pipe) {
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0) {
        text.append(buffer, read);
    }
    return text;
}

}  // namespace

Finished RunProgram(const std::wstring& executable, const std::vector<std::wstring>& arguments, unsigned timeoutMs) {
    std::wstring commandLine = Quoted(executable);
    for (const std::wstring& argument : arguments) {
        commandLine += L' ' + Quoted(argument);
    }
    Finished finished;
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) {
        return finished;
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    PROCESS_INFORMATION process{};
    finished.started = CreateProcessW(executable.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                      nullptr, nullptr, &startup, &process) != 0;
    CloseHandle(writeEnd);
    if (finished.started) {
        std::thread reader([&] { finished.output = ReadAll(readEnd); });
        if (WaitForSingleObject(process.hProcess, timeoutMs) != WAIT_OBJECT_0) {
            finished.timedOut = true;
            TerminateProcess(process.hProcess, 1);
            WaitForSingleObject(process.hProcess, INFINITE);
        }
        DWORD code = 0;
        GetExitCodeProcess(process.hProcess, &code);
        finished.exitCode = static_cast<int>(code);
        reader.join();
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(readEnd);
    return finished;
}

std::wstring ReadEnvironment(const wchar_t* name) {
    wchar_t value[32768];
    const DWORD length = GetEnvironmentVariableW(name, value, 32768);
    return length < 32768 ? std::wstring(value, length) : std::wstring();
}

std::wstring ProgramPath(const wchar_t* name) {
    std::wstring folder = ReadEnvironment(L"TAVI_E2E_PROGRAMS");
    if (folder.empty()) {
        wchar_t own[32768];
        folder.assign(own, GetModuleFileNameW(nullptr, own, 32768));
        folder.resize(folder.find_last_of(L'\\'));
    }
    return folder + L'\\' + name;
}

}  // namespace tavi::e2e
