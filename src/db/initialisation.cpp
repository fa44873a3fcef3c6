// The database file's life: directory, file, tables, columns that older versions lack, and the end of it.
#include <algorithm>
#include <string>

#include "db/connection.h"
#include "db/database_folder.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"
#include "imports/exception_edge.h"
#include "imports/file_helper.h"
#include "util/retry.h"

namespace tavi::db {
namespace {

constexpr int kCreateFlags = kSqliteOpenReadWrite | kSqliteOpenCreate | kSqliteOpenNoMutex;
constexpr int kDeleteRetries = 3;
constexpr std::uint32_t kDeletePauseMs = 1000;
constexpr int kExists = 0;  // what Waccess is asked for

constexpr const char* kSwitchToWal = "PRAGMA journal_mode=WAL;";

// The connection that creates the file; closed without a word, unlike the operator's others.
class CreatingConnection {
public:
    explicit CreatingConnection(platform::Sqlite& sqlite) : sqlite_(sqlite) {}
    ~CreatingConnection() {
        if (handle_ == nullptr) {
            return;
        }
        Drive::EndExceptions([this] { sqlite_.CloseV2(handle_); });
    }
    CreatingConnection(const CreatingConnection&) = delete;
    CreatingConnection& operator=(const CreatingConnection&) = delete;

    sqlite3*& out() { return handle_; }
    sqlite3* get() const { return handle_; }

private:
    platform::Sqlite& sqlite_;
    sqlite3* handle_ = nullptr;
};

}  // namespace

bool SqLite3Operator::InitSqLiteDb(const std::u16string& path) {
    DatabaseFolder folder(platform_);
    const bool prepared = Prepare(path, folder);
    if (!prepared) {
        databasePath_.clear();  // neither this database nor the one before is used from now on
    }
    return prepared;
}

// Leaves the path set when something fails after the check of its form: what is to be deleted need not be usable.
bool SqLite3Operator::Prepare(const std::u16string& path, DatabaseFolder& folder) {
    constexpr const char* kFunction = "InitSqLiteDb";
    databasePath_.clear();
    return Guarded([&] {
        std::u16string plain = path;
        std::ranges::replace(plain, u'/', u'\\');
        if (!IsOnDriveOrShare(plain)) {
            LogError(kFunction, "The database directory is incorrect");
            return folder.Refuse();
        }
        databasePath_ = FileHepler::FormatLongFileName(path);
        const std::u16string directory = databasePath_.substr(0, databasePath_.rfind(u'\\') + 1);
        if (platform_.paths.Waccess(directory, kExists) != 0 && platform_.paths.SHCreateDirectoryExW(directory) != 0) {
            LogError(kFunction, "Failed to create the database directory");
            return false;
        }
        if (!folder.Hold(directory) || !folder.HasOnlyPlainFiles(databasePath_)) {
            LogError(kFunction, "The database directory is incorrect");
            return false;
        }
        return PrepareFile();
    });
}

bool SqLite3Operator::PrepareFile() {
    constexpr const char* kFunction = "InitSqLiteDb";
    if (platform_.paths.Waccess(databasePath_, kExists) == 0) {
        SwitchToWal();
    } else if (!CreateDb()) {
        LogError(kFunction, "Failed to create the database");
        return false;
    }
    if (!CreateTables()) {
        LogError(kFunction, "Failed to create the database table");
        return false;
    }
    if (!CheckColumnExists()) {
        LogError(kFunction, "CheckColumnExists Fail");
        return false;
    }
    if (!CheckColumnExistsOldFrn()) {
        LogError(kFunction, "CheckColumnExistsOldFrn Fail");
        return false;
    }
    return true;
}

bool SqLite3Operator::CreateDb() {
    constexpr const char* kFunction = "CreateDb";
    return Guarded([&] {
        CreatingConnection connection(platform_.sqlite);
        if (Open(connection.out(), kCreateFlags) != kSqliteOk) {
            LogError(kFunction, "Failed to create the database,errorReason is ",
                     platform_.sqlite.Errcode(connection.get()));
            return false;
        }
        Harden(connection.get());
        char* errorMessage = nullptr;
        const int result = platform_.sqlite.Exec(connection.get(), kSwitchToWal, &errorMessage);
        const int reason = result == kSqliteOk ? kSqliteOk : platform_.sqlite.Errcode(connection.get());
        platform_.sqlite.Free(errorMessage);
        if (result != kSqliteOk) {
            // Not a reason to give up: a database with a rollback journal works too, only its readers wait.
            LogError(kFunction, "Failed to start the WAL mode,errorReason is ", reason);
        }
        return true;
    });
}

// A database whose maker died, or was refused, before it came to WAL mode. Looked at first: the switch needs the file
// for itself, and nearly always there is nothing to switch. When it cannot be looked at, the next statement says why.
void SqLite3Operator::SwitchToWal() {
    Guarded([&] {
        Connection connection(*this);
        Statement statement(platform_);
        if (!connection.Open() || statement.Prepare(connection.handle(), "PRAGMA journal_mode;") != kSqliteOk ||
            statement.StepOnce() != kSqliteRow || statement.ColumnText(0) == u"wal") {
            return true;
        }
        return ExecuteOnOwnConnection(kSwitchToWal);
    });
}

bool SqLite3Operator::CreateTables() {
    return Guarded([&] {
        return ExecuteOnOwnConnection(statements_[SqlText::kCreateUser] + statements_[SqlText::kCreateDelayRecord] +
                                      statements_[SqlText::kCreateFileChangeRecord] +
                                      statements_[SqlText::kCreateTemporaryFile] +
                                      statements_[SqlText::kCreatePathMapping]);
    });
}

bool SqLite3Operator::DropTables() {
    return Guarded([&] {
        return ExecuteOnOwnConnection(statements_[SqlText::kDropFileChangeRecord] +
                                      statements_[SqlText::kDropTemporaryFile] +
                                      statements_[SqlText::kDropDelayRecord] + statements_[SqlText::kDropUser] +
                                      statements_[SqlText::kDropPathMapping]);
    });
}

bool SqLite3Operator::AlterUnlessFound(const char* function, const char* query, const std::string& alteration) {
    return Guarded([&] {
        Connection connection(*this);
        if (!connection.OpenReadOnly()) {
            return false;
        }
        Statement statement(platform_);
        if (statement.Prepare(connection.handle(), query) != kSqliteOk) {
            LogError(function, "Failed");
            return false;
        }
        if (statement.StepOnce() != kSqliteRow) {
            AlterInOneTransaction(alteration);
        }
        return true;
    });
}

// All of it or nothing: the next look would take the first half for the whole, and every save would fail for ever. Its
// failure shows in the log; the first statement that needs a column fails.
void SqLite3Operator::AlterInOneTransaction(const std::string& alteration) {
    Connection connection(*this);
    if (!connection.Open() || !BeginDbTransaction(connection.handle())) {
        return;
    }
    if (!ExecuteSQLThatIsNotQuery(connection.handle(), alteration) || !CommitDbTransaction(connection.handle())) {
        RollbackDbTransaction(connection.handle());
    }
}

// Databases of the first version have neither column, and were always changed together: one look is enough for both.
bool SqLite3Operator::CheckColumnExists() {
    return AlterUnlessFound(
        "CheckColumnExists", "select * from sqlite_master where name = 'delayRecord' and sql like '%frn%'",
        statements_[SqlText::kAddFrnToDelayRecord] + statements_[SqlText::kAddFrnToFileChangeRecord]);
}

bool SqLite3Operator::CheckColumnExistsOldFrn() {
    return AlterUnlessFound("CheckColumnExistsOldFrn",
                            "select * from sqlite_master where name = 'fileChangeRecord' and sql like '%oldfrn%'",
                            statements_[SqlText::kAddOldFrnToFileChangeRecord]);
}

bool SqLite3Operator::DropTablesAndDb(platform::Platform& platform, const std::u16string& path) {
    Guarded([&] {
        SqLite3Operator database(platform);
        DatabaseFolder folder(platform);
        database.Prepare(path, folder);
        if (!folder.refused() && !database.databasePath_.empty()) {
            database.DropTables();
            database.DeleteFiles();
        }
        return true;
    });
    return true;
}

void SqLite3Operator::DeleteFiles() {
    std::uint32_t reason = platform::kErrorSuccess;
    const bool deleted = util::TryWithRetries(
        kDeleteRetries,
        [&] {
            const bool done = platform_.paths.DeleteFileW(databasePath_);
            reason = done ? platform::kErrorSuccess : platform_.errors.GetLastError();
            return done;
        },
        [](bool done) { return !done; }, [&] { platform_.threads.Sleep(kDeletePauseMs); });
    if (!deleted) {
        LogError("DropTablesAndDb", "Failed to delete the database file, error code is " + std::to_string(reason));
    }
    platform_.paths.DeleteFileW(databasePath_ + u"-wal");
    platform_.paths.DeleteFileW(databasePath_ + u"-shm");
}

}  // namespace tavi::db
