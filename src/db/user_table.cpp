// The user table: one row per account, with its folder and how far its journal has been read.
#include <utility>

#include "db/connection.h"
#include "db/sqlite3_operator.h"
#include "db/statement_runner.h"

namespace tavi::db {
namespace {

constexpr OperationTexts kSelect{"SelectUserTableByUserId",
                                 "Failed to create the stmt object,error reason:",
                                 "",
                                 {"Failed to read user table", "Failed to read user table: exception"}};
constexpr OperationTexts kInsert{
    "InsertUserTable", "Failed to create the stmt object", "Failed to execute the insertion statement function", {}};
constexpr OperationTexts kUpdate{
    "UpdateUserTable", "Failed to create the stmt object", "Failed to execute the SQL statement", {}};
constexpr OperationTexts kUpdateUsn{"UpdateUSNOfUserTableSql",
                                    "Failed to create the stmt object,error reason:",
                                    "Failed to update the USN,error reason:",
                                    {"Failed to update the USN", "Failed to update the USN: exception"}};

UserRecord ReadUser(Statement& statement) {
    UserRecord record;
    auto& [userId, listenPath, usnLocation, recordSplitInterval] = record;  // the last: not stored
    userId = statement.ColumnText(0);
    listenPath = statement.ColumnText(1);
    usnLocation = statement.ColumnInt64(2);
    return record;
}

}  // namespace

UserQueryResult SqLite3Operator::SelectUserTableByUserId(const std::u16string& userId) {
    UserQueryResult result;
    result.ok = Guarded(kSelect.function, kSelect.exceptions, [&] {
        Connection connection(*this);
        StatementRunner runner(platform_, kSelect);
        if (!connection.OpenReadOnly() || !runner.Prepare(connection.handle(), statements_[SqlText::kSelectUser])) {
            return false;
        }
        Statement& statement = runner.statement();
        // Without its parameter the query would find nobody, and a known user would be taken for a new one.
        if (!runner.Succeeded(statement.Text(1, userId).bindResult(), kSqliteOk, kSelect.prepareFailure)) {
            return false;
        }
        const int code = statement.Step();
        if (code == kSqliteRow) {
            UserRecord record = ReadUser(statement);
            if (statement.textMissing()) {
                return false;  // nobody, or a known user with another folder, would be invented
            }
            result.record = std::move(record);
        }
        // Of a read that failed nobody knows whether the user is a new one, except, by rule, of one that stayed busy.
        return code == kSqliteRow || code == kSqliteDone || code == kSqliteBusy;
    });
    return result;
}

bool SqLite3Operator::InsertUserTable(const UserRecord& record) {
    return Guarded(kInsert.function, kInsert.exceptions, [&] {
        Connection connection(*this);
        StatementRunner runner(platform_, kInsert);
        return connection.Open() && runner.Prepare(connection.handle(), statements_[SqlText::kInsertUser]) &&
               runner.Run([&](Statement& statement) {
                   const auto& [userId, listenPath, usnLocation, recordSplitInterval] = record;  // the last: not stored
                   statement.Text(1, userId).Text(2, listenPath).Int64(3, usnLocation);
               });
    });
}

bool SqLite3Operator::UpdateUserTable(const UserRecord& record) {
    return Guarded(kUpdate.function, kUpdate.exceptions, [&] {
        Connection connection(*this);
        StatementRunner runner(platform_, kUpdate);
        return connection.Open() && runner.Prepare(connection.handle(), statements_[SqlText::kUpdateUser]) &&
               runner.Run([&](Statement& statement) {
                   const auto& [userId, listenPath, usnLocation, recordSplitInterval] = record;  // the last: not stored
                   statement.Text(1, listenPath).Int64(2, usnLocation).Text(3, userId);
               });
    });
}

bool SqLite3Operator::UpdateUSNOfUserTableSql(sqlite3* handle, platform::Usn usn, const std::u16string& userId) {
    return Guarded(kUpdateUsn.function, kUpdateUsn.exceptions, [&] {
        StatementRunner runner(platform_, kUpdateUsn);
        return runner.Prepare(handle, statements_[SqlText::kUpdateUserUsn]) &&
               runner.Run([&](Statement& statement) { statement.Int64(1, usn).Text(2, userId); });
    });
}

}  // namespace tavi::db
