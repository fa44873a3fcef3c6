#include "platform/native_sqlite.h"

#include <sqlite3.h>

#include <mutex>

namespace tavi::platform {
namespace {

sqlite3_vfs* systemVfs = nullptr;
int refusedFlags = 0;

int OpenUnlessRefused(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    if ((flags & refusedFlags) != 0) {
        file->pMethods = nullptr;  // nothing to close
        return SQLITE_CANTOPEN;
    }
    return systemVfs->xOpen(systemVfs, name, file, flags, outFlags);
}

}  // namespace

int NativeSqlite::Config(int option, int value) {
    return sqlite3_config(option, value);
}

// The registration uses the library, which ends the time for Config.
int NativeSqlite::RegisterVfsRefusing(int openFlags) {
    static std::mutex mutex;
    static sqlite3_vfs vfs;
    static bool registered = false;
    const std::lock_guard lock(mutex);
    if (registered) {
        return SQLITE_OK;
    }
    systemVfs = sqlite3_vfs_find(nullptr);
    if (systemVfs == nullptr) {
        return SQLITE_ERROR;
    }
    refusedFlags = openFlags;
    vfs = *systemVfs;
    vfs.zName = "tavi-refusing";
    vfs.pNext = nullptr;
    vfs.xOpen = OpenUnlessRefused;
    const int result = sqlite3_vfs_register(&vfs, 1);
    registered = result == SQLITE_OK;
    return result;
}

int NativeSqlite::OpenV2(const std::string& utf8Path, sqlite3** database, int flags) {
    return sqlite3_open_v2(utf8Path.c_str(), database, flags, nullptr);
}

int NativeSqlite::CloseV2(sqlite3* database) {
    return sqlite3_close_v2(database);
}

int NativeSqlite::Errcode(sqlite3* database) {
    return sqlite3_errcode(database);
}

int NativeSqlite::Exec(sqlite3* database, const char* sql, char** errorMessage) {
    return sqlite3_exec(database, sql, nullptr, nullptr, errorMessage);
}

void NativeSqlite::Free(void* memory) {
    sqlite3_free(memory);
}

int NativeSqlite::BusyHandler(sqlite3* database, BusyHandlerFunction handler, void* context) {
    return sqlite3_busy_handler(database, handler, context);
}

int NativeSqlite::DbConfig(sqlite3* database, int option, int value) {
    int now = 0;  // the option's value after the call; the result code says whether it was taken
    return sqlite3_db_config(database, option, value, &now);
}

int NativeSqlite::GetAutocommit(sqlite3* database) {
    return sqlite3_get_autocommit(database);
}

int NativeSqlite::PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) {
    return sqlite3_prepare_v2(database, sql, bytes, statement, nullptr);
}

int NativeSqlite::BindText16(sqlite3_stmt* statement, int index, const char16_t* text) {
    return sqlite3_bind_text16(statement, index, text, -1, nullptr);  // null destructor: SQLITE_STATIC
}

int NativeSqlite::BindInt(sqlite3_stmt* statement, int index, std::int32_t value) {
    return sqlite3_bind_int(statement, index, value);
}

int NativeSqlite::BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) {
    return sqlite3_bind_int64(statement, index, value);
}

int NativeSqlite::Step(sqlite3_stmt* statement) {
    return sqlite3_step(statement);
}

int NativeSqlite::Reset(sqlite3_stmt* statement) {
    return sqlite3_reset(statement);
}

int NativeSqlite::Finalize(sqlite3_stmt* statement) {
    return sqlite3_finalize(statement);
}

const char16_t* NativeSqlite::ColumnText16(sqlite3_stmt* statement, int column) {
    return static_cast<const char16_t*>(sqlite3_column_text16(statement, column));
}

std::int32_t NativeSqlite::ColumnInt(sqlite3_stmt* statement, int column) {
    return sqlite3_column_int(statement, column);
}

std::int64_t NativeSqlite::ColumnInt64(sqlite3_stmt* statement, int column) {
    return sqlite3_column_int64(statement, column);
}

}  // namespace tavi::platform
