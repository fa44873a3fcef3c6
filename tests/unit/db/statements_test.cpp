#include "db/statements.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tavi::db {
namespace {

// Written out whole, each on one line, so that a blank more or less shows.
// clang-format off
const std::array<std::string, 30> kTexts{
    "CREATE TABLE IF NOT EXISTS delayRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath VARCHAR(500) NOT NULL,originalFilePath VARCHAR(500),fileAttributes INTEGER NOT NULL,isTempFile INTEGER NOT NULL,reason INTEGER NOT NULL,delayCount INTEGER NOT NULL,time_stamp INTEGER NOT NULL,frn INTEGER NOT NULL);",
    "DELETE FROM delayRecord;",
    "SELECT filePath, originalFilePath,fileAttributes, isTempFile, reason, delayCount, time_stamp, frn FROM delayRecord;",
    "INSERT INTO delayRecord (filePath,originalFilePath,fileAttributes,isTempFile,reason,delayCount,time_stamp,frn) VALUES (?,?,?,?,?,?,?,?);",
    "DROP TABLE delayRecord;",
    "ALTER TABLE delayRecord ADD COLUMN frn INTEGER NOT NULL default 0;",
    "CREATE TABLE IF NOT EXISTS fileChangeRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,recordTimestamp INTEGER NOT NULL,relativePath VARCHAR(500) NOT NULL,originalRelativePath VARCHAR(500),fileAttributes INTEGER NOT NULL,reason INTEGER NOT NULL,frn INTEGER NOT NULL,oldfrn INTEGER NOT NULL,        UNIQUE (relativePath, originalRelativePath,reason));",
    "DELETE FROM fileChangeRecord;",
    "INSERT INTO fileChangeRecord(id, recordTimestamp, relativePath, originalRelativePath, fileAttributes, reason, frn,oldfrn)values((select max(id) + 1 from fileChangeRecord), ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(relativePath, originalRelativePath, reason) DO UPDATE SET id = excluded.id,recordTimestamp = excluded.recordTimestamp, fileAttributes = excluded.fileAttributes, frn = excluded.frn",
    "DROP TABLE fileChangeRecord;",
    "INSERT OR REPLACE INTO fileChangeRecord (recordTimestamp,relativePath,originalRelativePath,fileAttributes,reason,frn,oldfrn)         SELECT ?,?,?,?,?,?,? WHERE NOT EXISTS (SELECT id FROM fileChangeRecord WHERE         (reason=? OR reason=?) AND relativePath=?);",
    "UPDATE fileChangeRecord SET relativePath=? WHERE id IN (SELECT id FROM fileChangeRecord WHERE (reason=? OR reason=?) AND relativePath=?);",
    "ALTER TABLE fileChangeRecord ADD COLUMN frn INTEGER NOT NULL default 0;",
    "ALTER TABLE fileChangeRecord ADD COLUMN         oldfrn INTEGER NOT NULL default 0;",
    "CREATE TABLE IF NOT EXISTS user (userId VARCHAR(60) PRIMARY KEY NOT NULL,listenPath VARCHAR(300) NOT NULL,usnLocation INTEGER NOT NULL);",
    "SELECT userId, listenPath, usnLocation FROM user WHERE userId=?;",
    "INSERT INTO user (userId, listenPath, usnLocation) VALUES(?, ?, ?);",
    "UPDATE user SET listenPath=?,usnLocation=? WHERE userId=?;",
    "UPDATE user SET usnLocation=? WHERE userId=?;",
    "DROP TABLE user;",
    "CREATE TABLE IF NOT EXISTS temporaryFile (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath VARCHAR(500) NOT NULL UNIQUE,fileAttributes INTEGER NOT NULL,isHandle INTEGER DEFAULT (0) NOT NULL);",
    "INSERT OR REPLACE INTO temporaryFile (filePath,fileAttributes,isHandle) VALUES (?,?,?);",
    "DELETE FROM temporaryFile;",
    "DROP TABLE temporaryFile;",
    "CREATE TABLE IF NOT EXISTS pathMapping ( fileReferenceNumber INTEGER PRIMARY KEY NOT NULL UNIQUE, fileName VARCHAR(256) NOT NULL, parentFileReferenceNumber INTEGER NOT NULL, deleted INTEGER DEFAULT (0) NOT NULL);",
    "INSERT OR REPLACE INTO pathMapping (fileReferenceNumber, fileName, parentFileReferenceNumber, deleted) VALUES (?, ?, ?, ?);",
    "SELECT fileReferenceNumber, fileName, parentFileReferenceNumber, deleted FROM pathMapping;",
    "DELETE FROM pathMapping;",
    "DELETE FROM pathMapping WHERE deleted=1;",
    "DROP TABLE pathMapping;"};
// clang-format on

TEST(Statements, AllThirtyTextsAreWordForWord) {
    const StatementTexts texts;
    for (std::size_t i = 0; i < kTexts.size(); ++i) {
        EXPECT_EQ(texts.all()[i], kTexts[i]) << "text " << i + 1;
    }
}

TEST(Statements, EveryNameStandsForItsPlaceInTheOrder) {
    const StatementTexts texts;
    EXPECT_EQ(texts[SqlText::kCreateDelayRecord], kTexts[0]);
    EXPECT_EQ(texts[SqlText::kUpsertFileChangeRecord], kTexts[8]);
    EXPECT_EQ(texts[SqlText::kCreateUser], kTexts[14]);
    EXPECT_EQ(texts[SqlText::kReplaceTemporaryFile], kTexts[21]);
    EXPECT_EQ(texts[SqlText::kDropPathMapping], kTexts[29]);
}

}  // namespace
}  // namespace tavi::db
