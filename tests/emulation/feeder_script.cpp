#include "feeder_script.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "file_changes.h"

namespace tavi::emulation {
namespace {

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
        if (c == '\t') {
            fields.emplace_back();
        } else if (c != '\r') {
            fields.back() += c;
        }
    }
    fields.resize(4);
    return fields;
}

std::wstring Wide(const std::string& utf8) {
    std::wstring text(utf8.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()),
                                                             text.data(), static_cast<int>(text.size()))));
    return text;
}

std::uint32_t Number(const std::string& text) {
    return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
}

bool CarryOut(FileChanges& changes, const std::vector<std::string>& fields) {
    const std::string& operation = fields[0];
    const std::wstring path = Wide(fields[1]);
    if (operation == "mkdir") {
        return changes.MakeDirectory(path);
    }
    if (operation == "create") {
        return fields[2].empty() ? changes.CreateEmptyFile(path) : changes.CreateFileWithText(path, fields[2]);
    }
    if (operation == "append") {
        return changes.AppendText(path, fields[2]);
    }
    if (operation == "rename") {
        return changes.Rename(path, Wide(fields[2]));
    }
    if (operation == "delete") {
        return changes.Delete(path);
    }
    if (operation == "attributes") {
        return changes.SetAttributes(path, Number(fields[2]));
    }
    if (operation == "record") {
        return changes.Record(path, Number(fields[2]), Number(fields[3]));
    }
    if (operation == "sleep") {
        Sleep(Number(fields[1]));
        return true;
    }
    return false;
}

}  // namespace

int RunScript(JournalStore& store, const std::wstring& scriptPath) {
    std::ifstream script{std::filesystem::path(scriptPath)};
    if (!script) {
        std::fputs("feeder: the script cannot be read\n", stderr);
        return 1;
    }
    FileChanges changes(&store);
    int number = 0;
    for (std::string line; std::getline(script, line);) {
        ++number;
        if (line.empty() || line[0] == '#' || line == "\r") {
            continue;
        }
        if (!CarryOut(changes, Fields(line))) {
            std::fprintf(stderr, "feeder: line %d failed: %s\n", number, line.c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace tavi::emulation
