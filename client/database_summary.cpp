#include "tavi_client/database_summary.h"

#include <filesystem>

#include "read_connection.h"

namespace tavi::client {

namespace {

std::uint64_t FileBytes(const std::string& path) {
    std::error_code error;
    const auto bytes =
        std::filesystem::file_size(std::filesystem::path(std::u8string(path.begin(), path.end())), error);
    return error ? 0 : bytes;
}

}  // namespace

DatabaseSummary Summarise(const std::string& databasePath, int busyMilliseconds) {
    DatabaseSummary summary;
    ReadConnection connection(databasePath, busyMilliseconds);
    connection.Query("SELECT userId, listenPath, usnLocation FROM user ORDER BY userId", {}, [&](sqlite3_stmt* row) {
        summary.users.push_back({ColumnText(row, 0), ColumnText(row, 1), sqlite3_column_int64(row, 2)});
    });
    for (const std::string table : {"fileChangeRecord", "delayRecord", "temporaryFile", "pathMapping"}) {
        connection.Query(("SELECT count(*) FROM " + table).c_str(), {},
                         [&](sqlite3_stmt* row) { summary.rows[table] = sqlite3_column_int64(row, 0); });
    }
    connection.Query("SELECT reason, count(*), min(id), max(id) FROM fileChangeRecord GROUP BY reason", {},
                     [&](sqlite3_stmt* row) {
                         summary.changesByKind[sqlite3_column_int(row, 0)] = sqlite3_column_int64(row, 1);
                         const std::int64_t first = sqlite3_column_int64(row, 2);
                         summary.firstId = summary.firstId == 0 ? first : std::min(summary.firstId, first);
                         summary.lastId = std::max<std::int64_t>(summary.lastId, sqlite3_column_int64(row, 3));
                     });
    summary.state = connection.state();
    summary.code = connection.code();
    summary.databaseBytes = FileBytes(databasePath);
    summary.logBytes = FileBytes(databasePath + "-wal");
    return summary;
}

}  // namespace tavi::client
