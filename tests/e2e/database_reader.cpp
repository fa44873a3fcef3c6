#include "e2e/database_reader.h"

#include <sqlite3.h>

#include <filesystem>

namespace tavi::e2e {
namespace {

std::string Text(sqlite3_stmt* statement, int column) {
    const unsigned char* text = sqlite3_column_text(statement, column);
    return text == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(text));
}

}  // namespace

std::string Words(const ChangeRow& row) {
    static const char* const kNames[] = {"none", "create", "delete", "modify", "move", "rename"};
    const bool known = row.reason >= 0 && row.reason <= 5;
    std::string words = (known ? kNames[row.reason] : std::to_string(row.reason)) + (" " + row.path);
    return row.originalPath.empty() ? words : words + " from " + row.originalPath;
}

std::vector<std::string> Words(const std::vector<ChangeRow>& rows) {
    std::vector<std::string> words;
    for (const ChangeRow& row : rows) {
        words.push_back(Words(row));
    }
    return words;
}

std::wstring DatabaseReader::DatabasePath() const {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(baseFolder_, error)) {
        const std::filesystem::path file = entry.path() / L"ListenService.dat";
        if (std::filesystem::exists(file, error)) {
            return file.wstring();
        }
    }
    return {};
}

void DatabaseReader::Query(const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) const {
    const std::u8string path = std::filesystem::path(DatabasePath()).u8string();
    sqlite3* database = nullptr;
    if (!path.empty() && sqlite3_open_v2(reinterpret_cast<const char*>(path.c_str()), &database, SQLITE_OPEN_READONLY,
                                         nullptr) == SQLITE_OK) {
        sqlite3_busy_timeout(database, 5000);
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
            while (sqlite3_step(statement) == SQLITE_ROW) {
                row(statement);
            }
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(database);
}

std::vector<ChangeRow> DatabaseReader::Changes() const {
    std::vector<ChangeRow> rows;
    Query(
        "SELECT id, relativePath, originalRelativePath, fileAttributes, reason, frn, oldfrn FROM fileChangeRecord "
        "ORDER BY id",
        [&rows](sqlite3_stmt* statement) {
            rows.push_back({sqlite3_column_int64(statement, 0), Text(statement, 1), Text(statement, 2),
                            sqlite3_column_int64(statement, 3), sqlite3_column_int(statement, 4),
                            sqlite3_column_int64(statement, 5), sqlite3_column_int64(statement, 6)});
        });
    return rows;
}

std::vector<std::string> DatabaseReader::TemporaryFiles() const {
    std::vector<std::string> paths;
    Query("SELECT filePath FROM temporaryFile ORDER BY id",
          [&paths](sqlite3_stmt* statement) { paths.push_back(Text(statement, 0)); });
    return paths;
}

std::int64_t DatabaseReader::Position() const {
    std::int64_t position = -1;
    Query("SELECT usnLocation FROM user",
          [&](sqlite3_stmt* statement) { position = sqlite3_column_int64(statement, 0); });
    return position;
}

std::int64_t DatabaseReader::Count(const std::string& table) const {
    std::int64_t count = -1;
    Query("SELECT count(*) FROM " + table,
          [&](sqlite3_stmt* statement) { count = sqlite3_column_int64(statement, 0); });
    return count;
}

DatabaseLock::DatabaseLock(const DatabaseReader& reader) {
    const std::u8string path = std::filesystem::path(reader.DatabasePath()).u8string();
    sqlite3_open_v2(reinterpret_cast<const char*>(path.c_str()), &database_, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_busy_timeout(database_, 5000);
    held_ = sqlite3_exec(database_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
}

DatabaseLock::~DatabaseLock() {
    sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(database_);
}

}  // namespace tavi::e2e
