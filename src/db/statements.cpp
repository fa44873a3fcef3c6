#include "db/statements.h"

namespace tavi::db {

// In the order of SqlText. The spacing inside the texts is part of them: databases of earlier versions store some of
// these texts in their schema table. Adjacent literals are one text.
StatementTexts::StatementTexts()
    : texts_{
          // kCreateDelayRecord
          std::string(
              "CREATE TABLE IF NOT EXISTS delayRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath "
              "VARCHAR(500) NOT NULL,originalFilePath VARCHAR(500),fileAttributes INTEGER NOT NULL,isTempFile "
              "INTEGER NOT NULL,reason INTEGER NOT NULL,delayCount INTEGER NOT NULL,time_stamp INTEGER NOT NULL,"
              "frn INTEGER NOT NULL);"),
          // kDeleteAllDelayRecords
          std::string("DELETE FROM delayRecord;"),
          // kSelectDelayRecords
          std::string(
              "SELECT filePath, originalFilePath,fileAttributes, isTempFile, reason, delayCount, time_stamp, frn "
              "FROM delayRecord;"),
          // kInsertDelayRecord
          std::string("INSERT INTO delayRecord (filePath,originalFilePath,fileAttributes,isTempFile,reason,delayCount,"
                      "time_stamp,frn) VALUES (?,?,?,?,?,?,?,?);"),
          // kDropDelayRecord
          std::string("DROP TABLE delayRecord;"),
          // kAddFrnToDelayRecord
          std::string("ALTER TABLE delayRecord ADD COLUMN frn INTEGER NOT NULL default 0;"),
          // kCreateFileChangeRecord
          std::string(
              "CREATE TABLE IF NOT EXISTS fileChangeRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,"
              "recordTimestamp INTEGER NOT NULL,relativePath VARCHAR(500) NOT NULL,originalRelativePath "
              "VARCHAR(500),fileAttributes INTEGER NOT NULL,reason INTEGER NOT NULL,frn INTEGER NOT NULL,oldfrn "
              "INTEGER NOT NULL,        UNIQUE (relativePath, originalRelativePath,reason));"),
          // kDeleteAllFileChangeRecords
          std::string("DELETE FROM fileChangeRecord;"),
          // kUpsertFileChangeRecord
          std::string(
              "INSERT INTO fileChangeRecord(id, recordTimestamp, relativePath, originalRelativePath, "
              "fileAttributes, reason, frn,oldfrn)values((select max(id) + 1 from fileChangeRecord), ?, ?, ?, ?, ?,"
              " ?, ?) ON CONFLICT(relativePath, originalRelativePath, reason) DO UPDATE SET id = excluded.id,"
              "recordTimestamp = excluded.recordTimestamp, fileAttributes = excluded.fileAttributes, frn = "
              "excluded.frn"),
          // kDropFileChangeRecord
          std::string("DROP TABLE fileChangeRecord;"),
          // kInsertFileChangeRecordUnlessReported
          std::string("INSERT OR REPLACE INTO fileChangeRecord (recordTimestamp,relativePath,originalRelativePath,"
                      "fileAttributes,reason,frn,oldfrn)         SELECT ?,?,?,?,?,?,? WHERE NOT EXISTS (SELECT id FROM "
                      "fileChangeRecord WHERE         (reason=? OR reason=?) AND relativePath=?);"),
          // kRenameFileChangeRecords
          std::string("UPDATE fileChangeRecord SET relativePath=? WHERE id IN (SELECT id FROM fileChangeRecord WHERE "
                      "(reason=? OR reason=?) AND relativePath=?);"),
          // kAddFrnToFileChangeRecord
          std::string("ALTER TABLE fileChangeRecord ADD COLUMN frn INTEGER NOT NULL default 0;"),
          // kAddOldFrnToFileChangeRecord
          std::string("ALTER TABLE fileChangeRecord ADD COLUMN         oldfrn INTEGER NOT NULL default 0;"),
          // kCreateUser
          std::string(
              "CREATE TABLE IF NOT EXISTS user (userId VARCHAR(60) PRIMARY KEY NOT NULL,listenPath VARCHAR(300) "
              "NOT NULL,usnLocation INTEGER NOT NULL);"),
          // kSelectUser
          std::string("SELECT userId, listenPath, usnLocation FROM user WHERE userId=?;"),
          // kInsertUser
          std::string("INSERT INTO user (userId, listenPath, usnLocation) VALUES(?, ?, ?);"),
          // kUpdateUser
          std::string("UPDATE user SET listenPath=?,usnLocation=? WHERE userId=?;"),
          // kUpdateUserUsn
          std::string("UPDATE user SET usnLocation=? WHERE userId=?;"),
          // kDropUser
          std::string("DROP TABLE user;"),
          // kCreateTemporaryFile
          std::string(
              "CREATE TABLE IF NOT EXISTS temporaryFile (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath "
              "VARCHAR(500) NOT NULL UNIQUE,fileAttributes INTEGER NOT NULL,isHandle INTEGER DEFAULT (0) NOT NULL);"),
          // kReplaceTemporaryFile
          std::string("INSERT OR REPLACE INTO temporaryFile (filePath,fileAttributes,isHandle) VALUES (?,?,?);"),
          // kDeleteAllTemporaryFiles
          std::string("DELETE FROM temporaryFile;"),
          // kDropTemporaryFile
          std::string("DROP TABLE temporaryFile;"),
          // kCreatePathMapping
          std::string(
              "CREATE TABLE IF NOT EXISTS pathMapping ( fileReferenceNumber INTEGER PRIMARY KEY NOT NULL UNIQUE, "
              "fileName VARCHAR(256) NOT NULL, parentFileReferenceNumber INTEGER NOT NULL, deleted INTEGER DEFAULT "
              "(0) NOT NULL);"),
          // kReplacePathMapping
          std::string("INSERT OR REPLACE INTO pathMapping (fileReferenceNumber, fileName, parentFileReferenceNumber, "
                      "deleted) VALUES (?, ?, ?, ?);"),
          // kSelectPathMapping
          std::string("SELECT fileReferenceNumber, fileName, parentFileReferenceNumber, deleted FROM pathMapping;"),
          // kDeleteAllPathMappings
          std::string("DELETE FROM pathMapping;"),
          // kDeleteDeletedPathMappings
          std::string("DELETE FROM pathMapping WHERE deleted=1;"),
          // kDropPathMapping
          std::string("DROP TABLE pathMapping;"),
      } {}

}  // namespace tavi::db
