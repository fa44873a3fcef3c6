// Saving a cycle's results against the bare SQLite calls that it cannot do without: the same texts, the same settings
// of the connection, the same rows, prepared once and stepped in a loop.
#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "db/sqlite3_operator.h"
#include "platform/native_sqlite.h"
#include "ratio_table.h"
#include "sim/machine.h"
#include "support/platform_with.h"

namespace tavi::bench {
namespace {

using db::SqlText;

void Check(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "%s failed\n", what);
        std::exit(2);
    }
}

// A database in a temporary folder. The operator's Windows path is, for SQLite on this computer, the name of a file in
// the current folder.
class Database {
public:
    Database() {
        // In memory where that can be done: a disk's work is the same for both and only blurs the comparison.
        const std::filesystem::path memory = "/dev/shm";
        const auto parent = std::filesystem::exists(memory) ? memory : std::filesystem::temp_directory_path();
        folder_ = (parent / "tavi-bench-XXXXXX").string();
        Check(mkdtemp(folder_.data()) != nullptr, "making a folder");
        std::filesystem::current_path(folder_);
        Check(operator_.InitSqLiteDb(u"D:\\Bench\\ListenService.dat"), "preparing the database");
        Check(operator_.InsertUserTable({u"user", u"C:\\Sync", 1}), "inserting the user");
    }
    ~Database() {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    db::SqLite3Operator& Operator() { return operator_; }
    platform::Platform& Parts() { return platform_; }
    void Empty() { Check(operator_.ClearRecordTables(), "emptying the tables"); }

private:
    std::string folder_;
    platform::NativeSqlite sqlite_;
    sim::Machine machine_;
    platform::Platform simulated_ = machine_.platform();
    platform::Platform platform_ = test::PlatformWith(simulated_, sqlite_);
    db::SqLite3Operator operator_{platform_};
};

records::FileChangeInfoList Changes(std::size_t count) {
    records::FileChangeInfoList changes;
    for (std::size_t i = 0; i < count; ++i) {
        records::FileChangeInfo change;
        change.reason = records::FileChangeReason::kModify;
        change.timestamp = 1'700'000'000'000 + static_cast<std::int64_t>(i);
        change.fileAttributes = 0x20;
        change.frn = 0x1000000000000 + i;
        std::u16string name;
        for (const char digit :
             "Documents/Project " + std::to_string(i % 97) + "/report " + std::to_string(i) + ".docx") {
            name += digit == '/' ? u'\\' : static_cast<char16_t>(digit);
        }
        change.fileName = name;
        changes.push_back(std::move(change));
    }
    return changes;
}

sqlite3* OpenBare(platform::Platform& platform) {
    sqlite3* handle = nullptr;
    Check(sqlite3_open_v2("D:\\Bench\\ListenService.dat", &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK,
          "opening");
    sqlite3_busy_handler(handle, db::BusyRetryHandler, &platform);
    constexpr std::array<std::pair<int, int>, 5> kSettings{{{SQLITE_DBCONFIG_DEFENSIVE, 1},
                                                            {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                                            {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                                            {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
                                                            {SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0}}};
    for (const auto& [option, value] : kSettings) {
        sqlite3_db_config(handle, option, value, nullptr);
    }
    return handle;
}

void Execute(sqlite3* handle, const std::string& sql) {
    Check(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql.c_str());
}

sqlite3_stmt* Prepare(sqlite3* handle, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(handle, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr) == SQLITE_OK,
          sql.c_str());
    return statement;
}

void Insert(sqlite3_stmt* statement, const records::FileChangeInfo& change) {
    sqlite3_bind_int64(statement, 1, change.timestamp);
    sqlite3_bind_text16(statement, 2, change.fileName.c_str(), -1, nullptr);
    sqlite3_bind_text16(statement, 3, change.originalFileName.c_str(), -1, nullptr);
    sqlite3_bind_int(statement, 4, static_cast<int>(change.fileAttributes));
    sqlite3_bind_int(statement, 5, static_cast<int>(change.reason));
    sqlite3_bind_int64(statement, 6, static_cast<std::int64_t>(change.frn));
    sqlite3_bind_int64(statement, 7, static_cast<std::int64_t>(change.oldfrn));
    Check(sqlite3_step(statement) == SQLITE_DONE, "inserting");
    sqlite3_reset(statement);
}

int SaveBare(Database& database, const records::FileChangeInfoList& changes) {
    const db::StatementTexts& texts = database.Operator().statements();
    sqlite3* handle = OpenBare(database.Parts());
    Execute(handle, "begin transaction;");
    Execute(handle, texts[SqlText::kDeleteAllDelayRecords]);
    Execute(handle, "PRAGMA cache_size=-65536;PRAGMA journal_size_limit=4194304;");
    if (!changes.empty()) {
        sqlite3_stmt* statement = Prepare(handle, texts[SqlText::kUpsertFileChangeRecord]);
        for (const records::FileChangeInfo& change : changes) {
            Insert(statement, change);
        }
        sqlite3_finalize(statement);
    }
    sqlite3_stmt* statement = Prepare(handle, texts[SqlText::kUpdateUserUsn]);
    sqlite3_bind_int64(statement, 1, 2);
    sqlite3_bind_text16(statement, 2, u"user", -1, nullptr);
    Check(sqlite3_step(statement) == SQLITE_DONE, "storing the position");
    sqlite3_finalize(statement);
    Execute(handle, "commit transaction;");
    sqlite3_close_v2(handle);
    return 0;
}

int Save(Database& database, const records::FileChangeInfoList& changes) {
    Check(database.Operator().SaveCycleResults({}, changes, {}, 2, u"user"), "saving");
    return 0;
}

}  // namespace
}  // namespace tavi::bench

int main(int argc, char** argv) {
    using namespace tavi::bench;
    tavi::platform::NativeSqlite library;
    tavi::db::SqLite3Operator::ConfigureLibrary(library);
    Database database;
    const auto changes = Changes(10'000);
    const tavi::records::FileChangeInfoList none;
    const auto emptied = [&] {
        database.Empty();
        return 0;
    };
    const auto filled = [&] {
        database.Empty();
        return Save(database, changes);
    };
    const auto nothing = [] { return 0; };
    RatioTable table;
    table.Measure("10,000 rows, bare", emptied, [&](int) { return SaveBare(database, changes); });
    table.Measure("10,000 rows", emptied, [&](int) { return Save(database, changes); });
    table.Measure("10,000 rows again, bare", filled, [&](int) { return SaveBare(database, changes); });
    table.Measure("10,000 rows again", filled, [&](int) { return Save(database, changes); });
    table.Measure("nothing to store, bare", nothing, [&](int) { return SaveBare(database, none); });
    table.Measure("nothing to store", nothing, [&](int) { return Save(database, none); });
    table.AtMost("10,000 rows", "10,000 rows, bare", 1.15);
    table.AtMost("10,000 rows again", "10,000 rows again, bare", 1.15);
    table.AtMost("nothing to store", "nothing to store, bare", 1.1);
    return table.Run(argc, argv);
}
