// The pathMapping table: the directories that the path mapping knows.
#include "db/connection.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"

namespace tavi::db {

bool SqLite3Operator::InsertPathMappingTable(const std::vector<PathMappingEntry>& list) {
    constexpr const char* kFunction = "InsertPathMappingTable";
    constexpr ExceptionTexts kTexts{"Failed to insert the file change record table",
                                    "Failed to insert the file change record table: exception"};
    return Guarded(kFunction, kTexts, [&] {
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
    constexpr const char* kFunction = "InsertPathMappingTable";
    Statement statement(platform_);
    int code = statement.Prepare(handle, statements_[SqlText::kReplacePathMapping]);
    if (code != kSqliteOk) {
        LogError(kFunction, "Failed to create the stmt object,reason:", code);
        return false;
    }
    for (const PathMappingEntry& entry : list) {
        statement.Int64(1, static_cast<std::int64_t>(entry.fileReferenceNumber)).Text(2, entry.fileName);
        statement.Int64(3, static_cast<std::int64_t>(entry.parentFileReferenceNumber)).Int(4, entry.deleted ? 1 : 0);
        code = statement.Step();
        if (code != kSqliteDone) {
            LogError(kFunction, "Failed to insert the file change record table,reason:", code);
        }
        statement.Reset();
    }
    return true;
}

bool SqLite3Operator::SelectPathMappingTable(std::vector<PathMappingEntry>& list) {
    constexpr const char* kFunction = "SelectPathMappingTable";
    constexpr ExceptionTexts kTexts{"SelectPathMappingTable failed", "SelectPathMappingTable failed: exception",
                                    Drive::kDeviatingSqLite3OperatorLog};
    return Guarded(kFunction, kTexts, [&] {
        Connection connection(*this);
        if (!connection.OpenReadOnly()) {
            return false;
        }
        Statement statement(platform_);
        int code = statement.Prepare(connection.handle(), statements_[SqlText::kSelectPathMapping]);
        if (code != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object,reason:", code);
            return false;
        }
        for (code = statement.Step(); code == kSqliteRow; code = statement.Step()) {
            // By position, although the query lists the name second: an order that is kept as it has always been.
            PathMappingEntry entry;
            entry.fileReferenceNumber = static_cast<std::uint64_t>(statement.ColumnInt64(0));
            entry.parentFileReferenceNumber = static_cast<std::uint64_t>(statement.ColumnInt64(1));
            entry.deleted = statement.ColumnInt(2) != 0;
            entry.fileName = statement.ColumnText(3);
            list.push_back(std::move(entry));
        }
        return code == kSqliteDone;
    });
}

}  // namespace tavi::db
