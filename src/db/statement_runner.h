// One statement of a table operation, prepared once and run for a row, for each element of a list or for the rows that
// it reads, with the log lines that the operation is known by. The operation gives the texts, the statement and what is
// to be bound or read; everything else that such operations have in common is here. Lives inside one operation, on the
// thread of the connection, and goes out of scope before the connection. Private to src/db.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "db/operation_guard.h"
#include "db/sqlite_constants.h"
#include "db/statement.h"

namespace tavi::db {

// What an operation logs. A failure's text that ends in a colon is followed by SQLite's code; an empty one is not
// logged.
struct OperationTexts {
    std::string_view function;
    std::string_view prepareFailure;
    std::string_view elementFailure;
    ExceptionTexts exceptions;
};

class StatementRunner {
public:
    StatementRunner(platform::Platform& platform, const OperationTexts& texts) : statement_(platform), texts_(texts) {}

    // First. False, logged: nothing else may follow.
    bool Prepare(sqlite3* handle, const std::string& sql) {
        return Succeeded(statement_.Prepare(handle, sql), kSqliteOk, texts_.prepareFailure);
    }
    // Binds what `bind(statement)` says and runs the statement to its end.
    template <typename Bind>
    bool Run(Bind bind) {
        bind(statement_);
        return Succeeded(statement_.Step(), kSqliteDone, texts_.elementFailure);
    }
    // The same with `bind(statement, element)` for every element, in order. The first that fails ends it.
    template <typename List, typename Bind>
    bool RunForEach(const List& list, Bind bind) {
        for (const auto& element : list) {
            if (!Run([&](Statement& statement) { bind(statement, element); })) {
                return false;
            }
            statement_.Reset();
        }
        return true;
    }
    // The same, except that an element that fails costs only itself.
    template <typename List, typename Bind>
    void TryForEach(const List& list, Bind bind) {
        for (const auto& element : list) {
            Run([&](Statement& statement) { bind(statement, element); });
            statement_.Reset();
        }
    }
    // Appends what `read(statement)` makes of every row to `list`. False, without a log line: a step failed or a text
    // was missing, and `list` has got the rows before that.
    template <typename List, typename Read>
    bool AppendRows(List& list, Read read) {
        int code = statement_.Step();
        for (; code == kSqliteRow; code = statement_.Step()) {
            auto row = read(statement_);
            if (statement_.textMissing()) {
                return false;
            }
            list.push_back(std::move(row));
        }
        return code == kSqliteDone;
    }
    Statement& statement() { return statement_; }
    // Whether `code` is the one that was hoped for; logs `failure` otherwise.
    bool Succeeded(int code, int expected, std::string_view failure) {
        if (code == expected) {
            return true;
        }
        if (failure.ends_with(':')) {
            LogError(texts_.function, failure, code);
        } else if (!failure.empty()) {
            LogError(texts_.function, failure);
        }
        return false;
    }

private:
    Statement statement_;
    const OperationTexts& texts_;
};

}  // namespace tavi::db
