// SQLite's result codes, open flags and options that the operator uses, so that the logic needs no <sqlite3.h>. Values
// from SQLite's documentation; tests/unit/db/sqlite_constants_test.cpp compares each with <sqlite3.h>. Private to
// src/db.
#pragma once

namespace tavi::db {

inline constexpr int kSqliteOk = 0;
inline constexpr int kSqliteBusy = 5;
inline constexpr int kSqliteNoMem = 7;
inline constexpr int kSqliteIoErr = 10;
inline constexpr int kSqliteRow = 100;
inline constexpr int kSqliteDone = 101;

inline constexpr int kSqliteOpenReadOnly = 0x1;
inline constexpr int kSqliteOpenReadWrite = 0x2;
inline constexpr int kSqliteOpenCreate = 0x4;
inline constexpr int kSqliteOpenSuperJournal = 0x4000;
inline constexpr int kSqliteOpenNoMutex = 0x8000;

inline constexpr int kSqliteConfigMemStatus = 9;

inline constexpr int kSqliteDbConfigEnableTrigger = 1003;
inline constexpr int kSqliteDbConfigEnableLoadExtension = 1005;
inline constexpr int kSqliteDbConfigDefensive = 1010;
inline constexpr int kSqliteDbConfigEnableView = 1015;
inline constexpr int kSqliteDbConfigTrustedSchema = 1017;

}  // namespace tavi::db
