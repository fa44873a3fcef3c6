#include "db/statement.h"

#include "db/sqlite_constants.h"
#include "imports/exception_edge.h"

namespace tavi::db {

Statement::~Statement() {
    if (statement_ == nullptr) {
        return;
    }
    Drive::EndExceptions([this] { platform_.sqlite.Finalize(statement_); });
}

int Statement::Prepare(sqlite3* handle, const std::string& sql) {
    const int bytes = static_cast<int>(sql.size());
    int result = platform_.sqlite.PrepareV2(handle, sql.c_str(), bytes, &statement_);
    for (int retry = 0; result == kSqliteBusy && retry < kBusyRetries; ++retry) {
        platform_.threads.Sleep(kBusyRetryPauseMs);
        result = platform_.sqlite.PrepareV2(handle, sql.c_str(), bytes, &statement_);
    }
    return result;
}

int Statement::StepOnce() {
    return bindResult_ != kSqliteOk ? bindResult_ : platform_.sqlite.Step(statement_);
}

int Statement::Step() {
    if (bindResult_ != kSqliteOk) {
        return bindResult_;
    }
    int result = platform_.sqlite.Step(statement_);
    for (int retry = 0; result == kSqliteBusy && retry < kBusyRetries; ++retry) {
        platform_.threads.Sleep(kBusyRetryPauseMs);
        result = platform_.sqlite.Step(statement_);
    }
    return result;
}

void Statement::Reset() {
    bindResult_ = kSqliteOk;
    platform_.sqlite.Reset(statement_);  // repeats the code of the last step, which has been dealt with
}

void Statement::Note(int bindResult) {
    if (bindResult_ == kSqliteOk) {
        bindResult_ = bindResult;
    }
}

Statement& Statement::Text(int index, const std::u16string& text) {
    Note(platform_.sqlite.BindText16(statement_, index, text.c_str()));
    return *this;
}

Statement& Statement::Int(int index, std::int32_t value) {
    Note(platform_.sqlite.BindInt(statement_, index, value));
    return *this;
}

Statement& Statement::Int64(int index, std::int64_t value) {
    Note(platform_.sqlite.BindInt64(statement_, index, value));
    return *this;
}

std::u16string Statement::ColumnText(int column) {
    const char16_t* text = platform_.sqlite.ColumnText16(statement_, column);
    return text == nullptr ? std::u16string() : std::u16string(text);
}

std::int32_t Statement::ColumnInt(int column) {
    return platform_.sqlite.ColumnInt(statement_, column);
}

std::int64_t Statement::ColumnInt64(int column) {
    return platform_.sqlite.ColumnInt64(statement_, column);
}

}  // namespace tavi::db
