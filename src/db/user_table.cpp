// The user table: one row per account, with its folder and how far its journal has been read.
#include "db/connection.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"

namespace tavi::db {

UserQueryResult SqLite3Operator::SelectUserTableByUserId(const std::u16string& userId) {
    constexpr const char* kFunction = "SelectUserTableByUserId";
    UserQueryResult result;
    result.ok = Guarded(kFunction, {"Failed to read user table", "Failed to read user table: exception"}, [&] {
        Connection connection(*this);
        if (!connection.OpenReadOnly()) {
            return false;
        }
        Statement statement(platform_);
        int code = statement.Prepare(connection.handle(), statements_[SqlText::kSelectUser]);
        if (code == kSqliteOk) {
            // Without its parameter the query would find nobody, and a known user would be taken for a new one.
            code = statement.Text(1, userId).bindResult();
        }
        if (code != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object,error reason:", code);
            return false;
        }
        code = statement.Step();
        if (code == kSqliteRow) {
            UserRecord record;
            record.userId = statement.ColumnText(0);
            record.listenPath = statement.ColumnText(1);
            record.usnLocation = statement.ColumnInt64(2);
            result.record = std::move(record);
        }
        // Of a read that failed nobody knows whether the user is a new one, except, by rule, of one that stayed busy.
        return code == kSqliteRow || code == kSqliteDone || code == kSqliteBusy;
    });
    return result;
}

bool SqLite3Operator::InsertUserTable(const UserRecord& record) {
    constexpr const char* kFunction = "InsertUserTable";
    return Guarded([&] {
        Connection connection(*this);
        if (!connection.Open()) {
            return false;
        }
        Statement statement(platform_);
        if (statement.Prepare(connection.handle(), statements_[SqlText::kInsertUser]) != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object");
            return false;
        }
        statement.Text(1, record.userId).Text(2, record.listenPath).Int64(3, record.usnLocation);
        if (statement.Step() != kSqliteDone) {
            LogError(kFunction, "Failed to execute the insertion statement function");
            return false;
        }
        return true;
    });
}

bool SqLite3Operator::UpdateUserTable(const UserRecord& record) {
    constexpr const char* kFunction = "UpdateUserTable";
    return Guarded([&] {
        Connection connection(*this);
        if (!connection.Open()) {
            return false;
        }
        Statement statement(platform_);
        if (statement.Prepare(connection.handle(), statements_[SqlText::kUpdateUser]) != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object");
            return false;
        }
        statement.Text(1, record.listenPath).Int64(2, record.usnLocation).Text(3, record.userId);
        if (statement.Step() != kSqliteDone) {
            LogError(kFunction, "Failed to execute the SQL statement");
            return false;
        }
        return true;
    });
}

bool SqLite3Operator::UpdateUSNOfUserTableSql(sqlite3* handle, std::int64_t usn, const std::u16string& userId) {
    constexpr const char* kFunction = "UpdateUSNOfUserTableSql";
    return Guarded(kFunction, {"Failed to update the USN", "Failed to update the USN: exception"}, [&] {
        Statement statement(platform_);
        int code = statement.Prepare(handle, statements_[SqlText::kUpdateUserUsn]);
        if (code != kSqliteOk) {
            LogError(kFunction, "Failed to create the stmt object,error reason:", code);
            return false;
        }
        code = statement.Int64(1, usn).Text(2, userId).Step();
        if (code != kSqliteDone) {
            LogError(kFunction, "Failed to update the USN,error reason:", code);
            return false;
        }
        return true;
    });
}

}  // namespace tavi::db
