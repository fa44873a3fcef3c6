// The feeder: writes to the emulated change journal from outside the service. Its records come from a directory watcher
// (real changes by anybody), from a script of file operations, or from a recorded journal. It can also do to the
// journal what an administrator or the system does: create, delete and trim it.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "directory_watcher.h"
#include "feeder_script.h"
#include "journal_store.h"
#include "recorded_journal.h"

namespace {

using tavi::emulation::JournalStore;

constexpr char kUsage[] =
    "Usage: feeder COMMAND\n"
    "  create                      create the journal, if there is none\n"
    "  delete                      delete it\n"
    "  trim                        drop all its records\n"
    "  query                       print its id and positions\n"
    "  watch FOLDER                follow real changes in FOLDER until ended\n"
    "  script FILE                 carry out and record the operations in FILE (tab-separated fields)\n"
    "  recorded J LIST FOLDER      play a recorded journal; LIST: frn, parent frn, name of its directories,\n"
    "                              which are made below FOLDER\n";

int Query(JournalStore& store) {
    store.Update([](tavi::sim::EmulatedJournal& journal) {
        std::printf("active %d id %016llx first %lld next %lld\n", journal.active() ? 1 : 0,
                    static_cast<unsigned long long>(journal.journalId()), static_cast<long long>(journal.firstUsn()),
                    static_cast<long long>(journal.nextUsn()));
    });
    return 0;
}

int Run(const std::vector<std::wstring>& arguments) {
    const std::wstring command = arguments.empty() ? L"" : arguments[0];
    JournalStore store(tavi::emulation::DefaultStorePath());
    if (command == L"create") {
        store.Update([](tavi::sim::EmulatedJournal& journal) { journal.Create(); });
        return 0;
    }
    if (command == L"delete") {
        store.Update([](tavi::sim::EmulatedJournal& journal) { journal.Delete(); });
        return 0;
    }
    if (command == L"trim") {
        store.Update([](tavi::sim::EmulatedJournal& journal) { journal.TrimTo(journal.nextUsn()); });
        return 0;
    }
    if (command == L"query") {
        return Query(store);
    }
    if (command == L"watch" && arguments.size() == 2) {
        return tavi::emulation::WatchDirectory(store, arguments[1]);
    }
    if (command == L"script" && arguments.size() == 2) {
        return tavi::emulation::RunScript(store, arguments[1]);
    }
    if (command == L"recorded" && arguments.size() == 4) {
        return tavi::emulation::PlayRecordedJournal(store, arguments[1], arguments[2], arguments[3]);
    }
    std::fputs(kUsage, stderr);
    return 2;
}

}  // namespace

extern "C" int wmain(int count, wchar_t** values) {
    try {
        return Run(std::vector<std::wstring>(values + 1, values + count));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "feeder: %s\n", e.what());
        return 1;
    }
}
