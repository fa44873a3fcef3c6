// The tables that a cycle fills: changes for the client, records held back, temporary files; and the one transaction
// that writes them together with the position. The inserting operations work on the caller's connection, inside its
// transaction; the first element that fails ends them.
#include "db/connection.h"
#include "db/sqlite3_operator.h"
#include "db/statement_runner.h"

namespace tavi::db {
namespace {

constexpr OperationTexts kInsertDelayed{
    "InsertDelayRecordTable",
    "Failed to create the stmt object,error reason:",
    "Failed to write the delay record table,error reason:",
    {"Failed to write the delay record table", "Failed to write the delay record table: exception"}};
constexpr OperationTexts kInsertChanges{"InsertFileChangeRecordTable",
                                        "Failed to create the stmt object",
                                        "Failed to insert the file change record table",
                                        {}};
constexpr OperationTexts kInsertTemporary{
    "InsertTemporaryFileTableSql",
    "Failed to create the stmt object,error reason:",
    "Failed to execute the insertion SQL statement,error reason:",
    {"Failed to execute the insertion SQL statement", "Failed to execute the insertion SQL statement: exception"}};
constexpr OperationTexts kSelectDelayed{
    "SelectAllDataFromDelayRecordTable", "Failed to create the stmt object", "", {}};

// For a save's connection alone. 64 MiB of page cache: a large transaction then keeps the pages it touches until the
// commit, and does not write them to the log again and again. What such a transaction has left of the log behind 4 MiB
// is cut off by the first save that writes the log from its beginning again; in between, SQLite copies the log at 1,000
// pages, which are less. Neither says anything about when data is durable.
constexpr const char* kLargeTransactions = "PRAGMA cache_size=-65536;PRAGMA journal_size_limit=4194304;";

// SQLite's integers are signed; attributes and reference numbers keep their bits.
std::int32_t Signed(std::uint32_t value) {
    return static_cast<std::int32_t>(value);
}

std::int64_t Signed(std::uint64_t value) {
    return static_cast<std::int64_t>(value);
}

void BindDelayed(Statement& statement, const records::DelayRecord& record) {
    // The last is not stored.
    const auto& [name, originalName, attributes, isTempFile, reason, delayCount, timestamp, frn, oldfrn] = record;
    statement.Text(1, name.c_str()).Text(2, originalName.c_str()).Int(3, Signed(attributes)).Int(4, isTempFile ? 1 : 0);
    statement.Int(5, static_cast<std::int32_t>(reason)).Int(6, Signed(delayCount));
    statement.Int64(7, timestamp).Int64(8, Signed(frn));
}

records::DelayRecord ReadDelayed(Statement& statement) {
    records::DelayRecord record;
    auto& [name, originalName, attributes, isTempFile, reason, delayCount, timestamp, frn, oldfrn] = record;
    name = statement.ColumnText(0);
    originalName = statement.ColumnTextOrNull(1);
    attributes = static_cast<std::uint32_t>(statement.ColumnInt64(2));
    isTempFile = statement.ColumnInt(3) != 0;
    reason = static_cast<records::FileChangeReason>(statement.ColumnInt(4));
    delayCount = static_cast<std::uint32_t>(statement.ColumnInt(5));
    timestamp = statement.ColumnInt(6);  // the low 32 bits only, although it is stored with 64
    frn = static_cast<platform::FileReferenceNumber>(statement.ColumnInt64(7));
    return record;
}

void BindChange(Statement& statement, const records::FileChangeInfo& change) {
    // isTempFile and delayCount are not stored.
    const auto& [name, originalName, attributes, isTempFile, reason, delayCount, timestamp, frn, oldfrn] = change;
    statement.Int64(1, timestamp).Text(2, name.c_str()).Text(3, originalName.c_str()).Int(4, Signed(attributes));
    statement.Int(5, static_cast<std::int32_t>(reason)).Int64(6, Signed(frn)).Int64(7, Signed(oldfrn));
}

void BindTemporary(Statement& statement, const records::TemporaryFile& file) {
    const auto& [path, attributes, isHandle] = file;
    statement.Text(1, path.c_str()).Int(2, Signed(attributes)).Int(3, isHandle != 0 ? 1 : 0);
}

template <typename List, typename Bind>
bool InsertAll(platform::Platform& platform, const OperationTexts& texts, sqlite3* handle, const std::string& sql,
               const List& list, Bind bind) {
    return Guarded(texts.function, texts.exceptions, [&] {
        if (list.empty()) {
            return true;
        }
        StatementRunner runner(platform, texts);
        return runner.Prepare(handle, sql) && runner.RunForEach(list, bind);
    });
}

}  // namespace

bool SqLite3Operator::InsertDelayRecordTable(sqlite3* handle, const std::vector<records::DelayRecord>& list) {
    return InsertAll(platform_, kInsertDelayed, handle, statements_[SqlText::kInsertDelayRecord], list, BindDelayed);
}

bool SqLite3Operator::InsertFileChangeRecordTable(sqlite3* handle, const records::FileChangeInfoList& list) {
    return InsertAll(platform_, kInsertChanges, handle, statements_[SqlText::kUpsertFileChangeRecord], list,
                     BindChange);
}

bool SqLite3Operator::InsertTemporaryFileTableSql(sqlite3* handle, const records::TemporaryFileList& list) {
    return InsertAll(platform_, kInsertTemporary, handle, statements_[SqlText::kReplaceTemporaryFile], list,
                     BindTemporary);
}

bool SqLite3Operator::SelectAllDataFromDelayRecordTable(std::vector<records::DelayRecord>& list) {
    return Guarded(kSelectDelayed.function, kSelectDelayed.exceptions, [&] {
        Connection connection(*this);
        StatementRunner runner(platform_, kSelectDelayed);
        return connection.OpenReadOnly() &&
               runner.Prepare(connection.handle(), statements_[SqlText::kSelectDelayRecords]) &&
               runner.AppendRows(list, ReadDelayed);
    });
}

bool SqLite3Operator::SaveCycleResults(const std::vector<records::DelayRecord>& delayRecords,
                                       const records::FileChangeInfoList& changes,
                                       const records::TemporaryFileList& temporaryFiles, platform::Usn usn,
                                       const std::u16string& userId) {
    return Guarded([&] {
        Connection connection(*this);
        if (!connection.Open()) {
            return false;
        }
        sqlite3* handle = connection.handle();
        if (!BeginDbTransaction(handle)) {
            return false;
        }
        bool stored = ExecuteSQLThatIsNotQuery(handle, statements_[SqlText::kDeleteAllDelayRecords]);
        if (stored) {
            FitForLargeTransactions(handle);
            stored = InsertDelayRecordTable(handle, delayRecords) && InsertFileChangeRecordTable(handle, changes) &&
                     UpdateUSNOfUserTableSql(handle, usn, userId) &&
                     InsertTemporaryFileTableSql(handle, temporaryFiles) && CommitDbTransaction(handle);
        }
        if (!stored) {
            RollbackDbTransaction(handle);
        }
        return stored;
    });
}

// Inside the transaction, when the schema has been read and the lock is held: there it waits for nobody. A refusal
// costs only time.
void SqLite3Operator::FitForLargeTransactions(sqlite3* handle) {
    Guarded([&] { return platform_.sqlite.Exec(handle, kLargeTransactions, nullptr) == kSqliteOk; });
}

bool SqLite3Operator::ClearRecordTables() {
    return Guarded([&] {
        return ExecuteOnOwnConnection(
            statements_[SqlText::kDeleteAllFileChangeRecords] + statements_[SqlText::kDeleteAllDelayRecords] +
            statements_[SqlText::kDeleteAllTemporaryFiles] + statements_[SqlText::kDeleteAllPathMappings]);
    });
}

}  // namespace tavi::db
