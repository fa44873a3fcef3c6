// A read-only connection to the database and one read transaction on it, both as long as the object lives: keep that
// short. Private to the library; one thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tavi_client/change_table.h"

namespace tavi::client {

class ReadConnection {
public:
    ReadConnection(const std::string& path, int busyMilliseconds);
    ~ReadConnection();
    ReadConnection(const ReadConnection&) = delete;
    ReadConnection& operator=(const ReadConnection&) = delete;

    // Once anything has failed, it stays so.
    ReadState state() const { return state_; }
    int code() const { return code_; }

    // Calls `row` for every row; numbers are bound to the parameters in order. False when it failed.
    bool Query(const char* sql, const std::vector<std::int64_t>& numbers,
               const std::function<void(sqlite3_stmt*)>& row);
    // In id order.
    std::vector<Change> ChangesAfter(std::int64_t id, std::size_t limit);
    std::optional<Change> ChangeWithId(std::int64_t id);

private:
    bool Succeeds(int result);

    sqlite3* database_ = nullptr;
    sqlite3_stmt* changeWithId_ = nullptr;  // asked for often in one look
    ReadState state_ = ReadState::kRead;
    int code_ = 0;
};

std::string ColumnText(sqlite3_stmt* statement, int column);

}  // namespace tavi::client
