// A program that a test starts, and ends at the latest with itself. Detached: a console of its own would outlive it
// with the test's output, for whose end whoever started the test waits.
#pragma once

#include <windows.h>

#include <string>

#include "platform/windows/wide_text.h"

namespace tavi::contract {

class ChildProcess {
public:
    explicit ChildProcess(const std::u16string& program) {
        std::wstring commandLine = L"\"" + platform::ToWide(program) + L"\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        started_ = ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                                    nullptr, &startup, &information_) != FALSE;
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() {
        if (started_) {
            ::TerminateProcess(information_.hProcess, 0);
            ::WaitForSingleObject(information_.hProcess, 10000);
            ::CloseHandle(information_.hThread);
            ::CloseHandle(information_.hProcess);
        }
    }

    bool Started() const { return started_; }
    std::uint32_t Id() const { return information_.dwProcessId; }

private:
    PROCESS_INFORMATION information_{};
    bool started_ = false;
};

}  // namespace tavi::contract
