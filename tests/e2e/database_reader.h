// Reads the client's database as the client does: SQLite, its own connection, while the service writes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tavi::e2e {

struct ChangeRow {
    std::int64_t id = 0;
    std::string path;          // UTF-8, relative
    std::string originalPath;  // UTF-8
    std::int64_t attributes = 0;
    int reason = 0;  // 1 create, 2 delete, 3 modify, 4 move, 5 rename
    std::int64_t frn = 0;
    std::int64_t oldfrn = 0;
};

// "modify a.txt", "rename b.txt from a.txt": what tests compare.
std::string Words(const ChangeRow& row);
std::vector<std::string> Words(const std::vector<ChangeRow>& rows);

class DatabaseReader {
public:
    // `baseFolder` is the database folder of the start request; the user's database is the only one below it.
    explicit DatabaseReader(std::wstring baseFolder) : baseFolder_(std::move(baseFolder)) {}

    std::wstring DatabasePath() const;       // empty while there is none
    std::vector<ChangeRow> Changes() const;  // in id order
    std::vector<std::string> TemporaryFiles() const;
    std::int64_t Position() const;  // of the user row; -1 without one
    std::int64_t Count(const std::string& table) const;

private:
    void Query(const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) const;

    std::wstring baseFolder_;
};

// Keeps everybody else from writing while it lives.
class DatabaseLock {
public:
    explicit DatabaseLock(const DatabaseReader& reader);
    DatabaseLock(const DatabaseLock&) = delete;
    DatabaseLock& operator=(const DatabaseLock&) = delete;
    ~DatabaseLock();

    bool held() const { return held_; }

private:
    sqlite3* database_ = nullptr;
    bool held_ = false;
};

}  // namespace tavi::e2e
