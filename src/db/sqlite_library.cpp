#include "db/sqlite_library.h"

#include "db/sqlite_constants.h"

namespace tavi::db {

void ConfigureSqliteLibrary(platform::Sqlite& sqlite) {
    sqlite.Config(kSqliteConfigMemStatus, 0);
}

}  // namespace tavi::db
