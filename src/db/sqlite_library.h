// What is set once for SQLite in the whole process. Called by the composition root, before the first connection.
#pragma once

#include "platform/sqlite.h"

namespace tavi::db {

// Turns off SQLite's bookkeeping of its memory use, which nobody reads and which costs large transactions about an
// eighth of their time. A refusal changes nothing else and is not reported: the library works the same without it.
void ConfigureSqliteLibrary(platform::Sqlite& sqlite);

}  // namespace tavi::db
