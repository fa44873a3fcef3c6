// A connection that does nothing: it is open while a listening task runs, so that no other connection to the database
// is ever the last one to close.
//
// Why. Every operation opens and closes a connection of its own. Closing the last connection to a database in WAL mode
// copies the log into the database (two fsyncs), and deletes the log and its index, which the next open makes again. An
// idle task saves twice a second: that was 3.7 fsyncs and two files made and deleted each time, for ever, and records
// of it all in the change journal that the task reads. With this connection a save is what SQLite means it to be: pages
// appended to an open log, and one fsync.
//
// Why this way. What the disk holds is decided by the same statements on the same connections as before: synchronous is
// FULL, a commit is in the log and on the disk when it returns, and whoever opens the database after a crash or a loss
// of power, the service or the client, gets it from there. Telling every connection to leave the log alone when it
// closes (SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE) keeps the files too, but then the last user is gone after each save, the
// next one empties and rebuilds the index from the whole log, and a log that is read anew is never known to be copied,
// so it would grow until somebody copied it by hand. Keeping one connection for all operations would put a handle into
// the hands of several threads and make a failed operation's state the next one's.
//
// What it changes for others: the log and its index lie beside the database while a task runs, and the files cannot be
// deleted or renamed then, as with any open connection. When it goes, at the end of the task, it is the last, and
// SQLite leaves one file behind, as it always has. It has no transaction open, so it holds up nobody: neither readers
// nor writers nor whoever copies the log. The log is copied after every 1,000 pages (SQLite's own rule) and then
// written from its beginning; a save cuts off what is longer than 4 MiB (cycle_tables.cpp).
//
// Owned by the listen thread, for the time of its task; used on that thread only, and gone before the operator's path
// changes. Failure does not show and is not logged: without it everything works as it does with it.
#pragma once

#include "db/sqlite3_operator.h"

namespace tavi::db {

class StandbyConnection {
public:
    explicit StandbyConnection(SqLite3Operator& database) : database_(database) {}
    ~StandbyConnection() { database_.CloseDb(handle_); }
    StandbyConnection(const StandbyConnection&) = delete;
    StandbyConnection& operator=(const StandbyConnection&) = delete;

    // Opens it unless it is open. Called before each cycle, so that a refusal is made up for by the next one.
    void Hold() {
        if (handle_ == nullptr) {
            database_.OpenStandby(handle_);
        }
    }
    bool isHeld() const { return handle_ != nullptr; }

private:
    SqLite3Operator& database_;
    sqlite3* handle_ = nullptr;
};

}  // namespace tavi::db
