// The database file's life: directory, file, tables, columns that older versions lack, and the end of it.
#include "db/connection.h"
#include "db/database_folder.h"
#include "db/operation_guard.h"
#include "db/sqlite3_operator.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"
#include "imports/exception_edge.h"
#include "imports/file_helper.h"
#include "imports/type_convert.h"

namespace tavi::db {
namespace {

constexpr int kCreateFlags = kSqliteOpenReadWrite | kSqliteOpenCreate | kSqliteOpenNoMutex;
constexpr int kDeleteRetries = 3;
constexpr std::uint32_t kDeletePauseMs = 1000;

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

    sqlite3** out() { return &handle_; }
    sqlite3* get() const { return handle_; }

private:
    platform::Sqlite& sqlite_;
    sqlite3* handle_ = nullptr;
};

}  // namespace

bool SqLite3Operator::InitSqLiteDb(const std::u16string& path) {
    DatabaseFolder folder(platform_);
    return Prepare(path, folder);
}

bool SqLite3Operator::Prepare(const std::u16string& path, DatabaseFolder& folder) {
    constexpr const char* kFunction = "InitSqLiteDb";
    return Guarded([&] {
        databasePath_.clear();  // whatever happens, nothing goes to the database before
        databasePath_ = FileHepler::FormatLongFileName(path);
        const std::size_t lastBackslash = databasePath_.rfind(u'\\');
        if (lastBackslash == std::u16string::npos) {
            LogError(kFunction, "The database directory is incorrect");
            return false;
        }
        const std::u16string directory = databasePath_.substr(0, lastBackslash + 1);
        if (platform_.files.Waccess(directory, 0) != 0 && platform_.files.SHCreateDirectoryExW(directory) != 0) {
            LogError(kFunction, "Failed to create the database directory");
            return false;
        }
        if (!folder.Hold(directory) || !folder.HasOnlyPlainFiles(databasePath_)) {
            databasePath_.clear();  // nothing is to be read or written through it later
            LogError(kFunction, "The database directory is incorrect");
            return false;
        }
        if (platform_.files.Waccess(databasePath_, 0) != 0 && !CreateDb()) {
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
    });
}

bool SqLite3Operator::CreateDb() {
    constexpr const char* kFunction = "CreateDb";
    return Guarded([&] {
        CreatingConnection connection(platform_.sqlite);
        const std::string path = TypeConvert::UnicodeToUTF8(databasePath_);
        if (platform_.sqlite.OpenV2(path, connection.out(), kCreateFlags) != kSqliteOk) {
            LogError(kFunction, "Failed to create the database,errorReason is ",
                     platform_.sqlite.Errcode(connection.get()));
            return false;
        }
        Harden(connection.get());
        char* errorMessage = nullptr;
        const int result = platform_.sqlite.Exec(connection.get(), "PRAGMA journal_mode=WAL;", &errorMessage);
        const int reason = result == kSqliteOk ? kSqliteOk : platform_.sqlite.Errcode(connection.get());
        platform_.sqlite.Free(errorMessage);
        if (result != kSqliteOk) {
            // Not a reason to give up: a database with a rollback journal works too, only its readers wait.
            LogError(kFunction, "Failed to start the WAL mode,errorReason is ", reason);
        }
        return true;
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
            ExecuteOnOwnConnection(
                alteration);  // its failure shows in the log; the first statement that needs a column fails
        }
        return true;
    });
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
        if (!folder.refused()) {
            database.DropTables();
            database.DeleteFiles();
        }
        return true;
    });
    return true;
}

void SqLite3Operator::DeleteFiles() {
    bool deleted = platform_.files.DeleteFileW(databasePath_);
    std::uint32_t reason = deleted ? platform::kErrorSuccess : platform_.errors.GetLastError();
    for (int retry = 0; !deleted && retry < kDeleteRetries; ++retry) {
        platform_.threads.Sleep(kDeletePauseMs);
        deleted = platform_.files.DeleteFileW(databasePath_);
        reason = deleted ? platform::kErrorSuccess : platform_.errors.GetLastError();
    }
    if (!deleted) {
        LogError("DropTablesAndDb", "Failed to delete the database file, error code is " + std::to_string(reason));
    }
    platform_.files.DeleteFileW(databasePath_ + u"-wal");
    platform_.files.DeleteFileW(databasePath_ + u"-shm");
}

}  // namespace tavi::db
