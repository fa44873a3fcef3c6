// The one way to a user's database file: preparing it, every statement that runs in it, and deleting it.
//
// Ownership: the operator keeps the file's path and the texts of the statements, and no connection. An operation that
// takes no handle opens a connection of its own and closes it before it returns, on every way out. A handle that OpenDb
// or OpenDbReadOnly gave belongs to the caller, who gives it to CloseDb; the operations that take one only use it.
//
// Threads: any thread may call any operation, several at once, except that nothing else may run while InitSqLiteDb
// does, which sets the path that all others read: the start handler ends the listen thread first. A handle stays on the
// thread that opened it (SQLite's own mutex is off).
//
// Failure: one or more lines in the error log and false. Nothing is thrown. Codes in the log are SQLite's result codes.
//
// Waiting: a lock that somebody else holds is waited for inside each call of SQLite (BusyRetryHandler: up to 100 times
// 10 to 100 ms), and statements that are prepared, stepped or run by ExecuteSQLThatIsNotQuery have 5 retries a second
// apart beyond that. Begin, commit and rollback have none. An operation may therefore take more than half a minute.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "db/statements.h"
#include "platform/platform.h"
#include "records/model/change_record.h"

namespace tavi::db {

// The user row, which is also the listening task's record.
struct UserRecord {
    std::u16string userId;
    std::u16string listenPath;
    platform::Usn usnLocation = 0;          // the next position to read
    std::uint32_t recordSplitInterval = 0;  // seconds; not stored
};

struct UserQueryResult {
    bool ok = true;     // false: it is not known whether there is such a user
    UserRecord record;  // an empty userId says that the user is unknown; always so when ok is false
};

// One directory of the path mapping.
struct PathMappingEntry {
    platform::FileReferenceNumber fileReferenceNumber = 0;
    platform::FileReferenceNumber parentFileReferenceNumber = 0;
    bool deleted = false;
    std::u16string fileName;  // the directory's own name, without separators

    friend bool operator==(const PathMappingEntry&, const PathMappingEntry&) = default;
};

// The callback of sqlite3_busy_handler, for every connection: called on the connection's thread, inside a step or an
// execution, when another connection holds the lock that this one needs. Waits a random time and returns 1 (try again)
// while `count`, the calls made before for the same lock, is below kBusyRetryLimit; then 0, and the caller gets
// SQLITE_BUSY. `context` is the platform::Platform, which outlives every connection. 0 when the wait failed: nothing
// may be thrown through SQLite's C code.
int BusyRetryHandler(void* context, int count);

inline constexpr int kBusyRetryLimit = 100;

class DatabaseFolder;

class SqLite3Operator {
public:
    // Fills the statements' texts. The path is empty, so that no operation finds a database before InitSqLiteDb.
    explicit SqLite3Operator(platform::Platform& platform);

    // What is set once for SQLite in the whole process, by the composition root before the first connection: no
    // bookkeeping of memory use, which nobody reads and which costs large transactions an eighth of their time. A
    // refusal changes nothing else and is not reported.
    static void ConfigureLibrary(platform::Sqlite& sqlite);

    // --- The file's life ---

    // Makes the database at this path the operator's: creates what is missing of folder, file, tables and columns, and
    // switches a file that is not in WAL mode to it. Existing rows stay. `path` must lead to a drive or a share;
    // anything else, and a folder or file that is a link, is refused before anything is created or opened. While it
    // runs, the folder is held so that nobody can exchange it. False: databasePath() is empty, so that nothing is read
    // or written until an initialisation succeeds, neither there nor in the database before; what was created until
    // then stays. A migration or a switch that fails is logged and is no failure: the next initialisation tries again.
    bool InitSqLiteDb(const std::u16string& path);
    // Creates the file at databasePath(), when there is none, and switches it to WAL mode. True as well when only the
    // switch failed. Part of InitSqLiteDb.
    bool CreateDb();
    // Creates those of the five tables that are missing, in one batch; the others keep rows and columns. False: those
    // before the statement that failed exist.
    bool CreateTables();
    // Drops the five tables in one batch. False: those before the first that was missing or could not be dropped are
    // gone, those after it are not.
    bool DropTables();
    // Adds the columns `frn` to delayRecord and fileChangeRecord, both or neither, when delayRecord has none: databases
    // of the first version have neither. False only when it could not be found out; a failed change is logged and is
    // no failure, because the first statement that needs the columns fails.
    bool CheckColumnExists();
    // The same for fileChangeRecord's column `oldfrn`.
    bool CheckColumnExistsOldFrn();
    // Drops the tables of the database at `path` and deletes the file with its "-wal" and "-shm", for uninstallation;
    // a missing file is created first. Always true: what could not be deleted is logged. A path that InitSqLiteDb
    // refuses is left alone. No other operator may use that database.
    static bool DropTablesAndDb(platform::Platform& platform, const std::u16string& path);

    // --- Connections and transactions ---

    // Opens databasePath() for reading and writing, with the busy handler and distrust of what the file says. True:
    // `handle` is open and the caller's to close. False: it is null and there is nothing to close. True as well when
    // the busy handler or a setting was refused. Does not create the file.
    bool OpenDb(sqlite3*& handle);
    // The same for reading only.
    bool OpenDbReadOnly(sqlite3*& handle);
    // Opens a connection for reading and writing that has the log open, and logs nothing: for StandbyConnection, which
    // says what for. False: `handle` is null and there is nothing to close.
    bool OpenStandby(sqlite3*& handle);
    // Closes the handle; statements on it must be finalized first. A null handle is success. The variable keeps its
    // value and must not be used again, whatever the result.
    bool CloseDb(sqlite3*& handle);
    // Begins a transaction on the handle. It takes no lock yet: its first statement does. False: none has begun.
    bool BeginDbTransaction(sqlite3* handle);
    // True: everything since the beginning is on the disk (synchronous is FULL). False: it is not, and the transaction
    // is still open, to be committed again or rolled back, unless SQLite has ended it by itself.
    bool CommitDbTransaction(sqlite3* handle);
    // Takes everything since the beginning back. False: there was none any more, in practice; nothing of it stays.
    bool RollbackDbTransaction(sqlite3* handle);
    // Runs one or more statements and ignores their rows. Outside a transaction each statement is one of its own:
    // false says that the first one that failed and those after it had no effect, while those before it stay. Within
    // one, the caller rolls back. After a busy attempt the whole text runs again, so it must bear that; it is not run
    // again once SQLite has ended the caller's transaction. A null handle or an empty text is a failure.
    bool ExecuteSQLThatIsNotQuery(sqlite3* handle, const std::string& sql);
    // The same on a connection of its own.
    bool ExecuteOnOwnConnection(const std::string& sql);

    // --- The user table ---

    // One row or none. A row with a null where the schema allows none, and every error while reading, is a failed
    // query; a read that stays busy through all retries finds nobody, by rule.
    UserQueryResult SelectUserTableByUserId(const std::u16string& userId);
    // False when the user is known already; his row then stays as it is.
    bool InsertUserTable(const UserRecord& record);
    // Stores folder and position. True as well when there is no such user: nothing is stored then.
    bool UpdateUserTable(const UserRecord& record);
    // Stores the position, on the caller's connection. True as well when there is no such user.
    bool UpdateUSNOfUserTableSql(sqlite3* handle, platform::Usn usn, const std::u16string& userId);

    // --- The tables that a cycle fills. On the caller's connection; an empty list touches nothing. False: the elements
    //     before the one that failed are written, so the caller rolls back. ---

    bool InsertDelayRecordTable(sqlite3* handle, const std::vector<records::DelayRecord>& list);
    // A change of the same path, previous path and reason moves that row to the end of the ids and keeps its oldfrn.
    bool InsertFileChangeRecordTable(sqlite3* handle, const records::FileChangeInfoList& list);
    // A file of the same path replaces that row.
    bool InsertTemporaryFileTableSql(sqlite3* handle, const records::TemporaryFileList& list);
    // Appends every row to `list`, in the order of the ids as a rule; time stamps come back with their low 32 bits.
    // False: what was read until then has been appended and is not the whole.
    bool SelectAllDataFromDelayRecordTable(std::vector<records::DelayRecord>& list);
    // Stores a cycle's result in one transaction: replaces the held-back records, adds changes and temporary files and
    // sets the position. True: all of it is on the disk. False: nothing of it is in the database, and the same call may
    // be made again.
    bool SaveCycleResults(const std::vector<records::DelayRecord>& delayRecords,
                          const records::FileChangeInfoList& changes, const records::TemporaryFileList& temporaryFiles,
                          platform::Usn usn, const std::u16string& userId);
    // Empties all tables but user, one statement after the other. False: those before the one that failed are empty.
    bool ClearRecordTables();

    // --- The path mapping ---

    // Stores the entries in one transaction of its own; an entry of the same directory replaces that row. An entry that
    // cannot be stored is logged and costs only itself, and a begin or commit that fails is logged only: a directory
    // that is missing is looked up again. False only when nothing could be tried. An empty list touches nothing.
    bool InsertPathMappingTable(const std::vector<PathMappingEntry>& list);
    // Appends every row to `list`, column by column in the order that has always been read (path_mapping_table.cpp).
    // False: what was read until then has been appended and is not the whole.
    bool SelectPathMappingTable(std::vector<PathMappingEntry>& list);

    const StatementTexts& statements() const { return statements_; }
    // Empty before the first initialisation and after one that failed.
    const std::u16string& databasePath() const { return databasePath_; }

private:
    bool Prepare(const std::u16string& path, DatabaseFolder& folder);
    bool PrepareFile();
    void SwitchToWal();
    int Open(sqlite3*& handle, int flags);
    void Harden(sqlite3* handle);
    bool RunTransactionText(sqlite3* handle, const char* sql, const char* function, const char* failure);
    bool AlterUnlessFound(const char* function, const char* query, const std::string& alteration);
    void AlterInOneTransaction(const std::string& alteration);
    void DeleteFiles();
    bool InsertPathMappingEntries(sqlite3* handle, const std::vector<PathMappingEntry>& list);
    void FitForLargeTransactions(sqlite3* handle);

    platform::Platform& platform_;
    std::u16string databasePath_;
    StatementTexts statements_;
};

}  // namespace tavi::db
