#include "unit/client_library/service_database.h"

#include <gtest/gtest.h>

namespace tavi::client {

ServiceDatabase::ServiceDatabase(bool created, std::u16string where)
    : operator_(platform_), where_(std::move(where)), path_(machine_.files().HostPath(where_).string()) {
    if (created) {
        Create();
    }
}

ServiceDatabase::~ServiceDatabase() {
    Unlock();
}

void ServiceDatabase::Create() {
    EXPECT_TRUE(operator_.InitSqLiteDb(where_));
    path_ = machine_.files().HostPath(where_).string();
}

void ServiceDatabase::Delete() {
    EXPECT_TRUE(db::SqLite3Operator::DropTablesAndDb(platform_, where_));
}

records::FileChangeInfo FileChange(std::u16string name, records::FileChangeReason reason, std::u16string original) {
    records::FileChangeInfo change;
    change.fileName = std::move(name);
    change.originalFileName = std::move(original);
    change.fileAttributes = 0x20;
    change.reason = reason;
    change.timestamp = 1'700'000'000'123;
    change.frn = 0x0001000000000042;
    change.oldfrn = records::kNoFrn;
    return change;
}

bool ServiceDatabase::Save(const std::vector<std::u16string>& created) {
    records::FileChangeInfoList changes;
    for (const std::u16string& name : created) {
        changes.push_back(FileChange(name, records::FileChangeReason::kCreate));
    }
    return SaveRecords(changes);
}

bool ServiceDatabase::SaveRecords(const records::FileChangeInfoList& changes) {
    return operator_.SaveCycleResults({}, changes, {}, 0, u"user");
}

void ServiceDatabase::Run(const std::string& sql) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open_v2(path_.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    sqlite3_busy_timeout(database, 10000);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
}

void ServiceDatabase::Lock() {
    ASSERT_EQ(sqlite3_open_v2(path_.c_str(), &lock_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    // In this mode a connection keeps readers out too, from its first write on.
    ASSERT_EQ(sqlite3_exec(lock_, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; DELETE FROM user WHERE 0; COMMIT;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK)
        << sqlite3_errmsg(lock_);
}

void ServiceDatabase::Unlock() {
    sqlite3_close(lock_);
    lock_ = nullptr;
}

}  // namespace tavi::client
