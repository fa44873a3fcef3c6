// The connection layer: opening, closing, transactions, and running texts that are no queries.
#include <array>
#include <cstdint>
#include <utility>

#include "db/connection.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"
#include "imports/random_wait.h"
#include "imports/type_convert.h"
#include "util/retry.h"

namespace tavi::db {
namespace {

constexpr int kOpenFlags = kSqliteOpenReadWrite | kSqliteOpenNoMutex;
constexpr int kOpenReadOnlyFlags = kSqliteOpenReadOnly | kSqliteOpenNoMutex;

}  // namespace

int BusyRetryHandler(void* context, int count) {
    const bool waited = Drive::EndExceptions([context] {
        platform::Platform& platform = *static_cast<platform::Platform*>(context);
        const std::uint64_t wait = Drive::GetRandWaitTime(platform.clock);
        if (wait > 0) {
            platform.threads.Sleep(static_cast<std::uint32_t>(wait));
        }
    });
    return waited && count < kBusyRetryLimit ? 1 : 0;
}

SqLite3Operator::SqLite3Operator(platform::Platform& platform) : platform_(platform) {}

void SqLite3Operator::ConfigureLibrary(platform::Sqlite& sqlite) {
    sqlite.Config(kSqliteConfigMemStatus, 0);
}

// A super-journal belongs to a transaction over several attached databases, which nobody here makes. Only a rollback
// journal that somebody put beside the database can name one, and SQLite would delete the file of that name once the
// journal is played back. It opens the file first, for this purpose and no other, and stops there when it cannot. While
// that cannot be arranged, no connection is opened.
int SqLite3Operator::Open(sqlite3*& handle, int flags) {
    const std::string path = TypeConvert::UnicodeToUTF8(databasePath_);
    const int refused = platform_.sqlite.RegisterVfsRefusing(kSqliteOpenSuperJournal);
    return refused != kSqliteOk ? refused : platform_.sqlite.OpenV2(path, &handle, flags);
}

// The file lies in a folder that others may write to, so a connection does not trust what the file says: its schema may
// not call functions with side effects, its triggers and views (the service has none) do not run, its internal pages
// are not to be written by statements, and nothing can load an extension. An option that the library refuses, because
// it is older than the option, leaves the connection as usable as before.
void SqLite3Operator::Harden(sqlite3* handle) {
    constexpr std::array<std::pair<int, int>, 5> kSettings{{{kSqliteDbConfigDefensive, 1},
                                                            {kSqliteDbConfigTrustedSchema, 0},
                                                            {kSqliteDbConfigEnableTrigger, 0},
                                                            {kSqliteDbConfigEnableView, 0},
                                                            {kSqliteDbConfigEnableLoadExtension, 0}}};
    for (const auto& [option, value] : kSettings) {
        platform_.sqlite.DbConfig(handle, option, value);
    }
}

bool SqLite3Operator::OpenDb(sqlite3*& handle) {
    handle = nullptr;
    const bool opened =
        Guarded("OpenDb", {"Failed to open the database", "Failed to open the database: exception"}, [&] {
            if (Open(handle, kOpenFlags) != kSqliteOk) {
                LogError("OpenDb", "Failed to open the database,error reason:", platform_.sqlite.Errcode(handle));
                return false;
            }
            if (platform_.sqlite.BusyHandler(handle, BusyRetryHandler, &platform_) != kSqliteOk) {
                LogError("OpenDb", "Failed to set busy_handle,error reason:", platform_.sqlite.Errcode(handle));
            }
            Harden(handle);
            return true;
        });
    if (!opened) {
        CloseDb(handle);
        handle = nullptr;
    }
    return opened;
}

bool SqLite3Operator::OpenDbReadOnly(sqlite3*& handle) {
    handle = nullptr;
    const bool opened = Guarded([&] {
        int result = Open(handle, kOpenReadOnlyFlags);
        if (result != kSqliteOk) {
            LogError("OpenDbReadOnly", "Failed to open the read-only database,error reason:", result);
            return false;
        }
        result = platform_.sqlite.BusyHandler(handle, BusyRetryHandler, &platform_);
        if (result != kSqliteOk) {
            LogError("OpenDbReadOnly", "Set busy handler error,error reason:", result);
        }
        Harden(handle);
        return true;
    });
    if (!opened) {  // SQLite hands out a handle even when it could not open the file
        CloseDb(handle);
        handle = nullptr;
    }
    return opened;
}

// The log is opened by the first read: opening a connection does not touch the file yet.
bool SqLite3Operator::OpenStandby(sqlite3*& handle) {
    handle = nullptr;
    const bool opened = Guarded([&] {
        if (Open(handle, kOpenFlags) != kSqliteOk) {
            return false;
        }
        platform_.sqlite.BusyHandler(handle, BusyRetryHandler, &platform_);
        Harden(handle);
        return platform_.sqlite.Exec(handle, "PRAGMA schema_version;", nullptr) == kSqliteOk;
    });
    if (!opened) {
        CloseDb(handle);
        handle = nullptr;
    }
    return opened;
}

bool SqLite3Operator::CloseDb(sqlite3*& handle) {
    return Guarded([&] {
        if (handle == nullptr || platform_.sqlite.CloseV2(handle) == kSqliteOk) {
            return true;
        }
        LogError("CloseDb", "Failed to close the database,error reason:", platform_.sqlite.Errcode(handle));
        return false;
    });
}

bool SqLite3Operator::RunTransactionText(sqlite3* handle, const char* sql, const char* function, const char* failure) {
    return Guarded([&] {
        if (platform_.sqlite.Exec(handle, sql, nullptr) == kSqliteOk) {
            return true;
        }
        LogError(function, failure, platform_.sqlite.Errcode(handle));
        return false;
    });
}

bool SqLite3Operator::BeginDbTransaction(sqlite3* handle) {
    return RunTransactionText(handle, "begin transaction;", "BeginDbTransaction",
                              "Failed to start the transaction,error reason:");
}

bool SqLite3Operator::CommitDbTransaction(sqlite3* handle) {
    return RunTransactionText(handle, "commit transaction;", "CommitDbTransaction",
                              "Failed to commit the transaction,error reason:");
}

bool SqLite3Operator::RollbackDbTransaction(sqlite3* handle) {
    return RunTransactionText(handle, "rollback;", "RollbackDbTransaction",
                              "Failed to roll back the transaction,error reason:");
}

bool SqLite3Operator::ExecuteSQLThatIsNotQuery(sqlite3* handle, const std::string& sql) {
    constexpr const char* kFunction = "ExecuteSQLThatIsNotQuery";
    return Guarded([&] {
        if (handle == nullptr || sql.empty()) {
            Drive::kDeviatingSqLite3OperatorLog.Error(kFunction, "db is nullptr or sqlCmd is empty");
            return false;
        }
        // With an error SQLite may end the caller's transaction. Tried again, the text would be on its own, and so
        // would everything that the caller does after it.
        const bool inTransaction = platform_.sqlite.GetAutocommit(handle) == 0;
        const auto hasLostItsTransaction = [&] { return inTransaction && platform_.sqlite.GetAutocommit(handle) != 0; };
        // After a busy attempt an I/O error is worth a retry too: it can be the locking's own.
        bool wasBusy = false;
        const int result = util::TryWithRetries(
            kBusyRetries, [&] { return platform_.sqlite.Exec(handle, sql.c_str(), nullptr); },
            [&](int code) {
                wasBusy = wasBusy || code == kSqliteBusy;
                return wasBusy && (code == kSqliteBusy || code == kSqliteIoErr) && !hasLostItsTransaction();
            },
            [&] { platform_.threads.Sleep(kBusyRetryPauseMs); });
        if (result == kSqliteOk) {
            return true;
        }
        Drive::kDeviatingSqLite3OperatorLog.Error(kFunction, "ExecuteSQLThatIsNotQuery failed,error code is ", result);
        return false;
    });
}

bool SqLite3Operator::ExecuteOnOwnConnection(const std::string& sql) {
    Connection connection(*this);
    return connection.Open() && ExecuteSQLThatIsNotQuery(connection.handle(), sql);
}

}  // namespace tavi::db
