// The one way to the per-user database. Every operation opens its own connection, does its work and closes it again, so
// an operator can be used from any thread; a connection stays on the thread that opened it. Failures are logged here
// and reported as false; nothing is thrown. Path: set by InitSqLiteDb, which must not run while another operation does
// (the start handler ends the listen thread first).
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
    std::int64_t usnLocation = 0;           // the next USN to read
    std::uint32_t recordSplitInterval = 0;  // seconds; not stored
};

struct UserQueryResult {
    bool ok = true;
    UserRecord record;  // an empty userId says that the user is unknown
};

// One directory of the path mapping.
struct PathMappingEntry {
    std::uint64_t fileReferenceNumber = 0;
    std::uint64_t parentFileReferenceNumber = 0;
    bool deleted = false;
    std::u16string fileName;  // the directory's own name, without separators

    friend bool operator==(const PathMappingEntry&, const PathMappingEntry&) = default;
};

class DatabaseFolder;

class SqLite3Operator {
public:
    explicit SqLite3Operator(platform::Platform& platform);

    bool InitSqLiteDb(const std::u16string& path);
    bool CreateDb();
    bool OpenDb(sqlite3*& handle);
    bool OpenDbReadOnly(sqlite3*& handle);
    bool CloseDb(sqlite3*& handle);
    bool BeginDbTransaction(sqlite3* handle);
    bool CommitDbTransaction(sqlite3* handle);
    bool RollbackDbTransaction(sqlite3* handle);
    bool ExecuteSQLThatIsNotQuery(sqlite3* handle, const std::string& sql);
    // Opens a connection for the text, executes it, and closes the connection.
    bool ExecuteOnOwnConnection(const std::string& sql);
    static bool DropTablesAndDb(platform::Platform& platform, const std::u16string& path);
    bool CreateTables();
    bool DropTables();
    bool CheckColumnExists();
    bool CheckColumnExistsOldFrn();

    UserQueryResult SelectUserTableByUserId(const std::u16string& userId);
    bool InsertUserTable(const UserRecord& record);
    bool UpdateUserTable(const UserRecord& record);
    bool InsertDelayRecordTable(sqlite3* handle, const std::vector<records::DelayRecord>& list);
    bool InsertFileChangeRecordTable(sqlite3* handle, const records::FileChangeInfoList& list);
    bool UpdateUSNOfUserTableSql(sqlite3* handle, std::int64_t usn, const std::u16string& userId);
    bool InsertTemporaryFileTableSql(sqlite3* handle, const records::TemporaryFileList& list);
    bool SelectAllDataFromDelayRecordTable(std::vector<records::DelayRecord>& list);
    bool InsertPathMappingTable(const std::vector<PathMappingEntry>& list);
    bool SelectPathMappingTable(std::vector<PathMappingEntry>& list);
    bool SaveCycleResults(const std::vector<records::DelayRecord>& delayRecords,
                          const records::FileChangeInfoList& changes, const records::TemporaryFileList& temporaryFiles,
                          std::int64_t usn, const std::u16string& userId);
    bool ClearRecordTables();

    const StatementTexts& statements() const { return statements_; }
    const std::u16string& databasePath() const { return databasePath_; }

private:
    bool Prepare(const std::u16string& path, DatabaseFolder& folder);
    void Harden(sqlite3* handle);
    bool RunTransactionText(sqlite3* handle, const char* sql, const char* function, const char* failure);
    bool AlterUnlessFound(const char* function, const char* query, const std::string& alteration);
    void DeleteFiles();
    bool InsertPathMappingEntries(sqlite3* handle, const std::vector<PathMappingEntry>& list);
    bool UseLargePageCache(sqlite3* handle);

    platform::Platform& platform_;
    std::u16string databasePath_;
    StatementTexts statements_;
};

}  // namespace tavi::db
