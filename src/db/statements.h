// The SQL texts of the database, word for word: the operator's constructor fills them once, in this order, and every
// operation takes its text from here. UTF-8, one or more statements each. Other programs read the tables that these
// texts create, so a text is never changed, only the tables migrated (sqlite3_operator.h).
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace tavi::db {

enum class SqlText : std::size_t {
    kCreateDelayRecord = 1,
    kDeleteAllDelayRecords,
    kSelectDelayRecords,
    kInsertDelayRecord,
    kDropDelayRecord,
    kAddFrnToDelayRecord,
    kCreateFileChangeRecord,
    kDeleteAllFileChangeRecords,
    kUpsertFileChangeRecord,
    kDropFileChangeRecord,
    kInsertFileChangeRecordUnlessReported,  // not run by any operation
    kRenameFileChangeRecords,               // not run by any operation
    kAddFrnToFileChangeRecord,
    kAddOldFrnToFileChangeRecord,
    kCreateUser,
    kSelectUser,
    kInsertUser,
    kUpdateUser,
    kUpdateUserUsn,
    kDropUser,
    kCreateTemporaryFile,
    kReplaceTemporaryFile,
    kDeleteAllTemporaryFiles,
    kDropTemporaryFile,
    kCreatePathMapping,
    kReplacePathMapping,
    kSelectPathMapping,
    kDeleteAllPathMappings,
    kDeleteDeletedPathMappings,  // not run by any operation
    kDropPathMapping,
};

inline constexpr std::size_t kSqlTextCount = 30;

class StatementTexts {
public:
    StatementTexts();

    const std::string& operator[](SqlText text) const { return texts_[static_cast<std::size_t>(text) - 1]; }
    const std::array<std::string, kSqlTextCount>& all() const { return texts_; }

private:
    std::array<std::string, kSqlTextCount> texts_;
};

}  // namespace tavi::db
