#include "recorded_journal.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <sstream>

#include "file_changes.h"

namespace tavi::emulation {
namespace {

struct Directory {
    std::uint64_t parent = 0;
    std::string name;
};

std::map<std::uint64_t, Directory> ReadList(const std::wstring& path) {
    std::map<std::uint64_t, Directory> directories;
    std::ifstream list{std::filesystem::path(path)};
    for (std::string line; std::getline(list, line);) {
        std::istringstream fields(line);
        std::uint64_t frn = 0;
        Directory directory;
        if (fields >> frn >> directory.parent && fields.get() == '\t' && std::getline(fields, directory.name)) {
            directories[frn] = directory;
        }
    }
    return directories;
}

// The directory's path here; makes it and its parents. Empty for a number that the list does not know.
std::wstring Materialise(const std::map<std::uint64_t, Directory>& directories, std::uint64_t frn,
                         const std::wstring& folder, int depth = 0) {
    const auto found = directories.find(frn);
    if (found == directories.end() || depth > 128) {
        return {};
    }
    if (found->second.parent == frn) {
        return folder;
    }
    const std::wstring parent = Materialise(directories, found->second.parent, folder, depth + 1);
    if (parent.empty()) {
        return {};
    }
    const std::u8string name(found->second.name.begin(), found->second.name.end());
    const std::wstring path = parent + L'\\' + std::filesystem::path(name).wstring();
    CreateDirectoryW(path.c_str(), nullptr);
    return path;
}

}  // namespace

int PlayRecordedJournal(JournalStore& store, const std::wstring& journalPath, const std::wstring& listPath,
                        const std::wstring& folder) {
    std::ifstream file{std::filesystem::path(journalPath), std::ios::binary};
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    sim::EmulatedJournal recorded;
    if (!recorded.LoadRecorded(std::as_bytes(std::span(bytes)))) {
        std::fputs("feeder: the recorded journal cannot be read\n", stderr);
        return 1;
    }
    std::map<std::uint64_t, std::uint64_t> numbers;
    const auto directories = ReadList(listPath);
    for (const auto& [frn, directory] : directories) {
        if (const std::wstring path = Materialise(directories, frn, folder); !path.empty()) {
            numbers[frn] = FileReferenceNumber(path);
        }
    }
    const auto here = [&numbers](std::uint64_t frn) {
        const auto found = numbers.find(frn);
        return found == numbers.end() ? frn : found->second;
    };
    store.Update([&](sim::EmulatedJournal& journal) {
        for (const sim::JournalEntry& entry : recorded.Entries()) {
            if (entry.majorVersion == 2) {
                journal.AppendRaw(here(entry.frn), here(entry.parentFrn), entry.name, entry.attributes, entry.reason,
                                  entry.time);
            }
        }
    });
    return 0;
}

}  // namespace tavi::emulation
