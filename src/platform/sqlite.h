// The SQLite calls that the product makes, so that each can be made to fail: one to one, except the one that says
// otherwise. Result codes are SQLite's. The two structures are SQLite's own; this header names them so that users of
// the seam need not include <sqlite3.h>. Connections and statements belong to the caller and stay on one thread at a
// time; the functions that take neither may be called on any thread.
#pragma once

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace tavi::platform {

using BusyHandlerFunction = int (*)(void* context, int count);

class Sqlite {
public:
    virtual ~Sqlite() = default;

    // sqlite3_config for the options that take one int. Only before the library's first use in the process.
    virtual int Config(int option, int value) = 0;

    // Not one call: sqlite3_vfs_register, as the process's default, of a copy of the default VFS that answers 14
    // (cannot open) to every open with one of `openFlags` set and passes all others on. The first success holds for the
    // process; later calls change nothing and give 0.
    virtual int RegisterVfsRefusing(int openFlags) = 0;

    // On failure there may be a connection all the same, which has to be closed; null when there is none.
    virtual int OpenV2(const std::string& utf8Path, sqlite3** database, int flags) = 0;
    virtual int CloseV2(sqlite3* database) = 0;
    virtual int Errcode(sqlite3* database) = 0;
    virtual int Exec(sqlite3* database, const char* sql, char** errorMessage) = 0;  // no callback
    virtual void Free(void* memory) = 0;
    virtual int BusyHandler(sqlite3* database, BusyHandlerFunction handler, void* context) = 0;
    // sqlite3_db_config, for the options that take an int and a place for the value that then holds.
    virtual int DbConfig(sqlite3* database, int option, int value) = 0;
    // 0 inside a transaction. An error may have ended it: SQLite rolls back by itself when the disk fails or is full.
    virtual int GetAutocommit(sqlite3* database) = 0;

    virtual int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) = 0;
    // -1 as length, no destructor: the text is zero-terminated and outlives the step.
    virtual int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) = 0;
    virtual int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) = 0;
    virtual int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) = 0;
    virtual int Step(sqlite3_stmt* statement) = 0;
    virtual int Reset(sqlite3_stmt* statement) = 0;
    virtual int Finalize(sqlite3_stmt* statement) = 0;
    // Zero-terminated; valid until the next step. Null for SQL NULL, and for want of memory: then Errcode, called next,
    // gives 7.
    virtual const char16_t* ColumnText16(sqlite3_stmt* statement, int column) = 0;
    virtual std::int32_t ColumnInt(sqlite3_stmt* statement, int column) = 0;
    virtual std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) = 0;
};

}  // namespace tavi::platform
