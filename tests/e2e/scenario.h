// What every end-to-end test stands on: the installed and started service, a fresh folder to listen to, a fresh place
// for the database, the signed client, and file changes that reach the journal (the machine's own, or the emulated one
// where there is none). Windows programs under test are started from outside and never linked.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "e2e/database_reader.h"
#include "e2e/programs.h"
#include "emulation/file_changes.h"
#include "emulation/journal_store.h"

namespace tavi::e2e {

class Scenario : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The start request of this scenario's user; the reply's number, or the client's exit code below 0.
    int Start(const std::wstring& folder = {}, const std::wstring& user = {});
    int Finish();
    int Status();
    // A task becomes the current one only once its cycle is initialised.
    bool WaitForStatus(int status);
    Finished Client(const std::vector<std::wstring>& arguments, const wchar_t* program = L"TaviListenClient.exe");

    std::wstring Path(const std::wstring& relative) const { return folder_ + L'\\' + relative; }
    // Waits until the table holds these changes in this order; what it holds in the end.
    std::vector<std::string> WaitForChanges(const std::vector<std::string>& expected, unsigned timeoutMs = 15000);
    // Everything the service has been given so far is stored.
    bool WaitUntilCaughtUp(unsigned timeoutMs = 60000);
    // What the service has logged since the scenario began.
    std::string Logs() const;
    // How often that says so.
    std::size_t TimesLogged(const std::string& text) const;

    bool emulated() const { return store_ != nullptr; }
    emulation::JournalStore& store() { return *store_; }
    emulation::FileChanges& files() { return *files_; }
    const DatabaseReader& database() const { return *database_; }

    std::wstring root_;
    std::wstring folder_;
    std::wstring databaseFolder_;
    std::wstring user_;
    int splitIntervalSeconds_ = 0;

private:
    std::map<std::filesystem::path, std::uintmax_t> logSizes_;  // at the scenario's beginning
    std::unique_ptr<emulation::JournalStore> store_;
    std::unique_ptr<emulation::FileChanges> files_;
    std::unique_ptr<DatabaseReader> database_;
};

// True on a machine whose journal is emulated.
bool JournalIsEmulated();

}  // namespace tavi::e2e
