// A user's database as another program sees it: opened by SQLite itself, on the file behind the simulated machine's
// path. For tests to fill and to look.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "sim/machine.h"
#include "util/sha256.h"

namespace tavi::test {

inline std::u16string DatabasePath(platform::Platform& platform, std::u16string_view basePath,
                                   std::u16string_view userId) {
    return std::u16string(basePath) + u'\\' + util::ShA256Encode(platform, userId) + u"\\ListenService.dat";
}

class DatabaseView {
public:
    DatabaseView(sim::Machine& machine, std::u16string_view path) {
        EXPECT_EQ(sqlite3_open_v2(machine.files().HostPath(path).string().c_str(), &database_, SQLITE_OPEN_READWRITE,
                                  nullptr),
                  SQLITE_OK);
    }
    ~DatabaseView() { sqlite3_close(database_); }
    DatabaseView(const DatabaseView&) = delete;
    DatabaseView& operator=(const DatabaseView&) = delete;

    void Execute(const std::string& sql) {
        EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_) << " in " << sql;
    }

    // The first column of the query's first row, as text; "none" without a row.
    std::string Ask(const std::string& query) {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(database_, query.c_str(), -1, &statement, nullptr), SQLITE_OK) << query;
        std::string answer = "none";
        if (sqlite3_step(statement) == SQLITE_ROW) {
            const unsigned char* text = sqlite3_column_text(statement, 0);
            answer.clear();
            while (text != nullptr && *text != 0) {
                answer.push_back(static_cast<char>(*text++));
            }
        }
        sqlite3_finalize(statement);
        return answer;
    }

    // How many rows fileChangeRecord, delayRecord, temporaryFile and pathMapping have, as in "1 1 1 1".
    std::string RowCounts() {
        return Ask(
            "SELECT (SELECT count(*) FROM fileChangeRecord) || ' ' || (SELECT count(*) FROM delayRecord) || ' ' || "
            "(SELECT count(*) FROM temporaryFile) || ' ' || (SELECT count(*) FROM pathMapping)");
    }

    // One row in each of the four tables.
    void FillTables() {
        Execute("INSERT INTO fileChangeRecord VALUES (1, 1, 'a', '', 32, 1, 1, 1);");
        Execute("INSERT INTO delayRecord VALUES (1, 'a', '', 32, 0, 1, 0, 1, 1);");
        Execute("INSERT INTO temporaryFile VALUES (1, 'a', 32, 0);");
        Execute("INSERT INTO pathMapping VALUES (1, 'a', 5, 0);");
        EXPECT_EQ(RowCounts(), "1 1 1 1");
    }

private:
    sqlite3* database_ = nullptr;
};

}  // namespace tavi::test
