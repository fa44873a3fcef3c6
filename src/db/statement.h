// A prepared statement: finalized when it goes out of scope, which must be before its connection is closed. Preparing
// and stepping wait and try again while the database is busy, up to five times a second apart; this is beyond the
// waiting that the connection's busy handler does inside each try. All results are SQLite's codes. Private to src/db.
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

    int Prepare(sqlite3* handle, const std::string& sql);
    int Step();
    int StepOnce();

    // Begins the binding of an element: forgets the last one's step and failures.
    void Reset();
    // A text must outlive the step, unmoved. A binding that fails makes the next step fail with its code, without
    // running: a row must not be written with a value missing.
    Statement& Text(int index, const std::u16string& text);
    Statement& Int(int index, std::int32_t value);
    Statement& Int64(int index, std::int64_t value);
    int bindResult() const { return bindResult_; }  // the first failure since Reset, else 0

    std::u16string ColumnText(int column);  // empty for NULL
    std::int32_t ColumnInt(int column);
    std::int64_t ColumnInt64(int column);

private:
    void Note(int bindResult);

    platform::Platform& platform_;
    sqlite3_stmt* statement_ = nullptr;
    int bindResult_ = 0;
};

}  // namespace tavi::db
