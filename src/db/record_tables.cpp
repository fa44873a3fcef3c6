// The tables that a cycle fills: changes for the client, records held back, temporary files. The inserting operations
// work on the caller's connection, inside its transaction; the first element that fails ends them.
#include "db/connection.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"

namespace tavi::db {
namespace {

// SQLite's integers are signed; attributes and reference numbers keep their bits.
std::int32_t Signed(std::uint32_t value) {
    return static_cast<std::int32_t>(value);
}

std::int64_t Signed(std::uint64_t value) {
    return static_cast<std::int64_t>(value);
}

}  // namespace

bool SqLite3Operator::InsertDelayRecordTable(sqlite3* handle, const std::vector<records::DelayRecord>& list) {
    constexpr const char* kFunction = "InsertDelayRecordTable";
    constexpr ExceptionTexts kTexts{"Failed to write the delay record table",
                                    "Failed to write the delay record table: exception"};
    return Guarded(kFunction, kTexts, [&] {
        if (list.empty()) {
            return true;
        }
        Statement statement(platform_);
        int code = statement.Prepare(handle, statements_[SqlText::kInsertDelayRecord]);
        if (code != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object,error reason:", code);
            return false;
        }
        for (const records::DelayRecord& record : list) {
            statement.Text(1, record.fileName).Text(2, record.originalFileName).Int(3, Signed(record.fileAttributes));
            statement.Int(4, record.isTempFile ? 1 : 0).Int(5, static_cast<std::int32_t>(record.reason));
            statement.Int(6, Signed(record.delayCount)).Int64(7, record.timestamp).Int64(8, Signed(record.frn));
            code = statement.Step();
            if (code != kSqliteDone) {
                LogError(kFunction, "Failed to write the delay record table,error reason:", code);
                return false;
            }
            statement.Reset();
        }
        return true;
    });
}

bool SqLite3Operator::InsertFileChangeRecordTable(sqlite3* handle, const records::FileChangeInfoList& list) {
    constexpr const char* kFunction = "InsertFileChangeRecordTable";
    return Guarded([&] {
        if (list.empty()) {
            return true;
        }
        Statement statement(platform_);
        if (statement.Prepare(handle, statements_[SqlText::kUpsertFileChangeRecord]) != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object");
            return false;
        }
        for (const records::FileChangeInfo& record : list) {
            statement.Int64(1, record.timestamp).Text(2, record.fileName).Text(3, record.originalFileName);
            statement.Int(4, Signed(record.fileAttributes)).Int(5, static_cast<std::int32_t>(record.reason));
            statement.Int64(6, Signed(record.frn)).Int64(7, Signed(record.oldfrn));
            if (statement.Step() != kSqliteDone) {
                LogError(kFunction, "Failed to insert the file change record table");
                return false;
            }
            statement.Reset();
        }
        return true;
    });
}

bool SqLite3Operator::InsertTemporaryFileTableSql(sqlite3* handle, const records::TemporaryFileList& list) {
    constexpr const char* kFunction = "InsertTemporaryFileTableSql";
    constexpr ExceptionTexts kTexts{"Failed to execute the insertion SQL statement",
                                    "Failed to execute the insertion SQL statement: exception"};
    return Guarded(kFunction, kTexts, [&] {
        if (list.empty()) {
            return true;
        }
        Statement statement(platform_);
        int code = statement.Prepare(handle, statements_[SqlText::kReplaceTemporaryFile]);
        if (code != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object,error reason:", code);
            return false;
        }
        for (const records::TemporaryFile& file : list) {
            statement.Text(1, file.filePath).Int(2, Signed(file.fileAttributes)).Int(3, file.isHandle != 0 ? 1 : 0);
            code = statement.Step();
            if (code != kSqliteDone) {
                LogError(kFunction, "Failed to execute the insertion SQL statement,error reason:", code);
                return false;
            }
            statement.Reset();
        }
        return true;
    });
}

bool SqLite3Operator::SelectAllDataFromDelayRecordTable(std::vector<records::DelayRecord>& list) {
    return Guarded([&] {
        Connection connection(*this);
        if (!connection.OpenReadOnly()) {
            return false;
        }
        Statement statement(platform_);
        if (statement.Prepare(connection.handle(), statements_[SqlText::kSelectDelayRecords]) != kSqliteOk) {
            LogError("SelectAllDataFromDelayRecordTable", "Failed to create the stmt object");
            return false;
        }
        int code = statement.Step();
        for (; code == kSqliteRow; code = statement.Step()) {
            records::DelayRecord record;
            record.fileName = statement.ColumnText(0);
            record.originalFileName = statement.ColumnText(1);
            record.fileAttributes = static_cast<std::uint32_t>(statement.ColumnInt64(2));
            record.isTempFile = statement.ColumnInt(3) != 0;
            record.reason = static_cast<records::FileChangeReason>(statement.ColumnInt(4));
            record.delayCount = static_cast<std::uint32_t>(statement.ColumnInt(5));
            record.timestamp = statement.ColumnInt(6);  // the low 32 bits only, although it is stored with 64
            record.frn = static_cast<std::uint64_t>(statement.ColumnInt64(7));
            list.push_back(std::move(record));
        }
        return code == kSqliteDone;
    });
}

bool SqLite3Operator::ClearRecordTables() {
    return Guarded([&] {
        return ExecuteOnOwnConnection(
            statements_[SqlText::kDeleteAllFileChangeRecords] + statements_[SqlText::kDeleteAllDelayRecords] +
            statements_[SqlText::kDeleteAllTemporaryFiles] + statements_[SqlText::kDeleteAllPathMappings]);
    });
}

}  // namespace tavi::db
