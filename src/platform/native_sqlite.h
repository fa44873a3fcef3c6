// The SQLite seam over the real library: each call hands its arguments on and returns the library's answer. Portable;
// objects have no state, so any thread may use one. Used by the service and, on temporary databases, by the tests.
// RegisterVfsRefusing is the exception: it makes what it registers, once for the process.
#pragma once

#include "platform/sqlite.h"

namespace tavi::platform {

class NativeSqlite final : public Sqlite {
public:
    int Config(int option, int value) override;
    int RegisterVfsRefusing(int openFlags) override;
    int OpenV2(const std::string& utf8Path, sqlite3** database, int flags) override;
    int CloseV2(sqlite3* database) override;
    int Errcode(sqlite3* database) override;
    int Exec(sqlite3* database, const char* sql, char** errorMessage) override;
    void Free(void* memory) override;
    int BusyHandler(sqlite3* database, BusyHandlerFunction handler, void* context) override;
    int DbConfig(sqlite3* database, int option, int value) override;
    int GetAutocommit(sqlite3* database) override;
    int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) override;
    int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) override;
    int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) override;
    int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) override;
    int Step(sqlite3_stmt* statement) override;
    int Reset(sqlite3_stmt* statement) override;
    int Finalize(sqlite3_stmt* statement) override;
    const char16_t* ColumnText16(sqlite3_stmt* statement, int column) override;
    std::int32_t ColumnInt(sqlite3_stmt* statement, int column) override;
    std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) override;
};

}  // namespace tavi::platform
