// For every n, the n-th SQLite call or the n-th file call fails, once or for ever: in a save, in the preparation of a
// database and in its removal. Each time the log says what the operation is known to say, the result is true to what is
// in the file, and nothing stays open.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <functional>

#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;

enum class Lasts { kOnce, kForEver };
constexpr std::array<Lasts, 2> kBoth{Lasts::kOnce, Lasts::kForEver};
constexpr int kCode = SQLITE_FULL;  // 13; not one that is retried
constexpr const char* kCodeText = "13";

// The loops make hundreds of databases; none of them has to outlive a power failure.
class FastRig : public DatabaseRig {
public:
    FastRig() {
        sqlite_.OnOpened(
            [](sqlite3* handle) { sqlite3_exec(handle, "PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr); });
    }
};

// Fails the n-th SQLite call that can fail, and remembers which that was.
class SqliteFault {
public:
    SqliteFault(DatabaseRig& rig, int n, Lasts lasts) {
        rig.sqlite_.OnCall([this, n, lasts](const std::string& call) -> std::optional<int> {
            if (call.starts_with("PrepareV2")) {
                prepared_ = call.substr(10);
            }
            if (call.starts_with("Column")) {
                return std::nullopt;
            }
            ++made_;
            if (made_ < n || (made_ > n && lasts == Lasts::kOnce)) {
                return std::nullopt;
            }
            if (made_ == n) {
                call_ = call;
                statement_ = prepared_;
            }
            return kCode;
        });
    }

    bool fired() const { return !call_.empty(); }
    const std::string& call() const { return call_; }
    bool Is(const char* prefix) const { return call_.starts_with(prefix); }
    // A bind or a step, or the preparing, of a text that starts so.
    bool IsPreparing(const char* sql) const { return Is("PrepareV2") && statement_.starts_with(sql); }
    bool IsElementOf(const char* sql) const { return (Is("Bind") || call_ == "Step") && statement_.starts_with(sql); }
    // After these the operation's work is done, or has not to do with its result.
    bool IsHarmless() const { return Is("DbConfig") || Is("Finalize") || Is("Reset") || Is("Exec PRAGMA cache_size"); }

private:
    int made_ = 0;
    std::string prepared_;
    std::string call_;
    std::string statement_;
};

// The line that a failing call is known by; empty when it says nothing. What all operations have in common.
std::string CommonLine(const SqliteFault& fault) {
    const std::string tag = "SqLite3Operator/";
    if (fault.Is("OpenV2 0x8002")) {
        return tag + "OpenDb/Failed to open the database,error reason:" + kCodeText;
    }
    if (fault.Is("OpenV2 0x8001")) {
        return tag + "OpenDbReadOnly/Failed to open the read-only database,error reason:" + kCodeText;
    }
    if (fault.Is("CloseV2")) {
        return tag + "CloseDb/Failed to close the database,error reason:" + kCodeText;
    }
    if (fault.Is("Exec begin")) {
        return tag + "BeginDbTransaction/Failed to start the transaction,error reason:" + kCodeText;
    }
    if (fault.Is("Exec commit")) {
        return tag + "CommitDbTransaction/Failed to commit the transaction,error reason:" + kCodeText;
    }
    if (fault.Is("Exec") && !fault.IsHarmless()) {
        return std::string("SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is ") +
               kCodeText;
    }
    return {};
}

std::string SaveLine(const SqliteFault& fault) {
    struct Texts {
        const char* sql;
        const char* preparing;
        const char* element;
    };
    constexpr std::array<Texts, 4> kTexts{
        {{"INSERT INTO delayRecord", "InsertDelayRecordTable/Failed to create the stmt object,error reason:13",
          "InsertDelayRecordTable/Failed to write the delay record table,error reason:13"},
         {"INSERT INTO fileChangeRecord", "InsertFileChangeRecordTable/Failed to create the stmt object",
          "InsertFileChangeRecordTable/Failed to insert the file change record table"},
         {"UPDATE user", "UpdateUSNOfUserTableSql/Failed to create the stmt object,error reason:13",
          "UpdateUSNOfUserTableSql/Failed to update the USN,error reason:13"},
         {"INSERT OR REPLACE INTO temporaryFile",
          "InsertTemporaryFileTableSql/Failed to create the stmt object,error reason:13",
          "InsertTemporaryFileTableSql/Failed to execute the insertion SQL statement,error reason:13"}}};
    if (fault.call() == "BusyHandler") {
        return "SqLite3Operator/OpenDb/Failed to set busy_handle,error reason:13";
    }
    for (const Texts& texts : kTexts) {
        if (fault.IsPreparing(texts.sql)) {
            return std::string("SqLite3Operator/") + texts.preparing;
        }
        if (fault.IsElementOf(texts.sql)) {
            return std::string("SqLite3Operator/") + texts.element;
        }
    }
    return CommonLine(fault);
}

// Comes before every open, whichever it is, and fails like it.
bool ForbidsTheOpen(const SqliteFault& fault) {
    return fault.Is("RegisterVfsRefusing");
}

bool SaysThatAnOpenFailed(const std::string& line) {
    const std::string code = kCodeText;
    return line == "SqLite3Operator/OpenDb/Failed to open the database,error reason:" + code ||
           line == "SqLite3Operator/OpenDbReadOnly/Failed to open the read-only database,error reason:" + code ||
           line == "SqLite3Operator/CreateDb/Failed to create the database,errorReason is " + code;
}

// What the operation is expected to say first after the fault; empty: nothing, when it is the only one.
void ExpectFirstLine(DatabaseRig& rig, const SqliteFault& fault, const std::string& line, Lasts lasts) {
    const Lines errors = rig.Errors();
    if (ForbidsTheOpen(fault)) {
        ASSERT_FALSE(errors.empty()) << "expected that an open failed";
        EXPECT_TRUE(SaysThatAnOpenFailed(errors.front())) << errors.front();
        return;
    }
    if (!line.empty()) {
        ASSERT_FALSE(errors.empty()) << "expected " << line;
        EXPECT_EQ(errors.front(), line);
    } else if (lasts == Lasts::kOnce) {
        EXPECT_EQ(errors, Lines{});
    }
}

TEST(FaultLoop, SaveHoldsAllOfABatchWithItsPositionOrNothing) {
    for (const Lasts lasts : kBoth) {
        int n = 1;
        for (bool fired = true; fired; ++n) {
            FastRig rig;
            rig.Init();
            rig.RunSql(
                "INSERT INTO user VALUES('user-1','p',1);INSERT INTO delayRecord VALUES(1,'held','',32,0,1,0,5,6);");
            const Lines before = rig.Everything();
            SqliteFault fault(rig, n, lasts);
            const bool saved =
                rig.database_.SaveCycleResults({Change(u"d")}, {Change(u"a"), Change(u"b")}, {{u"t", 1, 0}}, 2, kUser);
            SCOPED_TRACE(std::to_string(n) + (lasts == Lasts::kOnce ? " once " : " for ever ") + fault.call());
            fired = fault.fired();
            EXPECT_EQ(rig.sqlite_.OpenThings(), 0U);
            rig.sqlite_.MakeEverything();
            if (saved) {
                EXPECT_EQ(rig.Rows("SELECT usnLocation FROM user;"), Lines{"2"});
                EXPECT_EQ(rig.Rows("SELECT filePath FROM delayRecord;"), Lines{"d"});
                EXPECT_EQ(rig.Rows("SELECT relativePath FROM fileChangeRecord ORDER BY id;"), (Lines{"a", "b"}));
                EXPECT_EQ(rig.Rows("SELECT filePath FROM temporaryFile;"), Lines{"t"});
            } else {
                EXPECT_EQ(rig.Everything(), before);
            }
            if (!fired) {
                EXPECT_TRUE(saved);
                continue;
            }
            ExpectFirstLine(rig, fault, SaveLine(fault), lasts);
            const bool worksWithout = fault.IsHarmless() || fault.Is("BusyHandler") || fault.Is("CloseV2");
            if (lasts == Lasts::kOnce) {
                EXPECT_EQ(saved, worksWithout);
            }
            // The next attempt, with the fault gone, delivers the same records.
            EXPECT_TRUE(
                rig.database_.SaveCycleResults({Change(u"d")}, {Change(u"a"), Change(u"b")}, {{u"t", 1, 0}}, 2, kUser));
            EXPECT_EQ(rig.Rows("SELECT relativePath FROM fileChangeRecord ORDER BY id;"), (Lines{"a", "b"}));
        }
        EXPECT_GT(n, 40);
    }
}

std::string InitLine(const SqliteFault& fault) {
    const std::string tag = "SqLite3Operator/";
    if (fault.Is("OpenV2 0x8006")) {
        return tag + "CreateDb/Failed to create the database,errorReason is " + kCodeText;
    }
    if (fault.Is("Exec PRAGMA journal_mode")) {
        return tag + "CreateDb/Failed to start the WAL mode,errorReason is " + kCodeText;
    }
    if (fault.IsPreparing("select * from sqlite_master where name = 'delayRecord'")) {
        return tag + "CheckColumnExists/Failed";
    }
    if (fault.IsPreparing("select * from sqlite_master where name = 'fileChangeRecord'")) {
        return tag + "CheckColumnExistsOldFrn/Failed";
    }
    return CommonLine(fault);
}

// The line that the preparation ends with when that call fails; empty: it succeeds nonetheless.
std::string InitEnd(const SqliteFault& fault) {
    const std::string tag = "SqLite3Operator/InitSqLiteDb/";
    if (fault.Is("OpenV2 0x8006")) {
        return tag + "Failed to create the database";
    }
    if (fault.Is("OpenV2 0x8002") || fault.Is("Exec CREATE")) {
        return tag + "Failed to create the database table";
    }
    if (fault.IsPreparing("select * from sqlite_master where name = 'delayRecord'")) {
        return tag + "CheckColumnExists Fail";
    }
    if (fault.IsPreparing("select * from sqlite_master where name = 'fileChangeRecord'")) {
        return tag + "CheckColumnExistsOldFrn Fail";
    }
    return {};
}

bool Has(const Lines& lines, const std::string& line) {
    return std::ranges::find(lines, line) != lines.end();
}

void ExpectPreparedAgain(DatabaseRig& rig) {
    rig.Forget();
    EXPECT_TRUE(rig.database_.InitSqLiteDb(kPath)) << rig.log().Dump();
    EXPECT_EQ(rig.Everything(), Lines{});
    EXPECT_TRUE(rig.database_.InsertUserTable({kUser, u"p", 1}));
    EXPECT_TRUE(rig.database_.SaveCycleResults({Change(u"d")}, {Change(u"a")}, {{u"t", 1, 0}}, 2, kUser));
}

TEST(FaultLoop, PreparationSaysWhatFailedAndWorksTheNextTime) {
    for (const Lasts lasts : kBoth) {
        int n = 1;
        for (bool fired = true; fired; ++n) {
            FastRig rig;
            SqliteFault fault(rig, n, lasts);
            const bool prepared = rig.database_.InitSqLiteDb(kPath);
            SCOPED_TRACE(std::to_string(n) + (lasts == Lasts::kOnce ? " once " : " for ever ") + fault.call());
            fired = fault.fired();
            EXPECT_EQ(rig.sqlite_.OpenThings(), 0U);
            if (fired && fault.call() != "BusyHandler" && fault.call() != "CloseV2" && fault.call() != "Step") {
                ExpectFirstLine(rig, fault, InitLine(fault), lasts);
            }
            if (lasts == Lasts::kOnce && fired && !InitEnd(fault).empty()) {
                EXPECT_FALSE(prepared);
                EXPECT_EQ(rig.Errors().back(), InitEnd(fault));
            } else if (lasts == Lasts::kOnce) {
                EXPECT_EQ(prepared, !fault.Is("OpenV2 0x8001") && !ForbidsTheOpen(fault));
            }
            EXPECT_EQ(rig.database_.databasePath(), prepared ? kPath : u"");
            EXPECT_TRUE(rig.machine_.leaks().empty()) << rig.machine_.leaks().front();
            ExpectPreparedAgain(rig);
        }
        EXPECT_GT(n, 20);
    }
}

constexpr const char* kFirstVersion =
    "CREATE TABLE user (userId VARCHAR(60) PRIMARY KEY NOT NULL,listenPath VARCHAR(300) NOT NULL,"
    "usnLocation INTEGER NOT NULL);"
    "CREATE TABLE delayRecord (id INTEGER PRIMARY KEY,filePath,originalFilePath,fileAttributes,isTempFile,reason,"
    "delayCount,time_stamp);"
    "CREATE TABLE fileChangeRecord (id INTEGER PRIMARY KEY,recordTimestamp,relativePath,originalRelativePath,"
    "fileAttributes,reason,UNIQUE (relativePath,originalRelativePath,reason));";

// It comes without write-ahead log, too, so that the switch to it is among the calls that fail.
TEST(FaultLoop, MigrationIsWholeOrNotBegunAndIsMadeUpTheNextTime) {
    for (const Lasts lasts : kBoth) {
        int n = 1;
        for (bool fired = true; fired; ++n) {
            FastRig rig;
            rig.MakeFile(kFirstVersion);
            SqliteFault fault(rig, n, lasts);
            rig.database_.InitSqLiteDb(kPath);
            SCOPED_TRACE(std::to_string(n) + (lasts == Lasts::kOnce ? " once " : " for ever ") + fault.call());
            fired = fault.fired();
            EXPECT_EQ(rig.sqlite_.OpenThings(), 0U);
            rig.sqlite_.MakeEverything();
            const bool delay = Has(rig.Columns("delayRecord"), "frn");
            EXPECT_EQ(delay, Has(rig.Columns("fileChangeRecord"), "frn"));
            EXPECT_TRUE(delay || fired);
            ExpectPreparedAgain(rig);
            EXPECT_THAT(rig.Columns("fileChangeRecord"), testing::IsSupersetOf({"frn", "oldfrn"}));
            EXPECT_THAT(rig.Columns("delayRecord"), testing::Contains("frn"));
            EXPECT_EQ(rig.Rows("PRAGMA journal_mode;"), Lines{"wal"});
        }
        EXPECT_GT(n, 40);
    }
}

TEST(FaultLoop, PreparationWithAFailingFileCallSaysSoAndWorksTheNextTime) {
    for (const Lasts lasts : kBoth) {
        for (const bool exists : {false, true}) {
            std::uint64_t n = 1;
            for (bool fired = true; fired; ++n) {
                FastRig rig;
                if (exists) {
                    rig.Init();
                }
                const std::uint64_t before = rig.machine_.faults().fired();
                rig.machine_.faults().Fail({.call = "Files. Paths.", .nth = n, .forEver = lasts == Lasts::kForEver});
                const bool prepared = rig.database_.InitSqLiteDb(kPath);
                rig.machine_.faults().Clear();
                fired = rig.machine_.faults().fired() != before;
                SCOPED_TRACE(std::to_string(n) + " " + rig.machine_.faults().lastFired());
                EXPECT_EQ(prepared, rig.Errors().empty());
                EXPECT_EQ(rig.database_.databasePath(), prepared ? kPath : u"");
                if (!prepared) {
                    EXPECT_EQ(rig.Errors().size(), 1U);
                    EXPECT_TRUE(rig.Errors()[0] == "SqLite3Operator/InitSqLiteDb/The database directory is incorrect" ||
                                rig.Errors()[0] ==
                                    "SqLite3Operator/InitSqLiteDb/Failed to create the database directory")
                        << rig.Errors()[0];
                }
                EXPECT_TRUE(rig.machine_.leaks().empty()) << rig.machine_.leaks().front();
                ExpectPreparedAgain(rig);
            }
            EXPECT_GT(n, 6U);
        }
    }
}

TEST(FaultLoop, RemovalAlwaysSucceedsAndTheFileGoesUnlessTheSystemKeepsIt) {
    for (const Lasts lasts : kBoth) {
        int n = 1;
        for (bool fired = true; fired; ++n) {
            FastRig rig;
            rig.Init();
            SqliteFault fault(rig, n, lasts);
            EXPECT_TRUE(SqLite3Operator::DropTablesAndDb(rig.platform_, kPath));
            SCOPED_TRACE(fault.call());
            fired = fault.fired();
            EXPECT_EQ(rig.sqlite_.OpenThings(), 0U);
            EXPECT_FALSE(rig.platform_.paths.PathFileExistsW(kPath));
            if (fired && fault.Is("Exec DROP")) {
                ExpectFirstLine(rig, fault, CommonLine(fault), lasts);
            }
        }
        EXPECT_GT(n, 20);
    }
}

TEST(FaultLoop, RemovalWithAFailingFileCallSucceedsToo) {
    for (const Lasts lasts : kBoth) {
        std::uint64_t n = 1;
        for (bool fired = true; fired; ++n) {
            FastRig rig;
            rig.Init();
            const std::uint64_t before = rig.machine_.faults().fired();
            rig.machine_.faults().Fail({.call = "Files. Paths.", .nth = n, .forEver = lasts == Lasts::kForEver});
            EXPECT_TRUE(SqLite3Operator::DropTablesAndDb(rig.platform_, kPath));
            rig.machine_.faults().Clear();
            fired = rig.machine_.faults().fired() != before;
            SCOPED_TRACE(std::to_string(n) + " " + rig.machine_.faults().lastFired());
            EXPECT_TRUE(!rig.platform_.paths.PathFileExistsW(kPath) || !rig.Errors().empty());
            EXPECT_TRUE(rig.machine_.leaks().empty()) << rig.machine_.leaks().front();
        }
        EXPECT_GT(n, 6U);
    }
}

// A text that there is no memory for: an empty user, another folder or a record without its name would be invented.
TEST(FaultLoop, ReadWithAMissingTextIsAFailureAndGivesNothingOfThatRow) {
    FastRig rig;
    rig.Init();
    rig.RunSql(
        "INSERT INTO user VALUES('user-1','p',1);"
        "INSERT INTO delayRecord VALUES(1,'a','o',0,0,1,0,1,1);"
        "INSERT INTO pathMapping VALUES(1,'a',2,0);");
    std::vector<records::DelayRecord> delayed;
    std::vector<PathMappingEntry> directories;
    for (const char* column : {"ColumnText16 0", "ColumnText16 1", "ColumnText16 3"}) {
        SCOPED_TRACE(column);
        const bool inDelayed = column[13] != '3';
        rig.Forget();
        rig.sqlite_.Answer(column, SQLITE_NOMEM);
        if (inDelayed) {
            const UserQueryResult user = rig.database_.SelectUserTableByUserId(kUser);
            EXPECT_FALSE(user.ok);
            EXPECT_EQ(user.record.userId + user.record.listenPath, u"");
        }
        EXPECT_EQ(rig.database_.SelectAllDataFromDelayRecordTable(delayed), !inDelayed);
        EXPECT_EQ(rig.database_.SelectPathMappingTable(directories), inDelayed);
        EXPECT_EQ(rig.Errors(), Lines{});
        EXPECT_EQ(rig.sqlite_.OpenThings(), 0U);
    }
    EXPECT_EQ(delayed.size(), 1U);      // of the round that touched another column
    EXPECT_EQ(directories.size(), 2U);  // the same
}

}  // namespace
}  // namespace tavi::db
