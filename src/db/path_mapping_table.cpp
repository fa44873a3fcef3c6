// The pathMapping table: the directories that the path mapping knows.
#include "db/connection.h"
#include "db/sqlite3_operator.h"
#include "db/statement_runner.h"

namespace tavi::db {
namespace {

constexpr OperationTexts kInsert{
    "InsertPathMappingTable",
    "Failed to create the stmt object,reason:",
    "Failed to insert the file change record table,reason:",
    {"Failed to insert the file change record table", "Failed to insert the file change record table: exception"}};
constexpr OperationTexts kSelect{
    "SelectPathMappingTable",
    "Failed to create the stmt object,reason:",
    "",
    {"SelectPathMappingTable failed", "SelectPathMappingTable failed: exception", Drive::kDeviatingSqLite3OperatorLog}};

// SQLite's integers are signed; reference numbers keep their bits.
void BindEntry(Statement& statement, const PathMappingEntry& entry) {
    const auto& [fileReferenceNumber, parentFileReferenceNumber, deleted, fileName] = entry;
    statement.Int64(1, static_cast<std::int64_t>(fileReferenceNumber)).Text(2, fileName);
    statement.Int64(3, static_cast<std::int64_t>(parentFileReferenceNumber)).Int(4, deleted ? 1 : 0);
}

// By position, although the query lists the name second: an order that is kept as it has always been.
PathMappingEntry ReadEntry(Statement& statement) {
    PathMappingEntry entry;
    auto& [fileReferenceNumber, parentFileReferenceNumber, deleted, fileName] = entry;
    fileReferenceNumber = static_cast<platform::FileReferenceNumber>(statement.ColumnInt64(0));
    parentFileReferenceNumber = static_cast<platform::FileReferenceNumber>(statement.ColumnInt64(1));
    deleted = statement.ColumnInt(2) != 0;
    fileName = statement.ColumnText(3);
    return entry;
}

}  // namespace

bool SqLite3Operator::InsertPathMappingTable(const std::vector<PathMappingEntry>& list) {
    return Guarded(kInsert.function, kInsert.exceptions, [&] {
        if (list.empty()) {
            return true;
        }
        Connection connection(*this);
        if (!connection.Open()) {
            return false;
        }
        BeginDbTransaction(connection.handle());
        const bool prepared = InsertPathMappingEntries(connection.handle(), list);
        CommitDbTransaction(connection.handle());
        return prepared;
    });
}

// An entry that cannot be stored costs only itself: the directory is looked up again when it is needed.
bool SqLite3Operator::InsertPathMappingEntries(sqlite3* handle, const std::vector<PathMappingEntry>& list) {
    StatementRunner runner(platform_, kInsert);
    if (!runner.Prepare(handle, statements_[SqlText::kReplacePathMapping])) {
        return false;
    }
    runner.TryForEach(list, BindEntry);
    return true;
}

bool SqLite3Operator::SelectPathMappingTable(std::vector<PathMappingEntry>& list) {
    return Guarded(kSelect.function, kSelect.exceptions, [&] {
        Connection connection(*this);
        StatementRunner runner(platform_, kSelect);
        return connection.OpenReadOnly() &&
               runner.Prepare(connection.handle(), statements_[SqlText::kSelectPathMapping]) &&
               runner.AppendRows(list, ReadEntry);
    });
}

}  // namespace tavi::db
