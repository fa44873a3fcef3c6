// A connection that is closed, with the operator's own CloseDb, when it goes out of scope. For one operation, on its
// thread; a Statement on it must go out of scope first. An open that fails is logged by the operator. Private to
// src/db.
#pragma once

#include "db/sqlite3_operator.h"

namespace tavi::db {

class Connection {
public:
    explicit Connection(SqLite3Operator& database) : database_(database) {}
    ~Connection() { database_.CloseDb(handle_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool Open() { return database_.OpenDb(handle_); }
    bool OpenReadOnly() { return database_.OpenDbReadOnly(handle_); }
    sqlite3* handle() const { return handle_; }

private:
    SqLite3Operator& database_;
    sqlite3* handle_ = nullptr;
};

}  // namespace tavi::db
