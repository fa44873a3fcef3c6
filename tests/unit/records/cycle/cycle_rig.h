// What the cycle's tests share: the journal's rig, a user row to start from, the cycle under test, and a second way
// into the database, past the product, to see what it holds.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "records/cycle/file_change_record.h"
#include "unit/journal/journal_rig.h"

namespace tavi::records::testing {

inline const std::u16string kUser = u"user-1";
inline const std::u16string kDatabase = u"D:\\Data\\ListenService.dat";

// Rows with their columns joined by '|', read by a connection of its own.
inline std::vector<std::string> RowsOf(const std::string& hostPath, const std::string& sql) {
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open_v2(hostPath.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
    std::vector<std::string> rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string& row = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const unsigned char* text = sqlite3_column_text(statement, column);
            row += column == 0 ? "" : "|";
            while (text != nullptr && *text != 0) {
                row += static_cast<char>(*text++);
            }
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close_v2(handle);
    return rows;
}

class CycleRig : public journal::testing::JournalRig {
public:
    // The position where the task begins is the journal's end, as after a first login.
    CycleRig() { SetPosition(NextUsn()); }

    std::int64_t NextUsn() {
        return volume().WithJournal([](sim::EmulatedJournal& emulated) { return emulated.nextUsn(); });
    }
    void SetPosition(std::int64_t usn) {
        RunSql("INSERT OR REPLACE INTO user (userId, listenPath, usnLocation) VALUES ('user-1', 'C:\\Sync', " +
               std::to_string(usn) + ");");
    }
    std::int64_t Position() { return std::stoll(Rows("SELECT usnLocation FROM user;").at(0)); }
    void RunSql(const std::string& sql) { Rows(sql); }
    std::vector<std::string> Rows(const std::string& sql) {
        return RowsOf(machine.files().HostPath(kDatabase).string(), sql);
    }
    // reason and path of every change record, in the client's order.
    std::vector<std::string> Changes() {
        return Rows("SELECT reason, relativePath, originalRelativePath FROM fileChangeRecord ORDER BY id;");
    }
    // Everything in the tables that a cycle writes.
    std::vector<std::string> Everything() {
        std::vector<std::string> rows;
        for (const char* sql : {"SELECT * FROM fileChangeRecord ORDER BY id;", "SELECT * FROM delayRecord ORDER BY id;",
                                "SELECT filePath, fileAttributes, isHandle FROM temporaryFile ORDER BY filePath;",
                                "SELECT * FROM user;"}) {
            for (const std::string& row : Rows(sql)) {
                rows.push_back(row);
            }
        }
        return rows;
    }

    // A cycle that begins at the stored position, not yet initialised.
    std::unique_ptr<FileChangeRecord> MakeCycle(
        std::uint32_t splitIntervalMs = 0, std::u16string listenPath = u"C:\\Sync",
        FileChangeRecord::CurrentService service = FileChangeRecord::CurrentService::kPresent) {
        return std::make_unique<FileChangeRecord>(
            platform, database, FileChangeRecord::Task{kUser, std::move(listenPath), Position(), splitIntervalMs},
            abandon, service);
    }
    std::unique_ptr<FileChangeRecord> StartCycle(std::uint32_t splitIntervalMs = 0) {
        auto cycle = MakeCycle(splitIntervalMs);
        EXPECT_EQ(cycle->Init(), 1);
        log.Clear();
        return cycle;
    }

    // One record of a file in the folder, dated so many milliseconds after an arbitrary instant.
    void Append(std::uint64_t frn, std::u16string_view name, std::int64_t milliseconds, std::uint32_t reason = 0x100,
                std::uint32_t attributes = 0x20) {
        constexpr std::int64_t kSomeTime = 133'000'000'000'000'000;
        const std::uint64_t sync = volume().Find(u"C:\\Sync");
        volume().WithJournal([&](sim::EmulatedJournal& emulated) {
            emulated.AppendRaw(frn, sync, name, attributes, reason,
                               static_cast<std::uint64_t>(kSomeTime + milliseconds * 10'000));
        });
    }

    std::atomic<bool> abandon{false};
};

}  // namespace tavi::records::testing
