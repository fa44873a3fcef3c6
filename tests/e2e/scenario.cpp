#include "e2e/scenario.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "e2e/pipe_client.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

std::u16string JsonText(const std::wstring& text) {
    std::u16string json = u"\"";
    for (const wchar_t c : text) {
        if (c == L'\\' || c == L'"') {
            json += u'\\';
        }
        json += static_cast<char16_t>(c);
    }
    return json + u'"';
}

std::u16string JsonNumber(int value) {
    const std::string digits = std::to_string(value);
    return std::u16string(digits.begin(), digits.end());
}

template <typename Condition>
bool WaitUntil(Condition condition, unsigned milliseconds) {
    for (const ULONGLONG end = GetTickCount64() + milliseconds; !condition();) {
        if (GetTickCount64() >= end) {
            return false;
        }
        Sleep(50);
    }
    return true;
}

std::map<std::filesystem::path, std::uintmax_t> LogFiles() {
    std::map<std::filesystem::path, std::uintmax_t> files;
    std::error_code error;
    const std::filesystem::path folder =
        std::filesystem::path(emulation::StateFolder()).parent_path() / "ZenloTavi/Log";
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        files[entry.path()] = entry.file_size(error);
    }
    return files;
}

}  // namespace

bool JournalIsEmulated() {
    return !ReadEnvironment(L"TAVI_E2E_EMULATED").empty();
}

void Scenario::SetUp() {
    static int number = 0;
    logSizes_ = LogFiles();
    const std::wstring base = ReadEnvironment(L"TAVI_E2E_ROOT");  // on the volume whose journal is to be used
    root_ = (base.empty() ? L"C:\\TaviTest" : base) + L"\\" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++number);
    folder_ = root_ + L"\\Sync";
    databaseFolder_ = root_ + L"\\Database";
    user_ = L"user-" + std::to_wstring(number);
    std::filesystem::create_directories(folder_);
    if (JournalIsEmulated()) {
        store_ = std::make_unique<emulation::JournalStore>(emulation::DefaultStorePath());
        store_->Update([](sim::EmulatedJournal& journal) {
            if (!journal.active()) {
                journal.Create();
            }
        });
    }
    files_ = std::make_unique<emulation::FileChanges>(store_.get());
    database_ = std::make_unique<DatabaseReader>(databaseFolder_);
    ASSERT_TRUE(IsInstalled() || InstallService()) << Logs();
    if (!IsServiceRunning()) {
        ASSERT_TRUE(StartInstalledService()) << Logs();
        ASSERT_EQ(Status(), 0) << Logs();  // and it waits for clients, so that none comes too early
    }
}

void Scenario::TearDown() {
    if (HasFailure()) {
        std::fputs(Logs().c_str(), stderr);
    }
    if (IsServiceRunning()) {
        Finish();
    }
    std::error_code error;
    std::filesystem::remove_all(root_, error);
}

int Scenario::Start(const std::wstring& folder, const std::wstring& user) {
    return Request(0, u"{\"userId\":" + JsonText(user.empty() ? user_ : user) + u",\"listenPath\":" +
                          JsonText(folder.empty() ? folder_ : folder) + u",\"databasePath\":" +
                          JsonText(databaseFolder_) + u",\"recordSplitInterval\":" + JsonNumber(splitIntervalSeconds_) +
                          u"}");
}

int Scenario::Finish() {
    return Request(1);
}

int Scenario::Status() {
    return Request(2);
}

bool Scenario::WaitForStatus(int status) {
    return WaitUntil([&] { return Status() == status; }, 10000);
}

Finished Scenario::Client(const std::vector<std::wstring>& arguments, const wchar_t* program) {
    return RunProgram(ProgramPath(program), arguments);
}

std::vector<std::string> Scenario::WaitForChanges(const std::vector<std::string>& expected, unsigned timeoutMs) {
    WaitUntil([&] { return Words(database_->Changes()) == expected; }, timeoutMs);
    WaitUntilCaughtUp();
    return Words(database_->Changes());
}

bool Scenario::WaitUntilCaughtUp(unsigned timeoutMs) {
    // The stored position reaches what the journal's end was; with a real journal others keep writing to it, so the
    // end cannot be asked for: a file of our own is the marker there.
    if (store_) {
        std::int64_t end = 0;
        store_->Update([&end](const sim::EmulatedJournal& journal) { end = journal.nextUsn(); });
        return WaitUntil([&] { return database_->Position() >= end; }, timeoutMs);
    }
    const std::int64_t before = database_->Position();
    return WaitUntil([&] { return database_->Position() > before; }, std::min(timeoutMs, 5000u));
}

std::string Scenario::Logs() const {
    std::string text;
    for (const auto& [path, size] : LogFiles()) {
        const auto old = logSizes_.find(path);
        std::ifstream file(path, std::ios::binary);
        file.seekg(old == logSizes_.end() ? 0 : static_cast<std::streamoff>(old->second));
        text += "== " + path.filename().string() + "\n";
        text.append(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return text;
}

std::size_t Scenario::TimesLogged(const std::string& text) const {
    const std::string logs = Logs();
    std::size_t count = 0;
    for (std::size_t at = logs.find(text); at != std::string::npos; at = logs.find(text, at + text.size())) {
        ++count;
    }
    return count;
}

}  // namespace tavi::e2e
