// What a user's database holds, counted in one consistent look. Read-only, like everything here.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tavi_client/change_table.h"

namespace tavi::client {

// The row of the table `user`: how far the service has read the change journal for whom.
struct UserRow {
    std::string userId;
    std::string listenPath;
    std::int64_t position = 0;  // the next USN that the service reads

    friend bool operator==(const UserRow&, const UserRow&) = default;
};

struct DatabaseSummary {
    ReadState state = ReadState::kFailed;
    int code = 0;  // SQLite's, when state is kFailed
    std::vector<UserRow> users;
    std::map<std::string, std::int64_t> rows;            // by table
    std::map<std::int32_t, std::int64_t> changesByKind;  // of fileChangeRecord
    std::int64_t firstId = 0;                            // of fileChangeRecord; 0 when it is empty
    std::int64_t lastId = 0;
    std::uint64_t databaseBytes = 0;
    std::uint64_t logBytes = 0;  // of the write-ahead log beside it; 0 when there is none
};

DatabaseSummary Summarise(const std::string& databasePath, int busyMilliseconds = kDefaultBusyMilliseconds);

}  // namespace tavi::client
