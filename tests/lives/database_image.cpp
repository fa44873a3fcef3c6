#include "lives/database_image.h"

#include <sqlite3.h>

#include <algorithm>
#include <set>

#include "lives/plan.h"

namespace tavi::lives {

namespace {

int lockPatienceMs = 0;

class Query {
public:
    Query(sqlite3* database, const char* sql) {
        if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK) {
            statement_ = nullptr;
        }
    }
    ~Query() { sqlite3_finalize(statement_); }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    bool prepared() const { return statement_ != nullptr; }
    // False at the end, and when it fails: then failed().
    bool Next() {
        result_ = sqlite3_step(statement_);
        return result_ == SQLITE_ROW;
    }
    bool failed() const { return result_ != SQLITE_ROW && result_ != SQLITE_DONE; }
    std::int64_t Int(int column) { return sqlite3_column_int64(statement_, column); }
    std::u16string Text(int column) {
        const void* text = sqlite3_column_text16(statement_, column);
        return text == nullptr ? std::u16string() : std::u16string(static_cast<const char16_t*>(text));
    }
    std::string Row() {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(statement_); ++column) {
            const unsigned char* text = sqlite3_column_text(statement_, column);
            row += column == 0 ? "" : "|";
            row += text == nullptr ? "" : reinterpret_cast<const char*>(text);
        }
        return row;
    }

private:
    sqlite3_stmt* statement_ = nullptr;
    int result_ = SQLITE_DONE;
};

bool ReadUser(sqlite3* database, Image& image) {
    Query query(database, "SELECT listenPath, usnLocation FROM user");
    if (!query.prepared()) {
        return false;
    }
    if (query.Next()) {
        image.hasUser = true;
        image.listenPath = query.Text(0);
        image.position = query.Int(1);
    }
    return !query.failed();
}

bool ReadChanges(sqlite3* database, Image& image) {
    Query query(database,
                "SELECT recordTimestamp, relativePath, originalRelativePath, fileAttributes, reason, frn, oldfrn FROM "
                "fileChangeRecord ORDER BY id");
    if (!query.prepared()) {
        return false;
    }
    while (query.Next()) {
        image.changes.push_back({query.Int(0), query.Text(1), query.Text(2), query.Int(3),
                                 static_cast<int>(query.Int(4)), static_cast<std::uint64_t>(query.Int(5)),
                                 static_cast<std::uint64_t>(query.Int(6))});
    }
    return !query.failed();
}

bool ReadRows(sqlite3* database, const char* sql, std::vector<std::string>& rows) {
    Query query(database, sql);
    if (!query.prepared()) {
        return false;
    }
    while (query.Next()) {
        rows.push_back(query.Row());
    }
    return !query.failed();
}

bool CopyAll(sqlite3* from, sqlite3* to) {
    sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
    if (backup == nullptr) {
        return false;
    }
    sqlite3_backup_step(backup, -1);
    return sqlite3_backup_finish(backup) == SQLITE_OK;
}

}  // namespace

void CloseDatabase::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

void WaitForLocks(bool wait) {
    constexpr int kPatienceMs = 10000;
    lockPatienceMs = wait ? kPatienceMs : 0;
}

Database OpenDatabase(const std::filesystem::path& file) {
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(file.string().c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
    Database owned(database);
    if (result != SQLITE_OK) {
        return nullptr;
    }
    sqlite3_busy_timeout(database, lockPatienceMs);
    // A reader leaves the files as they are.
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return owned;
}

std::optional<Image> Look(sqlite3* database) {
    Image image;
    if (sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr) != SQLITE_OK) {
        return std::nullopt;
    }
    const bool complete =
        ReadUser(database, image) && ReadChanges(database, image) &&
        ReadRows(database,
                 "SELECT filePath, originalFilePath, fileAttributes, isTempFile, reason, delayCount, frn FROM "
                 "delayRecord ORDER BY id",
                 image.delayed) &&
        ReadRows(database, "SELECT filePath, fileAttributes, isHandle FROM temporaryFile ORDER BY id",
                 image.temporaries);
    sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
    std::sort(image.delayed.begin(), image.delayed.end());
    return complete ? std::optional(std::move(image)) : std::nullopt;
}

std::optional<Image> Look(const std::filesystem::path& file) {
    const Database database = OpenDatabase(file);
    return database ? Look(database.get()) : std::nullopt;
}

Database CopyToMemory(const std::filesystem::path& file) {
    const Database from = OpenDatabase(file);
    sqlite3* memory = nullptr;
    sqlite3_open(":memory:", &memory);
    Database to(memory);
    return from && CopyAll(from.get(), to.get()) ? std::move(to) : nullptr;
}

bool CopyToFile(sqlite3* from, const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(file.string().c_str(), &opened);
    const Database to(opened);
    return result == SQLITE_OK && CopyAll(from, to.get());
}

std::u16string AsStored(const std::u16string& text) {
    const auto isSurrogate = [](char16_t unit) { return unit >= 0xD800 && unit < 0xE000; };
    if (std::none_of(text.begin(), text.end(), isSurrogate)) {
        return text;
    }
    static const Database memory = [] {
        sqlite3* opened = nullptr;
        sqlite3_open(":memory:", &opened);
        return Database(opened);
    }();
    std::string narrow;
    {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(memory.get(), "SELECT ?", -1, &statement, nullptr);
        sqlite3_bind_text16(statement, 1, text.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(statement);
        narrow = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        sqlite3_finalize(statement);
    }
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(memory.get(), "SELECT ?", -1, &statement, nullptr);
    sqlite3_bind_text(statement, 1, narrow.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_step(statement);
    std::u16string stored = static_cast<const char16_t*>(sqlite3_column_text16(statement, 0));
    sqlite3_finalize(statement);
    return stored;
}

std::string Describe(const ChangeRow& row) {
    static constexpr const char* kNames[] = {"?", "CREATE", "DELETE", "MODIFY", "MOVE", "RENAME"};
    std::string text = row.reason >= 0 && row.reason <= 5 ? kNames[row.reason] : std::to_string(row.reason);
    text += " " + Narrow(row.path);
    text += row.original.empty() ? "" : " from " + Narrow(row.original);
    return text + " (frn " + std::to_string(row.frn & 0xFFFFFFFFFFFF) + ", time " + std::to_string(row.timestamp) +
           ", attributes " + std::to_string(row.attributes) + ", old frn " +
           std::to_string(row.oldFrn & 0xFFFFFFFFFFFF) + ")";
}

std::string Image::ContentsWithoutOldNumbers() const {
    Image without = *this;
    for (ChangeRow& row : without.changes) {
        row.oldFrn = 0;
    }
    return without.Contents();
}

bool Image::HoldsOneNameTwice() const {
    std::set<std::string> names;
    return std::any_of(delayed.begin(), delayed.end(), [&names](const std::string& row) {
        const std::size_t name = row.find('|') + 1;
        return !names.insert(row.substr(name, row.find('|', name) - name)).second;
    });
}

std::string Image::Contents() const {
    std::string text;
    for (const ChangeRow& row : changes) {
        text += Describe(row) + "\n";
    }
    for (const std::string& row : delayed) {
        text += "delayed " + row + "\n";
    }
    for (const std::string& row : temporaries) {
        text += "temporary " + row + "\n";
    }
    return text;
}

}  // namespace tavi::lives
