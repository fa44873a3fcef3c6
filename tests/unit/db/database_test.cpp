#include "unit/db/database_test.h"

#include "support/platform_with.h"

namespace tavi::db {
namespace {

platform::Platform WithSqlite(platform::Platform& real, platform::Sqlite& sqlite) {
    return test::PlatformWith(real, sqlite);
}

}  // namespace

std::vector<std::string> ErrorLines(const sim::CapturedLog& log) {
    std::vector<std::string> errors;
    for (const sim::LogLine& line : log.Lines()) {
        if (line.kind == sim::LogKind::kError) {
            errors.push_back(line.classTag + "/" + line.function + "/" + line.text);
        }
    }
    return errors;
}

OtherConnection::OtherConnection(const std::string& hostPath) {
    EXPECT_EQ(sqlite3_open(hostPath.c_str(), &handle_), SQLITE_OK) << hostPath;
    sqlite3_exec(handle_, "PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
}

void OtherConnection::Run(const std::string& sql) {
    EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(handle_);
}

std::vector<std::string> OtherConnection::Rows(const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const unsigned char* text = sqlite3_column_text(statement, column);
            row += column == 0 ? "" : "|";
            for (; text != nullptr && *text != 0; ++text) {
                row += static_cast<char>(*text);
            }
            row += sqlite3_column_type(statement, column) == SQLITE_NULL ? "NULL" : "";
        }
        rows.push_back(row);
    }
    sqlite3_finalize(statement);
    return rows;
}

DatabaseRig::DatabaseRig() : sqlite_(real_.sqlite), platform_(WithSqlite(real_, sqlite_)), database_(platform_) {}

DatabaseRig::~DatabaseRig() {
    EXPECT_EQ(sqlite_.OpenThings(), 0U) << "connections or statements are still open";
}

std::string DatabaseRig::HostPath() {
    return machine_.files().HostPath(kPath).string();
}

void DatabaseRig::Init() {
    ASSERT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    Forget();
}

void DatabaseRig::Forget() {
    log().Clear();
    sqlite_.MakeEverything();
    sqlite_.ClearCalls();
}

void DatabaseRig::MakeFile(const std::string& sql) {
    ASSERT_EQ(platform_.paths.SHCreateDirectoryExW(kFolder), 0);
    RunSql(sql);
}

std::vector<std::string> DatabaseRig::Columns(const std::string& table) {
    return Rows("SELECT name FROM pragma_table_info('" + table + "');");
}

std::vector<std::string> DatabaseRig::Everything() {
    std::vector<std::string> rows;
    for (const char* table : {"user", "fileChangeRecord", "delayRecord", "temporaryFile", "pathMapping"}) {
        for (const std::string& row : Rows(std::string("SELECT * FROM ") + table + ";")) {
            rows.push_back(std::string(table) + ": " + row);
        }
    }
    return rows;
}

records::FileChangeInfo Change(std::u16string name, records::FileChangeReason reason, std::u16string originalName) {
    return {.fileName = std::move(name),
            .originalFileName = std::move(originalName),
            .fileAttributes = 0x80000020,
            .isTempFile = true,
            .reason = reason,
            .delayCount = 3,
            .timestamp = 1'700'000'000'123,
            .frn = 0xFFFF000000000001,
            .oldfrn = records::kNoFrn};
}

}  // namespace tavi::db
