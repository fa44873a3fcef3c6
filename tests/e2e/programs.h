// Running the shipped programs from outside: starts one, waits with a limit, and gives back what it printed.
#pragma once

#include <string>
#include <vector>

namespace tavi::e2e {

struct Finished {
    bool started = false;
    bool timedOut = false;
    int exitCode = -1;
    std::string output;  // standard output and error, in the order written
};

// Arguments are quoted as needed. A program still running after `timeoutMs` is ended and reported as timed out.
Finished RunProgram(const std::wstring& executable, const std::vector<std::wstring>& arguments,
                    unsigned timeoutMs = 60000);

// Where the programs under test are: the service as installed with its neighbours, and the client signed by the test
// publisher. From the environment variable TAVI_E2E_PROGRAMS, or beside the test program.
std::wstring ProgramPath(const wchar_t* name);

std::wstring ReadEnvironment(const wchar_t* name);

}  // namespace tavi::e2e
