#include "read_connection.h"

#include <filesystem>

#ifdef _WIN32
#include "imports/file_helper.h"
#include "imports/type_convert.h"
#endif

namespace tavi::client {

namespace {

#define TAVI_CHANGE_COLUMNS                                                                                \
    "SELECT id, recordTimestamp, relativePath, originalRelativePath, fileAttributes, reason, frn, oldfrn " \
    "FROM fileChangeRecord "
constexpr const char* kChangesAfter = TAVI_CHANGE_COLUMNS "WHERE id > ? ORDER BY id LIMIT ?";
constexpr const char* kChangeWithId = TAVI_CHANGE_COLUMNS "WHERE id = ?";
#undef TAVI_CHANGE_COLUMNS

// As the service forms it, so that a long path reaches the same file.
std::string FileName(const std::string& path) {
#ifdef _WIN32
    return TypeConvert::UnicodeToUTF8(FileHepler::FormatLongFileName(TypeConvert::UTF8ToUnicode(path)));
#else
    return path;
#endif
}

bool IsThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(std::u8string(path.begin(), path.end())), error) || error;
}

Change ToChange(sqlite3_stmt* row) {
    Change change;
    change.id = sqlite3_column_int64(row, 0);
    change.timestamp = sqlite3_column_int64(row, 1);
    change.path = ColumnText(row, 2);
    change.originalPath = ColumnText(row, 3);
    change.attributes = static_cast<std::uint32_t>(sqlite3_column_int64(row, 4));
    change.kind = sqlite3_column_int(row, 5);
    change.frn = static_cast<std::uint64_t>(sqlite3_column_int64(row, 6));
    change.oldfrn = static_cast<std::uint64_t>(sqlite3_column_int64(row, 7));
    return change;
}

}  // namespace

std::string ColumnText(sqlite3_stmt* statement, int column) {
    const unsigned char* text = sqlite3_column_text(statement, column);
    const int bytes = sqlite3_column_bytes(statement, column);
    return text == nullptr ? std::string() : std::string(text, text + bytes);
}

ReadConnection::ReadConnection(const std::string& path, int busyMilliseconds) {
    const std::string file = FileName(path);
    if (!IsThere(file)) {
        state_ = ReadState::kMissing;
        return;
    }
    if (!Succeeds(sqlite3_open_v2(file.c_str(), &database_, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr))) {
        state_ = IsThere(file) ? state_ : ReadState::kMissing;  // deleted a moment ago
        return;
    }
    sqlite3_busy_timeout(database_, busyMilliseconds);
    // The last connection to close would copy the log into the database, with the database locked meanwhile.
    sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    Succeeds(sqlite3_exec(database_, "BEGIN", nullptr, nullptr, nullptr));
}

ReadConnection::~ReadConnection() {
    sqlite3_finalize(changeWithId_);
    sqlite3_close(database_);  // ends the transaction
}

bool ReadConnection::Succeeds(int result) {
    if (result == SQLITE_OK || result == SQLITE_DONE) {
        return true;
    }
    code_ = result;
    const std::string message = database_ != nullptr ? sqlite3_errmsg(database_) : "";
    if ((result & 0xFF) == SQLITE_BUSY || (result & 0xFF) == SQLITE_LOCKED) {
        state_ = ReadState::kBusy;
    } else if (result == SQLITE_ERROR && message.starts_with("no such table")) {
        state_ = ReadState::kMissing;  // the service makes the file first
    } else {
        state_ = ReadState::kFailed;
    }
    return false;
}

bool ReadConnection::Query(const char* sql, const std::vector<std::int64_t>& numbers,
                           const std::function<void(sqlite3_stmt*)>& row) {
    if (state_ != ReadState::kRead) {
        return false;
    }
    sqlite3_stmt* statement = nullptr;
    if (!Succeeds(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr))) {
        return false;
    }
    for (int index = 0; const std::int64_t number : numbers) {
        sqlite3_bind_int64(statement, ++index, number);
    }
    int result = sqlite3_step(statement);
    for (; result == SQLITE_ROW; result = sqlite3_step(statement)) {
        row(statement);
    }
    const bool read = Succeeds(result);
    sqlite3_finalize(statement);
    return read;
}

std::vector<Change> ReadConnection::ChangesAfter(std::int64_t id, std::size_t limit) {
    std::vector<Change> changes;
    const bool read = Query(kChangesAfter, {id, static_cast<std::int64_t>(limit)},
                            [&changes](sqlite3_stmt* row) { changes.push_back(ToChange(row)); });
    return read ? changes : std::vector<Change>();
}

std::optional<Change> ReadConnection::ChangeWithId(std::int64_t id) {
    if (state_ != ReadState::kRead) {
        return std::nullopt;
    }
    if (changeWithId_ == nullptr &&
        !Succeeds(sqlite3_prepare_v2(database_, kChangeWithId, -1, &changeWithId_, nullptr))) {
        return std::nullopt;
    }
    sqlite3_reset(changeWithId_);
    sqlite3_bind_int64(changeWithId_, 1, id);
    const int result = sqlite3_step(changeWithId_);
    if (result == SQLITE_ROW) {
        return ToChange(changeWithId_);
    }
    Succeeds(result);
    return std::nullopt;
}

}  // namespace tavi::client
