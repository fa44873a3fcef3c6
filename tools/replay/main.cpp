// TaviReplay: see command_line.cpp.
#include <iostream>
#include <string>
#include <vector>

#include "imports/type_convert.h"
#include "replay/command_line.h"

namespace {

int Run(std::vector<std::string> arguments) {
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
    tavi::replay::MakeStandardStreamsBinary();
    return tavi::replay::RunCommandLine(std::move(arguments), {std::cin, std::cout, std::cerr},
                                        tavi::replay::ErrorStreamIsTerminal());
}

}  // namespace

#ifdef _WIN32
int wmain(int count, wchar_t** values) {
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        std::u16string argument;
        for (const wchar_t* unit = values[i]; *unit != L'\0'; ++unit) {
            argument += static_cast<char16_t>(*unit);
        }
        arguments.push_back(TypeConvert::UnicodeToUTF8(argument));
    }
    return Run(std::move(arguments));
}
#else
int main(int count, char** values) {
    return Run({values + 1, values + count});
}
#endif
