// What the operator's tests share: a simulated machine with a scripted SQLite in front of its real one, the captured
// log, and a second way into the database file, past the operator, to prepare it and to see what is in it.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/sqlite3_operator.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "unit/db/scripted_sqlite.h"

namespace tavi::db {

inline const std::u16string kFolder = u"D:\\Data\\5f1e\\";
inline const std::u16string kPath = kFolder + u"ListenService.dat";

// Error lines as "tag/function/text".
std::vector<std::string> ErrorLines(const sim::CapturedLog& log);

// A connection of somebody else to the same file.
class OtherConnection {
public:
    explicit OtherConnection(const std::string& hostPath);
    ~OtherConnection() { sqlite3_close_v2(handle_); }
    OtherConnection(const OtherConnection&) = delete;
    OtherConnection& operator=(const OtherConnection&) = delete;

    void Run(const std::string& sql);
    // Rows with their columns joined by '|'; NULL is written as "NULL".
    std::vector<std::string> Rows(const std::string& sql);
    sqlite3* handle() { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

// A machine with a database operator on it.
class DatabaseRig {
public:
    DatabaseRig();
    ~DatabaseRig();  // says what was left open
    DatabaseRig(const DatabaseRig&) = delete;
    DatabaseRig& operator=(const DatabaseRig&) = delete;

    // A database as the service leaves it after a start; forgets the calls and log lines of that.
    void Init();
    void Forget();
    // Places a file at kPath that these statements made.
    void MakeFile(const std::string& sql);
    void RunSql(const std::string& sql) { OtherConnection(HostPath()).Run(sql); }
    std::vector<std::string> Rows(const std::string& sql) { return OtherConnection(HostPath()).Rows(sql); }
    std::vector<std::string> Columns(const std::string& table);
    // Everything in the five tables, one string a row.
    std::vector<std::string> Everything();
    std::string HostPath();
    std::vector<std::string> Errors() const { return ErrorLines(log_); }
    sim::CapturedLog& log() { return log_; }
    std::int64_t Now() const { return machine_.NowMilliseconds(); }

    sim::Machine machine_;
    sim::CapturedLog log_;
    platform::Platform real_ = machine_.platform();
    ScriptedSqlite sqlite_;
    platform::Platform platform_;
    SqLite3Operator database_;
};

class DatabaseTest : public ::testing::Test, protected DatabaseRig {};

// A change with every field filled.
records::FileChangeInfo Change(std::u16string name,
                               records::FileChangeReason reason = records::FileChangeReason::kModify,
                               std::u16string originalName = {});
inline const std::u16string kUser = u"user-1";

}  // namespace tavi::db
