// The demonstration behind ./run: installs the service with its own command line, starts it through the service control
// manager, asks it with TaviListenClient to listen, plays a short day of work in the folder and prints the change
// records as the client finds them. With --scripted it ends by itself, with 0 only when exactly the expected records
// came; otherwise it then follows what anybody changes in the folder until it is ended.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "e2e/database_reader.h"
#include "e2e/programs.h"
#include "e2e/service_control.h"
#include "emulation/directory_watcher.h"
#include "emulation/file_changes.h"
#include "emulation/journal_store.h"

namespace {

using tavi::e2e::ChangeRow;
using tavi::e2e::DatabaseReader;
using tavi::emulation::FileChanges;
using tavi::emulation::JournalStore;

constexpr wchar_t kRoot[] = L"C:\\TaviDemo";
constexpr wchar_t kFolder[] = L"C:\\TaviDemo\\Sync";
constexpr wchar_t kDatabase[] = L"C:\\TaviDemo\\Database";

void Say(const std::string& text) {
    std::puts(text.c_str());
    std::fflush(stdout);
}

[[noreturn]] void Fail(const std::string& what) {
    Say("FAILED: " + what);
    std::exit(1);
}

void Check(bool ok, const std::string& what) {
    if (!ok) {
        Fail(what);
    }
    Say("  " + what);
}

// Prints the rows that came since `after` and returns the last id.
std::int64_t PrintNewRows(const DatabaseReader& reader, std::int64_t after) {
    for (const ChangeRow& row : reader.Changes()) {
        if (row.id > after) {
            std::printf("    %6lld  %s\n", static_cast<long long>(row.id), Words(row).c_str());
            after = row.id;
        }
    }
    std::fflush(stdout);
    return after;
}

// Waits until `count` rows are there, printing them as they come.
std::int64_t FollowUntil(const DatabaseReader& reader, std::int64_t lastId, std::size_t count) {
    for (int i = 0; i < 300 && reader.Changes().size() < count; ++i) {
        Sleep(50);
    }
    return PrintNewRows(reader, lastId);
}

struct Act {
    const char* story;
    bool (*play)(FileChanges&, const std::wstring& folder);
    std::vector<std::string> records;
};

const std::vector<Act>& Day() {
    static const std::vector<Act> day = {
        {"makes a folder and two files",
         [](FileChanges& files, const std::wstring& folder) {
             return files.MakeDirectory(folder + L"\\reports") &&
                    files.CreateEmptyFile(folder + L"\\reports\\june.txt") &&
                    files.CreateEmptyFile(folder + L"\\notes.txt");
         },
         {"create reports", "create reports\\june.txt", "create notes.txt"}},
        {"writes into one of them",
         [](FileChanges& files, const std::wstring& folder) {
             return files.AppendText(folder + L"\\notes.txt", "Milk, bread, a change journal.");
         },
         {"modify notes.txt"}},
        {"renames a file",
         [](FileChanges& files, const std::wstring& folder) {
             return files.Rename(folder + L"\\reports\\june.txt", folder + L"\\reports\\june final.txt");
         },
         {"rename reports\\june final.txt from reports\\june.txt"}},
        {"moves it up",
         [](FileChanges& files, const std::wstring& folder) {
             return files.Rename(folder + L"\\reports\\june final.txt", folder + L"\\june final.txt");
         },
         {"move june final.txt from reports\\june final.txt"}},
        {"deletes the other file",
         [](FileChanges& files, const std::wstring& folder) { return files.Delete(folder + L"\\notes.txt"); },
         {"delete notes.txt"}},
        {"works outside the folder, which is nobody's business",
         [](FileChanges& files, const std::wstring& /*folder*/) {
             return files.CreateEmptyFile(std::wstring(kRoot) + L"\\outside.txt");
         },
         {}},
    };
    return day;
}

void Listen(const wchar_t* splitInterval, const char* what) {
    const auto client = tavi::e2e::RunProgram(tavi::e2e::ProgramPath(L"TaviListenClient.exe"),
                                              {L"start", L"--user", L"demo", L"--folder", kFolder, L"--database",
                                               kDatabase, L"--split-interval", splitInterval});
    Say(client.output);
    Check(client.exitCode == 0, what);
}

void SetTheStage(JournalStore* store) {
    std::error_code error;
    std::filesystem::remove_all(kRoot, error);
    std::filesystem::create_directories(kFolder);
    if (store != nullptr) {
        store->Update([](tavi::sim::EmulatedJournal& journal) {
            if (!journal.active()) {
                journal.Create();
            }
        });
    }
    Check(tavi::e2e::InstallService(), "the service is installed (TaviLumbraService.exe /install)");
    Check(tavi::e2e::StartInstalledService(), "the service control manager has started it");
    Listen(L"0", "TaviListenClient start: a first login");
}

bool PlayTheDay(FileChanges& files, const DatabaseReader& reader) {
    std::vector<std::string> expected;
    std::int64_t lastId = 0;
    for (const Act& act : Day()) {
        Say(std::string("Somebody ") + act.story + ".");
        if (!act.play(files, kFolder)) {
            Fail("the files could not be changed");
        }
        expected.insert(expected.end(), act.records.begin(), act.records.end());
        lastId = FollowUntil(reader, lastId, expected.size());
    }
    Sleep(1500);  // time for a record that should not come
    return Words(reader.Changes()) == expected;
}

// With the quiet time that a client asks for: what belongs together comes as one record.
[[noreturn]] void FollowEverybody(JournalStore* store, const DatabaseReader& reader) {
    Listen(L"2", "TaviListenClient start: the same task, with a split interval of 2 seconds");
    std::printf(
        "Change files in %ls now (the folder is printed above by ./run as a path of this machine); Ctrl+C ends.\n",
        kFolder);
    std::fflush(stdout);
    if (store != nullptr) {
        std::puts("The emulated journal follows the folder from now on.");
        const HANDLE watcher = CreateThread(
            nullptr, 0,
            [](void* journal) -> DWORD {
                return static_cast<DWORD>(
                    tavi::emulation::WatchDirectory(*static_cast<JournalStore*>(journal), kFolder));
            },
            store, 0, nullptr);
        if (watcher == nullptr) {
            Fail("the watcher could not be started");
        }
    }
    for (std::int64_t lastId = reader.Changes().empty() ? 0 : reader.Changes().back().id;; Sleep(200)) {
        lastId = PrintNewRows(reader, lastId);
    }
}

}  // namespace

extern "C" int wmain(int count, wchar_t** values) {
    const bool scripted = count > 1 && std::wstring(values[1]) == L"--scripted";
    std::unique_ptr<JournalStore> store;
    if (!tavi::e2e::ReadEnvironment(L"TAVI_E2E_EMULATED").empty()) {
        store = std::make_unique<JournalStore>(tavi::emulation::DefaultStorePath());
    }
    FileChanges files(store.get());
    const DatabaseReader reader(kDatabase);
    SetTheStage(store.get());
    if (!PlayTheDay(files, reader)) {
        Fail("other records came than expected");
    }
    if (!scripted) {
        FollowEverybody(store.get(), reader);
    }
    Check(tavi::e2e::StopInstalledService() >= 0, "the service has stopped");
    Check(tavi::e2e::UninstallService(), "the service is removed (TaviLumbraService.exe /uninstall)");
    Say("All expected records came, and no other.");
    return 0;
}
