// What a processing cycle leaves behind, stored in one transaction: all of it with the new position, or nothing.
#include "db/connection.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"

namespace tavi::db {
namespace {

// 64 MiB of page cache for this connection: a large transaction then keeps the pages it touches until the commit, and
// does not write them to the log again and again. Says nothing about when data is durable.
constexpr const char* kLargePageCache = "PRAGMA cache_size=-65536;";

}  // namespace

bool SqLite3Operator::SaveCycleResults(const std::vector<records::DelayRecord>& delayRecords,
                                       const records::FileChangeInfoList& changes,
                                       const records::TemporaryFileList& temporaryFiles, std::int64_t usn,
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
        const bool stored = ExecuteSQLThatIsNotQuery(handle, statements_[SqlText::kDeleteAllDelayRecords]) &&
                            UseLargePageCache(handle) && InsertDelayRecordTable(handle, delayRecords) &&
                            InsertFileChangeRecordTable(handle, changes) &&
                            UpdateUSNOfUserTableSql(handle, usn, userId) &&
                            InsertTemporaryFileTableSql(handle, temporaryFiles) && CommitDbTransaction(handle);
        if (!stored) {
            RollbackDbTransaction(handle);
        }
        return stored;
    });
}

// Inside the transaction, when the schema has been read and the lock is held: there it waits for nobody. A refusal
// costs only time, so it is no failure.
bool SqLite3Operator::UseLargePageCache(sqlite3* handle) {
    Guarded([&] { return platform_.sqlite.Exec(handle, kLargePageCache, nullptr) == 0; });
    return true;
}

}  // namespace tavi::db
