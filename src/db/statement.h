// A prepared statement on somebody's connection: finalized when it goes out of scope, which must be before the
// connection is closed. Preparing and stepping are retried while the database is busy, up to kBusyRetries times a
// second apart; this is beyond the waiting that the connection's busy handler does inside each attempt. Failure shows
// as SQLite's code. On the connection's thread. Private to src/db.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace tavi::db {

inline constexpr int kBusyRetries = 5;
inline constexpr std::uint32_t kBusyRetryPauseMs = 1000;

class Statement {
public:
    explicit Statement(platform::Platform& platform) : platform_(platform) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Once, before everything else. Unless it gives 0, nothing but the destructor may follow.
    int Prepare(sqlite3* handle, const std::string& sql);
    int Step();
    int StepOnce();  // without retries

    // Begins the binding of an element: forgets the last one's step and failures.
    void Reset();
    // A text must outlive the step, unmoved. A binding that fails makes the next step fail with its code, without
    // running: a row must not be written with a value missing.
    Statement& Text(int index, const std::u16string& text) { return Text(index, text.c_str()); }
    Statement& Text(int index, const char16_t* text);
    Statement& Text(int index, std::u16string&& text) = delete;  // would be gone before the step
    Statement& Int(int index, std::int32_t value);
    Statement& Int64(int index, std::int64_t value);
    int bindResult() const { return bindResult_; }  // the first failure since Reset, else 0

    // Columns of the row that the last step gave. A text that is missing where there has to be one (a null in a column
    // that allows none, or no memory for it) is empty here, and textMissing() is true from then on: the row is not to
    // be used.
    std::u16string ColumnText(int column);
    std::u16string ColumnTextOrNull(int column);  // a null is an empty text and no failure
    std::int32_t ColumnInt(int column);
    std::int64_t ColumnInt64(int column);
    bool textMissing() const { return textMissing_; }

private:
    std::u16string Column(int column, bool canBeNull);
    void Note(int bindResult);

    platform::Platform& platform_;
    sqlite3* handle_ = nullptr;
    sqlite3_stmt* statement_ = nullptr;
    int bindResult_ = 0;
    bool textMissing_ = false;
};

}  // namespace tavi::db
