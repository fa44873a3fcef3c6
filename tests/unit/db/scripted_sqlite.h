// SQLite for the operator's tests: forwards every call to another implementation, writes it down, and lets a test
// answer it instead or throw from it. It also counts what is open, so that a test can say that nothing is left. One
// thread.
//
// A call is written as its name and what matters about it: "OpenV2 0x8002", "Exec begin transaction;", "PrepareV2 " and
// the text, "BindInt64 1 42", "BindText16 2 name", "Step", "Reset", "Finalize", "CloseV2", ...
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/sqlite.h"

namespace tavi::db {

class ScriptedSqlite final : public platform::Sqlite {
public:
    // The result to give instead of making the call; nothing to make it. May throw.
    using Script = std::function<std::optional<int>(const std::string& call)>;

    explicit ScriptedSqlite(platform::Sqlite& real) : real_(real) {}

    void OnCall(Script script) { script_ = std::move(script); }
    // Every call whose text starts with `prefix` gives `result`, or the first `times` ones do.
    void Answer(const std::string& prefix, int result, int times = -1);
    // The n-th such call, counted from 1, throws what `thrower` throws.
    void ThrowOn(const std::string& prefix, int n, std::function<void()> thrower);
    void MakeEverything() { script_ = nullptr; }
    // Called with every connection that was opened, before the operator gets it.
    void OnOpened(std::function<void(sqlite3*)> opened) { opened_ = std::move(opened); }

    const std::vector<std::string>& calls() const { return calls_; }
    // The calls whose text starts with one of the prefixes.
    std::vector<std::string> Calls(const std::vector<std::string>& prefixes) const;
    int Count(const std::string& prefix) const;
    void ClearCalls() { calls_.clear(); }
    std::size_t OpenThings() const { return connections_.size() + statements_.size(); }
    void CloseWhatIsOpen();
    platform::BusyHandlerFunction busyHandler() const { return busyHandler_; }
    void* busyContext() const { return busyContext_; }

    int Config(int option, int value) override;
    int RegisterVfsRefusing(int openFlags) override;
    int OpenV2(const std::string& utf8Path, sqlite3** database, int flags) override;
    int CloseV2(sqlite3* database) override;
    int Errcode(sqlite3* database) override;
    int Exec(sqlite3* database, const char* sql, char** errorMessage) override;
    void Free(void* memory) override;
    int BusyHandler(sqlite3* database, platform::BusyHandlerFunction handler, void* context) override;
    int DbConfig(sqlite3* database, int option, int value) override;
    int GetAutocommit(sqlite3* database) override;
    int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) override;
    int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) override;
    int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) override;
    int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) override;
    int Step(sqlite3_stmt* statement) override;
    int Reset(sqlite3_stmt* statement) override;
    int Finalize(sqlite3_stmt* statement) override;
    const char16_t* ColumnText16(sqlite3_stmt* statement, int column) override;
    std::int32_t ColumnInt(sqlite3_stmt* statement, int column) override;
    std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) override;

private:
    std::optional<int> Note(std::string call);

    platform::Sqlite& real_;
    Script script_;
    std::function<void(sqlite3*)> opened_;
    std::vector<std::string> calls_;
    std::set<sqlite3*> connections_;
    std::set<sqlite3_stmt*> statements_;
    std::optional<int> answered_;  // what Errcode repeats after an answer that SQLite does not know of
    platform::BusyHandlerFunction busyHandler_ = nullptr;
    void* busyContext_ = nullptr;
};

}  // namespace tavi::db
