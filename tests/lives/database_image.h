// What another program sees when it opens a user's database: everything that a cycle stores, read in one transaction.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace tavi::lives {

struct ChangeRow {
    std::int64_t timestamp = 0;
    std::u16string path;
    std::u16string original;
    std::int64_t attributes = 0;
    int reason = 0;
    std::uint64_t frn = 0;
    std::uint64_t oldFrn = 0;
};

struct Image {
    bool hasUser = false;
    std::u16string listenPath;
    std::int64_t position = 0;
    std::vector<ChangeRow> changes;  // in the client's order
    // Without their time, which reading back shortens, and sorted: every cycle turns their order around, also one that
    // finds nothing new.
    std::vector<std::string> delayed;
    std::vector<std::string> temporaries;

    // Everything but the position, for comparing.
    std::string Contents() const;
    // The same without the numbers of the other halves of merged pairs.
    std::string ContentsWithoutOldNumbers() const;
    // Two records that were held back tell of one name: which of them gives a later row its old number depends on how
    // many cycles have turned their order around.
    bool HoldsOneNameTwice() const;
};

struct CloseDatabase {
    void operator()(sqlite3* database) const;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

// Whether to wait in real time for others' locks: only where every thread runs at once, or nobody lets go of them.
void WaitForLocks(bool wait);

// Null when the file is not there or is no database yet.
Database OpenDatabase(const std::filesystem::path& file);
// Nothing when the tables are not there yet, or the file cannot be read.
std::optional<Image> Look(const std::filesystem::path& file);
std::optional<Image> Look(sqlite3* database);
// A copy in memory, and back into a file that does not exist yet.
Database CopyToMemory(const std::filesystem::path& file);
bool CopyToFile(sqlite3* from, const std::filesystem::path& file);

// The text as it comes back from a database: one with an unpaired surrogate is another one then.
std::u16string AsStored(const std::u16string& text);

std::string Describe(const ChangeRow& row);

}  // namespace tavi::lives
