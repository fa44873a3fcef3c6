#include "db/sqlite_constants.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace tavi::db {
namespace {

TEST(SqliteConstants, HaveTheValuesOfTheLibrarysHeader) {
    EXPECT_EQ(kSqliteOk, SQLITE_OK);
    EXPECT_EQ(kSqliteBusy, SQLITE_BUSY);
    EXPECT_EQ(kSqliteNoMem, SQLITE_NOMEM);
    EXPECT_EQ(kSqliteIoErr, SQLITE_IOERR);
    EXPECT_EQ(kSqliteRow, SQLITE_ROW);
    EXPECT_EQ(kSqliteDone, SQLITE_DONE);
    EXPECT_EQ(kSqliteOpenReadOnly, SQLITE_OPEN_READONLY);
    EXPECT_EQ(kSqliteOpenReadWrite, SQLITE_OPEN_READWRITE);
    EXPECT_EQ(kSqliteOpenCreate, SQLITE_OPEN_CREATE);
    EXPECT_EQ(kSqliteOpenSuperJournal, SQLITE_OPEN_SUPER_JOURNAL);
    EXPECT_EQ(kSqliteOpenNoMutex, SQLITE_OPEN_NOMUTEX);
    EXPECT_EQ(kSqliteConfigMemStatus, SQLITE_CONFIG_MEMSTATUS);
    EXPECT_EQ(kSqliteDbConfigEnableTrigger, SQLITE_DBCONFIG_ENABLE_TRIGGER);
    EXPECT_EQ(kSqliteDbConfigEnableLoadExtension, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION);
    EXPECT_EQ(kSqliteDbConfigDefensive, SQLITE_DBCONFIG_DEFENSIVE);
    EXPECT_EQ(kSqliteDbConfigEnableView, SQLITE_DBCONFIG_ENABLE_VIEW);
    EXPECT_EQ(kSqliteDbConfigTrustedSchema, SQLITE_DBCONFIG_TRUSTED_SCHEMA);
}

}  // namespace
}  // namespace tavi::db
