#include "unit/db/scripted_sqlite.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "imports/type_convert.h"

namespace tavi::db {
namespace {

std::string Hexadecimal(int value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
    return text;
}

}  // namespace

void ScriptedSqlite::Answer(const std::string& prefix, int result, int times) {
    script_ = [prefix, result, left = times](const std::string& call) mutable -> std::optional<int> {
        if (left == 0 || !call.starts_with(prefix)) {
            return std::nullopt;
        }
        --left;
        return result;
    };
}

void ScriptedSqlite::ThrowOn(const std::string& prefix, int n, std::function<void()> thrower) {
    script_ = [prefix, left = n, thrower = std::move(thrower)](const std::string& call) mutable -> std::optional<int> {
        if (call.starts_with(prefix) && --left == 0) {
            thrower();
        }
        return std::nullopt;
    };
}

std::vector<std::string> ScriptedSqlite::Calls(const std::vector<std::string>& prefixes) const {
    std::vector<std::string> found;
    std::ranges::copy_if(calls_, std::back_inserter(found), [&](const std::string& call) {
        return std::ranges::any_of(prefixes, [&](const std::string& prefix) { return call.starts_with(prefix); });
    });
    return found;
}

int ScriptedSqlite::Count(const std::string& prefix) const {
    return static_cast<int>(Calls({prefix}).size());
}

void ScriptedSqlite::CloseWhatIsOpen() {
    for (sqlite3_stmt* statement : statements_) {
        real_.Finalize(statement);
    }
    for (sqlite3* connection : connections_) {
        real_.CloseV2(connection);
    }
    statements_.clear();
    connections_.clear();
}

std::optional<int> ScriptedSqlite::Note(std::string call) {
    calls_.push_back(call);
    const std::optional<int> answer = script_ ? script_(call) : std::nullopt;
    answered_ = answer;
    return answer;
}

int ScriptedSqlite::Config(int option, int value) {
    const auto answer = Note("Config " + std::to_string(option) + " " + std::to_string(value));
    return answer ? *answer : 0;  // process-wide: not for a test to change
}

// Comes with every open, so it is not written down.
int ScriptedSqlite::RegisterVfsRefusing(int openFlags) {
    answered_ = script_ ? script_("RegisterVfsRefusing " + Hexadecimal(openFlags)) : std::nullopt;
    return answered_ ? *answered_ : real_.RegisterVfsRefusing(openFlags);
}

int ScriptedSqlite::OpenV2(const std::string& utf8Path, sqlite3** database, int flags) {
    const auto answer = Note("OpenV2 " + Hexadecimal(flags));
    // SQLite hands out a handle even when it fails, except when it is out of memory.
    constexpr int kNoMemory = 7;
    int result = 0;
    if (!answer) {
        result = real_.OpenV2(utf8Path, database, flags);
    } else if (*answer != kNoMemory) {
        constexpr int kReadWriteCreateMemory = 0x86;
        real_.OpenV2("nothing", database, kReadWriteCreateMemory);
    }
    if (*database != nullptr) {
        connections_.insert(*database);
        if (opened_) {
            opened_(*database);
        }
    }
    return answer.value_or(result);
}

int ScriptedSqlite::CloseV2(sqlite3* database) {
    const auto answer = Note("CloseV2");
    const int result = real_.CloseV2(database);  // a handle that could not be closed would be a leak of the test's
    connections_.erase(database);
    return answer.value_or(result);
}

int ScriptedSqlite::Errcode(sqlite3* database) {
    const auto repeated = answered_;
    calls_.emplace_back("Errcode");
    return repeated ? *repeated : real_.Errcode(database);
}

int ScriptedSqlite::Exec(sqlite3* database, const char* sql, char** errorMessage) {
    const auto answer = Note(std::string("Exec ") + sql);
    return answer ? *answer : real_.Exec(database, sql, errorMessage);
}

void ScriptedSqlite::Free(void* memory) {
    calls_.emplace_back("Free");
    real_.Free(memory);
}

int ScriptedSqlite::BusyHandler(sqlite3* database, platform::BusyHandlerFunction handler, void* context) {
    busyHandler_ = handler;
    busyContext_ = context;
    const auto answer = Note("BusyHandler");
    return answer ? *answer : real_.BusyHandler(database, handler, context);
}

int ScriptedSqlite::DbConfig(sqlite3* database, int option, int value) {
    const auto answer = Note("DbConfig " + std::to_string(option) + " " + std::to_string(value));
    return answer ? *answer : real_.DbConfig(database, option, value);
}

int ScriptedSqlite::GetAutocommit(sqlite3* database) {
    calls_.emplace_back("GetAutocommit");
    return real_.GetAutocommit(database);
}

int ScriptedSqlite::PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) {
    const auto answer = Note("PrepareV2 " + std::string(sql, static_cast<std::size_t>(bytes)));
    if (answer) {
        return *answer;
    }
    const int result = real_.PrepareV2(database, sql, bytes, statement);
    if (*statement != nullptr) {
        statements_.insert(*statement);
    }
    return result;
}

int ScriptedSqlite::BindText16(sqlite3_stmt* statement, int index, const char16_t* text) {
    const auto answer = Note("BindText16 " + std::to_string(index) + " " + TypeConvert::UnicodeToUTF8(text));
    return answer ? *answer : real_.BindText16(statement, index, text);
}

int ScriptedSqlite::BindInt(sqlite3_stmt* statement, int index, std::int32_t value) {
    const auto answer = Note("BindInt " + std::to_string(index) + " " + std::to_string(value));
    return answer ? *answer : real_.BindInt(statement, index, value);
}

int ScriptedSqlite::BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) {
    const auto answer = Note("BindInt64 " + std::to_string(index) + " " + std::to_string(value));
    return answer ? *answer : real_.BindInt64(statement, index, value);
}

int ScriptedSqlite::Step(sqlite3_stmt* statement) {
    const auto answer = Note("Step");
    return answer ? *answer : real_.Step(statement);
}

int ScriptedSqlite::Reset(sqlite3_stmt* statement) {
    const auto answer = Note("Reset");
    const int result = real_.Reset(statement);
    return answer.value_or(result);
}

int ScriptedSqlite::Finalize(sqlite3_stmt* statement) {
    const auto answer = Note("Finalize");
    const int result = real_.Finalize(statement);
    statements_.erase(statement);
    return answer.value_or(result);
}

const char16_t* ScriptedSqlite::ColumnText16(sqlite3_stmt* statement, int column) {
    const auto answer = Note("ColumnText16 " + std::to_string(column));
    return answer ? nullptr : real_.ColumnText16(statement, column);
}

std::int32_t ScriptedSqlite::ColumnInt(sqlite3_stmt* statement, int column) {
    Note("ColumnInt " + std::to_string(column));
    return real_.ColumnInt(statement, column);
}

std::int64_t ScriptedSqlite::ColumnInt64(sqlite3_stmt* statement, int column) {
    Note("ColumnInt64 " + std::to_string(column));
    return real_.ColumnInt64(statement, column);
}

}  // namespace tavi::db
