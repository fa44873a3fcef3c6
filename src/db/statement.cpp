#include "db/statement.h"

#include "db/sqlite_constants.h"
#include "imports/exception_edge.h"
#include "util/retry.h"

namespace tavi::db {
namespace {

template <typename Attempt>
int WithBusyRetries(platform::Threads& threads, Attempt attempt) {
    return util::TryWithRetries(
        kBusyRetries, attempt, [](int code) { return code == kSqliteBusy; }, [&] { threads.Sleep(kBusyRetryPauseMs); });
}

}  // namespace

Statement::~Statement() {
    if (statement_ == nullptr) {
        return;
    }
    Drive::EndExceptions([this] { platform_.sqlite.Finalize(statement_); });
}

int Statement::Prepare(sqlite3* handle, const std::string& sql) {
    handle_ = handle;
    const int bytes = static_cast<int>(sql.size());
    return WithBusyRetries(platform_.threads,
                           [&] { return platform_.sqlite.PrepareV2(handle, sql.c_str(), bytes, &statement_); });
}

int Statement::StepOnce() {
    return bindResult_ != kSqliteOk ? bindResult_ : platform_.sqlite.Step(statement_);
}

int Statement::Step() {
    return WithBusyRetries(platform_.threads, [&] { return StepOnce(); });
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

Statement& Statement::Text(int index, const char16_t* text) {
    Note(platform_.sqlite.BindText16(statement_, index, text));
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

std::u16string Statement::Column(int column, bool canBeNull) {
    if (const char16_t* text = platform_.sqlite.ColumnText16(statement_, column); text != nullptr) {
        return text;
    }
    // SQLite gives a null for a null and for want of memory, and only the code tells them apart.
    const bool noMemory = platform_.sqlite.Errcode(handle_) == kSqliteNoMem;
    textMissing_ = textMissing_ || noMemory || !canBeNull;
    return {};
}

std::u16string Statement::ColumnText(int column) {
    return Column(column, false);
}

std::u16string Statement::ColumnTextOrNull(int column) {
    return Column(column, true);
}

std::int32_t Statement::ColumnInt(int column) {
    return platform_.sqlite.ColumnInt(statement_, column);
}

std::int64_t Statement::ColumnInt64(int column) {
    return platform_.sqlite.ColumnInt64(statement_, column);
}

}  // namespace tavi::db
