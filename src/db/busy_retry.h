// What a connection does while another one holds the lock that it needs: the callback of sqlite3_busy_handler. Runs on
// the thread that uses the connection, inside a step or an execution.
#pragma once

#include "platform/platform.h"

namespace tavi::db {

// Waits a random time and returns 1 (try again) while `count`, the calls made before for the same lock, is below 100,
// then 0: the caller gets SQLITE_BUSY. `context` is the platform::Platform, which outlives every connection: the wait
// needs its clock and its threads, and the one pointer that SQLite hands through is all that a callback has. It needs
// nothing of the connection. Throws nothing (SQLite's C code could not be unwound); 0 when the wait failed.
int BusyRetryHandler(void* context, int count);

inline constexpr int kBusyRetryLimit = 100;

}  // namespace tavi::db
