#include <algorithm>
#include <filesystem>
#include <optional>

#include "imports/type_convert.h"
#include "support/forwarding.h"
#include "support/platform_with.h"
#include "unit/db/database_test.h"
#include "unit/records/cycle/failing_allocation.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;
using Initialisation = DatabaseTest;

constexpr const char* kUserTable =
    "CREATE TABLE user (userId VARCHAR(60) PRIMARY KEY NOT NULL,listenPath VARCHAR(300) NOT NULL,"
    "usnLocation INTEGER NOT NULL);";
// The tables as the first version made them, without reference numbers.
constexpr const char* kOldDelayTable =
    "CREATE TABLE delayRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath VARCHAR(500) NOT NULL,"
    "originalFilePath VARCHAR(500),fileAttributes INTEGER NOT NULL,isTempFile INTEGER NOT NULL,reason INTEGER NOT NULL,"
    "delayCount INTEGER NOT NULL,time_stamp INTEGER NOT NULL);";
constexpr const char* kOldChangeTable =
    "CREATE TABLE fileChangeRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,recordTimestamp INTEGER NOT NULL,"
    "relativePath VARCHAR(500) NOT NULL,originalRelativePath VARCHAR(500),fileAttributes INTEGER NOT NULL,"
    "reason INTEGER NOT NULL,UNIQUE (relativePath, originalRelativePath,reason));";
constexpr const char* kDelayTable =
    "CREATE TABLE delayRecord (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL,filePath VARCHAR(500) NOT NULL,"
    "originalFilePath VARCHAR(500),fileAttributes INTEGER NOT NULL,isTempFile INTEGER NOT NULL,reason INTEGER NOT NULL,"
    "delayCount INTEGER NOT NULL,time_stamp INTEGER NOT NULL,frn INTEGER NOT NULL);";

// The database with what belongs to it, as a kill leaves it. The index of the log dies with its users.
void CopyDatabase(const std::string& from, const std::string& to) {
    namespace fs = std::filesystem;
    for (const char* companion : {"", "-wal", "-shm", "-journal"}) {
        fs::remove(to + companion);
        if (companion != std::string("-shm") && fs::exists(from + companion)) {
            fs::copy_file(from + companion, to + companion);
        }
    }
}

TEST_F(Initialisation, PathWithoutBackslashIsRejectedBeforeAnythingIsCreated) {
    EXPECT_FALSE(database_.InitSqLiteDb(u"ListenService.dat"));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/InitSqLiteDb/The database directory is incorrect"});
    EXPECT_TRUE(sqlite_.calls().empty());
    EXPECT_EQ(machine_.faults().calls("Paths.SHCreateDirectoryExW"), 0U);
    EXPECT_EQ(machine_.faults().calls("Files.CreateFileW"), 0U);
}

// A device answers to being opened, and a relative path leads to wherever the process is.
TEST_F(Initialisation, PathThatIsOnNoDriveAndNoShareIsRejectedBeforeAnythingIsOpened) {
    for (const char16_t* path :
         {u"\\\\.\\C:\\x.dat", u"\\\\.\\pipe\\x\\x.dat", u"//./C:/x.dat", u"\\\\?\\GLOBALROOT\\Device\\x\\x.dat",
          u"\\\\?\\Volume{0}\\x.dat", u"\\\\?\\UNC\\server\\share\\x.dat", u"\\\\?\\C:x\\x.dat", u"\\\\?\\x.dat",
          u"\\??\\C:\\x.dat", u"Data\\x.dat", u"\\Data\\x.dat", u"C:Data\\x.dat", u"1:\\x.dat", u"\\\\server\\x.dat",
          u"\\\\\\share\\x.dat", u"\\\\server\\\\x.dat", u""}) {
        Forget();
        EXPECT_FALSE(database_.InitSqLiteDb(path)) << TypeConvert::UnicodeToUTF8(path);
        EXPECT_EQ(Errors(), Lines{"SqLite3Operator/InitSqLiteDb/The database directory is incorrect"});
        EXPECT_EQ(database_.databasePath(), u"");
        EXPECT_TRUE(SqLite3Operator::DropTablesAndDb(platform_, path));
        EXPECT_TRUE(sqlite_.calls().empty());
    }
    EXPECT_EQ(machine_.faults().calls("Files. Paths."), 0U);
}

TEST_F(Initialisation, MakesDirectoriesFileAndTables) {
    EXPECT_TRUE(database_.InitSqLiteDb(u"D:\\Data\\deep\\er\\ListenService.dat")) << log().Dump();
    EXPECT_EQ(Errors(), Lines{});
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Rows("SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite%' ORDER BY rowid;"),
              (Lines{"user", "delayRecord", "fileChangeRecord", "temporaryFile", "pathMapping"}));
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
}

TEST_F(Initialisation, StoresThePathInTheFormThatTakesAnyLength) {
    if (std::filesystem::path::preferred_separator == '\\') {
        GTEST_SKIP() << "the simulated machine's files have Windows' limit here; the tests of the real calls cover it";
    }
    const std::u16string path = u"D:\\" + std::u16string(200, u'a') + u"\\" + std::u16string(60, u'b') + u"\\x.dat";
    EXPECT_TRUE(database_.InitSqLiteDb(path)) << log().Dump();
    EXPECT_EQ(database_.databasePath(), u"\\\\?\\" + path);
    EXPECT_TRUE(database_.InitSqLiteDb(u"D:/Data/5f1e/ListenService.dat"));
    EXPECT_EQ(database_.databasePath(), kPath);
}

TEST_F(Initialisation, CallsComeInTheirOrder) {
    const StatementTexts texts;
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    const std::string batch = texts[SqlText::kCreateUser] + texts[SqlText::kCreateDelayRecord] +
                              texts[SqlText::kCreateFileChangeRecord] + texts[SqlText::kCreateTemporaryFile] +
                              texts[SqlText::kCreatePathMapping];
    EXPECT_EQ(
        sqlite_.Calls({"OpenV2", "Exec", "PrepareV2", "Step", "Finalize", "CloseV2"}),
        (Lines{"OpenV2 0x8006", "Exec PRAGMA journal_mode=WAL;", "CloseV2",  //
               "OpenV2 0x8002", "Exec " + batch, "CloseV2",                  //
               "OpenV2 0x8001", "PrepareV2 select * from sqlite_master where name = 'delayRecord' and sql like '%frn%'",
               "Step", "Finalize", "CloseV2",  //
               "OpenV2 0x8001",
               "PrepareV2 select * from sqlite_master where name = 'fileChangeRecord' and sql like '%oldfrn%'", "Step",
               "Finalize", "CloseV2"}));
}

TEST_F(Initialisation, ExistingDatabaseIsNotCreatedAgainAndKeepsItsRows) {
    Init();
    RunSql("INSERT INTO user VALUES('u','p',1);");
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(sqlite_.Count("OpenV2 0x8006"), 0);
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"u|p|1"});
}

TEST_F(Initialisation, DirectoryThatCannotBeMadeIsReported) {
    machine_.faults().Fail({.call = "Paths.SHCreateDirectoryExW", .code = platform::kErrorAccessDenied});
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/InitSqLiteDb/Failed to create the database directory"});
}

TEST_F(Initialisation, FileThatCannotBeMadeIsReported) {
    sqlite_.Answer("OpenV2 0x8006", SQLITE_CANTOPEN);
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), (Lines{"SqLite3Operator/CreateDb/Failed to create the database,errorReason is 14",
                               "SqLite3Operator/InitSqLiteDb/Failed to create the database"}));
}

TEST_F(Initialisation, FailedWalSwitchIsLoggedAndAccepted) {
    sqlite_.Answer("Exec PRAGMA", SQLITE_IOERR);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/CreateDb/Failed to start the WAL mode,errorReason is 10"});
    EXPECT_EQ(sqlite_.Count("Free"), 1);
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"delete"});
}

TEST_F(Initialisation, TablesThatCannotBeMadeAreReported) {
    sqlite_.Answer("Exec CREATE", SQLITE_READONLY);
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(),
              (Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 8",
                     "SqLite3Operator/InitSqLiteDb/Failed to create the database table"}));
}

TEST_F(Initialisation, DatabaseThatCannotBeWrittenIsReported) {
    sqlite_.OnOpened([](sqlite3* handle) { sqlite3_exec(handle, "PRAGMA query_only=ON;", nullptr, nullptr, nullptr); });
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors().back(), "SqLite3Operator/InitSqLiteDb/Failed to create the database table");
    EXPECT_EQ(Errors()[Errors().size() - 2],
              "SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 8");
}

TEST_F(Initialisation, FullDiskIsReportedAndMadeUpLater) {
    sqlite_.OnOpened(
        [](sqlite3* handle) { sqlite3_exec(handle, "PRAGMA max_page_count=2;", nullptr, nullptr, nullptr); });
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(),
              (Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 13",
                     "SqLite3Operator/InitSqLiteDb/Failed to create the database table"}));
    sqlite_.OnOpened(nullptr);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
}

TEST_F(Initialisation, DatabaseLockedForAWhileIsWaitedFor) {
    Init();
    OtherConnection other(HostPath());
    other.Run("DROP TABLE pathMapping;BEGIN IMMEDIATE;");
    const std::int64_t start = Now();
    const platform::Handle thread = platform_.threads.StartThread([&] {
        platform_.threads.Sleep(3000);
        other.Run("COMMIT;");
    });
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_GE(Now() - start, 3000);
    EXPECT_EQ(Rows("SELECT name FROM sqlite_master WHERE name='pathMapping';"), Lines{"pathMapping"});
    EXPECT_TRUE(platform_.threads.WaitForThread(thread, platform::kInfinite));
    platform_.threads.CloseThread(thread);
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Initialisation, ColumnChecksThatCannotBePreparedAreReported) {
    sqlite_.Answer("PrepareV2 select * from sqlite_master where name = 'delayRecord'", SQLITE_ERROR);
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), (Lines{"SqLite3Operator/CheckColumnExists/Failed",
                               "SqLite3Operator/InitSqLiteDb/CheckColumnExists Fail"}));
    Forget();
    sqlite_.Answer("PrepareV2 select * from sqlite_master where name = 'fileChangeRecord'", SQLITE_ERROR);
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), (Lines{"SqLite3Operator/CheckColumnExistsOldFrn/Failed",
                               "SqLite3Operator/InitSqLiteDb/CheckColumnExistsOldFrn Fail"}));
}

TEST_F(Initialisation, ColumnChecksThatCannotReadTheDatabaseAreReported) {
    const std::string line = "SqLite3Operator/OpenDbReadOnly/Failed to open the read-only database,error reason:14";
    for (const int check : {1, 2}) {
        Forget();
        sqlite_.OnCall([check, opened = 0](const std::string& call) mutable -> std::optional<int> {
            return call == "OpenV2 0x8001" && ++opened == check ? std::optional<int>(SQLITE_CANTOPEN) : std::nullopt;
        });
        EXPECT_FALSE(database_.InitSqLiteDb(kPath));
        EXPECT_EQ(Errors(), (Lines{line, check == 1 ? "SqLite3Operator/InitSqLiteDb/CheckColumnExists Fail"
                                                    : "SqLite3Operator/InitSqLiteDb/CheckColumnExistsOldFrn Fail"}));
    }
}

TEST_F(Initialisation, FileThatCannotBeMadeForWantOfMemoryLeavesNothingToClose) {
    sqlite_.Answer("OpenV2 0x8006", SQLITE_NOMEM);
    EXPECT_FALSE(database_.CreateDb());
    EXPECT_EQ(sqlite_.calls(), (Lines{"OpenV2 0x8006", "Errcode"}));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/CreateDb/Failed to create the database,errorReason is 7"});
}

TEST_F(Initialisation, ColumnCheckIsPreparedSixTimesWhileBusy) {
    Init();
    sqlite_.Answer("PrepareV2", SQLITE_BUSY);
    const std::int64_t start = Now();
    EXPECT_FALSE(database_.CheckColumnExists());
    EXPECT_EQ(sqlite_.Count("PrepareV2"), 6);
    EXPECT_EQ(Now() - start, 5000);
}

TEST_F(Initialisation, ColumnCheckStepsOnce) {
    Init();
    sqlite_.Answer("Step", SQLITE_BUSY);
    EXPECT_TRUE(database_.CheckColumnExists());
    EXPECT_EQ(sqlite_.Count("Step"), 1);
}

TEST_F(Initialisation, DatabaseWithoutReferenceNumbersGetsThemInBothTables) {
    MakeFile(
        std::string(kUserTable) + kOldDelayTable + kOldChangeTable +
        "INSERT INTO fileChangeRecord VALUES(7,1,'a','',32,1);INSERT INTO delayRecord VALUES(3,'b','',32,0,1,0,5);");
    EXPECT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    EXPECT_EQ(Errors(), Lines{});
    EXPECT_EQ(Rows("SELECT * FROM fileChangeRecord;"), Lines{"7|1|a||32|1|0|0"});
    EXPECT_EQ(Rows("SELECT * FROM delayRecord;"), Lines{"3|b||32|0|1|0|5|0"});
    EXPECT_EQ(Columns("fileChangeRecord").back(), "oldfrn");
    EXPECT_EQ(sqlite_.Calls({"Exec ALTER"}),
              (Lines{"Exec ALTER TABLE delayRecord ADD COLUMN frn INTEGER NOT NULL default 0;"
                     "ALTER TABLE fileChangeRecord ADD COLUMN frn INTEGER NOT NULL default 0;",
                     "Exec ALTER TABLE fileChangeRecord ADD COLUMN         oldfrn INTEGER NOT NULL default 0;"}));
    EXPECT_TRUE(database_.SaveCycleResults({Change(u"d")}, {Change(u"c")}, {}, 9, kUser)) << log().Dump();
}

TEST_F(Initialisation, DatabaseWithoutOldReferenceNumbersGetsThem) {
    MakeFile(std::string(kUserTable) + kDelayTable + kOldChangeTable +
             "ALTER TABLE fileChangeRecord ADD COLUMN frn INTEGER NOT NULL default 0;"
             "INSERT INTO fileChangeRecord VALUES(7,1,'a','',32,1,4);");
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Rows("SELECT * FROM fileChangeRecord;"), Lines{"7|1|a||32|1|4|0"});
    EXPECT_EQ(sqlite_.Count("Exec ALTER"), 1);
}

TEST_F(Initialisation, DelayTableWithReferenceNumbersStandsForBothTables) {
    MakeFile(std::string(kUserTable) + kDelayTable + kOldChangeTable);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    const Lines columns = Columns("fileChangeRecord");
    EXPECT_EQ(std::count(columns.begin(), columns.end(), "frn"), 0);
    EXPECT_EQ(sqlite_.Count("Exec ALTER TABLE delayRecord"), 0);
}

TEST_F(Initialisation, MigratedDatabaseIsMigratedOnce) {
    MakeFile(std::string(kUserTable) + kOldDelayTable + kOldChangeTable);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(sqlite_.Count("Exec ALTER"), 2);
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Initialisation, FailedMigrationIsLoggedAndNotAFailure) {
    MakeFile(std::string(kUserTable) + kOldDelayTable + kOldChangeTable);
    sqlite_.Answer("Exec ALTER", SQLITE_FULL);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    const std::string line =
        "SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 13";
    EXPECT_EQ(Errors(), (Lines{line, line}));
}

TEST_F(Initialisation, MigrationsAreTransactionsOnOneConnection) {
    MakeFile(std::string(kUserTable) + kOldDelayTable + kOldChangeTable);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    const Lines calls = sqlite_.Calls({"OpenV2 0x8002", "Exec", "CloseV2"});
    const auto alter = std::ranges::find_if(calls, [](const auto& call) { return call.starts_with("Exec ALTER"); });
    ASSERT_GE(alter - calls.begin(), 2);
    ASSERT_GE(calls.end() - alter, 3);
    EXPECT_EQ(*(alter - 2), "OpenV2 0x8002");
    EXPECT_EQ(*(alter - 1), "Exec begin transaction;");
    EXPECT_EQ(*(alter + 1), "Exec commit transaction;");
    EXPECT_EQ(*(alter + 2), "CloseV2");
}

TEST_F(Initialisation, MigrationThatFailsHalfWayIsTakenBack) {
    MakeFile(std::string(kUserTable) + kOldDelayTable);
    // The second statement fails: a view cannot get a column.
    RunSql("CREATE VIEW fileChangeRecord AS SELECT 1 relativePath;");
    database_.InitSqLiteDb(kPath);
    EXPECT_EQ(Columns("delayRecord").back(), "time_stamp");
}

// The files as they are on the disk before every call are what a kill at that moment would leave.
TEST_F(Initialisation, KilledAtAnyCallAnOldDatabaseIsPreparedByTheNextStart) {
    MakeFile(std::string(kUserTable) + kOldDelayTable + kOldChangeTable +
             "INSERT INTO fileChangeRecord VALUES(7,1,'a','',32,1);INSERT INTO user VALUES('u','p',1);");
    const std::u16string copy = u"D:\\Data\\copy\\ListenService.dat";
    ASSERT_EQ(platform_.paths.SHCreateDirectoryExW(u"D:\\Data\\copy\\"), 0);
    const std::string copyOnHost = machine_.files().HostPath(copy).string();
    std::size_t migrated = 0;
    std::size_t inWal = 0;
    std::size_t moments = 0;
    sqlite_.OnCall([&](const std::string& call) -> std::optional<int> {
        SCOPED_TRACE("killed before " + call);
        CopyDatabase(HostPath(), copyOnHost);
        ++moments;
        {
            OtherConnection died(copyOnHost);
            const auto has = [&](const char* table) {
                return died.Rows(std::string("SELECT count(*) FROM pragma_table_info('") + table +
                                 "') WHERE name='frn';") == Lines{"1"};
            };
            EXPECT_EQ(has("delayRecord"), has("fileChangeRecord"));
            migrated += has("delayRecord") ? 1U : 0U;
            inWal += died.Rows("PRAGMA journal_mode;") == Lines{"wal"} ? 1U : 0U;
        }
        SqLite3Operator restarted(real_);
        EXPECT_TRUE(restarted.InitSqLiteDb(copy)) << log().Dump();
        EXPECT_TRUE(restarted.SaveCycleResults({Change(u"d")}, {Change(u"b")}, {}, 2, u"u")) << log().Dump();
        OtherConnection after(copyOnHost);
        EXPECT_EQ(after.Rows("SELECT relativePath, usnLocation FROM fileChangeRecord, user ORDER BY id;"),
                  (Lines{"a|2", "b|2"}));
        EXPECT_EQ(after.Rows("PRAGMA journal_mode;"), Lines{"wal"});
        return std::nullopt;
    });
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    sqlite_.MakeEverything();
    for (const std::size_t count : {migrated, inWal}) {
        EXPECT_GT(count, 0U);
        EXPECT_LT(count, moments);
    }
}

TEST_F(Initialisation, DatabaseThatDiedBeforeItsSwitchToWalIsSwitched) {
    MakeFile("CREATE TABLE somebody (x);");
    ASSERT_EQ(Rows("PRAGMA journal_mode;"), Lines{"delete"});
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(sqlite_.Count("Exec PRAGMA journal_mode=WAL;"), 1);
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Initialisation, FileThatDiedEmptyIsSwitched) {
    machine_.files().WriteText(kPath, "");
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Initialisation, DatabaseInWalModeIsNotSwitchedAgain) {
    Init();
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(sqlite_.Count("Exec PRAGMA"), 0);
}

TEST_F(Initialisation, SwitchThatFailsIsLoggedAsAStatementAndInitialisationGoesOn) {
    MakeFile("CREATE TABLE somebody (x);");
    sqlite_.Answer("Exec PRAGMA journal_mode", SQLITE_FULL);
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(),
              Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 13"});
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"delete"});
    Forget();
    EXPECT_TRUE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
}

TEST_F(Initialisation, SwitchThatAReaderHoldsUpIsLoggedAndInitialisationGoesOn) {
    MakeFile("CREATE TABLE somebody (x);INSERT INTO somebody VALUES(1);");
    ASSERT_TRUE(database_.InitSqLiteDb(u"D:\\Data\\other\\x.dat"));
    OtherConnection reader(HostPath());
    reader.Run("BEGIN;");
    ASSERT_EQ(reader.Rows("SELECT * FROM somebody;"), Lines{"1"});
    Forget();
    const platform::Handle thread = platform_.threads.StartThread([&] {
        platform_.threads.Sleep(60'000);
        reader.Run("COMMIT;");
    });
    EXPECT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    EXPECT_EQ(Errors().front(),
              "SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 5");
    EXPECT_TRUE(platform_.threads.WaitForThread(thread, platform::kInfinite));
    platform_.threads.CloseThread(thread);
}

TEST_F(Initialisation, CreatingWhatIsThereKeepsIt) {
    Init();
    RunSql("INSERT INTO user VALUES('u','p',1);DROP TABLE pathMapping;");
    EXPECT_TRUE(database_.CreateDb());
    EXPECT_TRUE(database_.CreateTables());
    EXPECT_EQ(Everything(), Lines{"user: u|p|1"});
}

TEST_F(Initialisation, DroppingStopsAtTheFirstTableThatIsMissing) {
    Init();
    RunSql("DROP TABLE temporaryFile;");
    EXPECT_FALSE(database_.DropTables());
    EXPECT_EQ(Rows("SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite%' ORDER BY name;"),
              (Lines{"delayRecord", "pathMapping", "user"}));
}

TEST_F(Initialisation, FileThatIsNoDatabaseIsReportedAndLeftAlone) {
    machine_.files().WriteText(kPath, std::string(5000, 'x'));
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(),
              (Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 26",
                     "SqLite3Operator/InitSqLiteDb/Failed to create the database table"}));
    EXPECT_FALSE(database_.SelectUserTableByUserId(kUser).ok);
}

TEST_F(Initialisation, FolderWhereTheFileWouldBeIsReported) {
    ASSERT_EQ(platform_.paths.SHCreateDirectoryExW(kPath), 0);
    EXPECT_FALSE(database_.InitSqLiteDb(kPath));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/InitSqLiteDb/The database directory is incorrect"});
    EXPECT_TRUE(sqlite_.calls().empty());
}

TEST_F(Initialisation, OperationsOnADatabaseThatIsGoneFailWithTheirLogLine) {
    Init();
    ASSERT_TRUE(platform_.paths.DeleteFileW(kPath));
    EXPECT_FALSE(database_.CreateTables());
    EXPECT_FALSE(database_.CheckColumnExists());
    EXPECT_FALSE(database_.SelectUserTableByUserId(kUser).ok);
    EXPECT_FALSE(database_.SaveCycleResults({}, {}, {}, 1, kUser));
    const std::string write = "SqLite3Operator/OpenDb/Failed to open the database,error reason:14";
    const std::string read = "SqLite3Operator/OpenDbReadOnly/Failed to open the read-only database,error reason:14";
    EXPECT_EQ(Errors(), (Lines{write, read, read, write}));
    EXPECT_FALSE(platform_.paths.PathFileExistsW(kPath));
}

// Nobody's database may be taken for the one that could not be prepared, least of all the one before.
TEST_F(Initialisation, BeforeItNoOperationFindsADatabase) {
    EXPECT_FALSE(database_.SelectUserTableByUserId(kUser).ok);
    EXPECT_FALSE(database_.InsertUserTable({kUser, u"p", 1}));
    EXPECT_FALSE(database_.SaveCycleResults({}, {Change(u"a")}, {}, 1, kUser));
    std::vector<records::DelayRecord> list;
    EXPECT_FALSE(database_.SelectAllDataFromDelayRecordTable(list));
}

// Lets the allocation fail only until the first file call: the simulated machine's own need memory.
class PathsThatEndTheFailure final : public test::ForwardingPaths {
public:
    using ForwardingPaths::ForwardingPaths;

    int Waccess(const std::u16string& path, int mode) override {
        failing.reset();
        return ForwardingPaths::Waccess(path, mode);
    }

    std::optional<records::testing::FailingAllocation> failing;
};

// Another user's database is not taken for the one that was asked for.
TEST_F(Initialisation, WithoutMemoryForThePathNoDatabaseIsLeftLeastOfAllTheOneBefore) {
    const std::u16string another = u"D:\\Data\\0a1b\\ListenService.dat";
    PathsThatEndTheFailure paths(real_.paths);
    platform::Platform platform = test::PlatformWith(platform_, paths);
    SqLite3Operator database(platform);
    Init();
    RunSql("INSERT INTO fileChangeRecord VALUES(1,1,'unread','',0,1,1,1);");
    std::uint64_t failures = 0;
    for (bool prepared = false; !prepared; ++failures) {
        ASSERT_TRUE(database.InitSqLiteDb(kPath));
        paths.failing.emplace(failures + 1);
        prepared = database.InitSqLiteDb(another);
        paths.failing.reset();
        EXPECT_EQ(database.databasePath(), prepared ? another : u"");
        database.ClearRecordTables();
        ASSERT_EQ(Rows("SELECT relativePath FROM fileChangeRecord;"), Lines{"unread"}) << failures;
    }
    EXPECT_GT(failures, 3U);
}

class Dropping : public DatabaseTest {
protected:
    bool Exists(const std::u16string& path) { return platform_.paths.PathFileExistsW(path); }
    bool Drop() { return SqLite3Operator::DropTablesAndDb(platform_, kPath); }
};

TEST_F(Dropping, DropsTheTablesAndDeletesTheFileWithItsCompanions) {
    Init();
    machine_.files().WriteText(kPath + u"-wal", "");
    machine_.files().WriteText(kPath + u"-shm", "");
    EXPECT_TRUE(Drop());
    EXPECT_EQ(Errors(), Lines{});
    EXPECT_EQ(sqlite_.Calls({"Exec DROP"}),
              Lines{"Exec DROP TABLE fileChangeRecord;DROP TABLE temporaryFile;DROP TABLE delayRecord;DROP TABLE user;"
                    "DROP TABLE pathMapping;"});
    EXPECT_FALSE(Exists(kPath));
    EXPECT_FALSE(Exists(kPath + u"-wal"));
    EXPECT_FALSE(Exists(kPath + u"-shm"));
}

TEST_F(Dropping, MissingFileIsFirstCreated) {
    EXPECT_TRUE(Drop());
    EXPECT_EQ(sqlite_.Count("OpenV2 0x8006"), 1);
    EXPECT_EQ(sqlite_.Count("Exec DROP"), 1);
    EXPECT_FALSE(Exists(kPath));
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(Dropping, FileThatCannotBeDeletedIsTriedFourTimesAndLogged) {
    Init();
    machine_.faults().Fail({.call = "Paths.DeleteFileW", .forEver = true, .code = platform::kErrorSharingViolation});
    const std::int64_t start = Now();
    EXPECT_TRUE(Drop());
    EXPECT_EQ(machine_.faults().calls("Paths.DeleteFileW"), 6U);  // four times the database, once each companion
    EXPECT_EQ(Now() - start, 3000);
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/DropTablesAndDb/Failed to delete the database file, error code is 32"});
}

TEST_F(Dropping, FileThatIsReleasedInTimeIsDeleted) {
    Init();
    for (std::uint64_t n = 1; n <= 3; ++n) {
        machine_.faults().Fail({.call = "Paths.DeleteFileW", .nth = n, .code = platform::kErrorSharingViolation});
    }
    EXPECT_TRUE(Drop());
    EXPECT_EQ(Errors(), Lines{});
    EXPECT_FALSE(Exists(kPath));
}

TEST_F(Dropping, FileThatIsNoDatabaseIsDeletedToo) {
    machine_.files().WriteText(kPath, std::string(5000, 'x'));
    EXPECT_TRUE(Drop());
    EXPECT_FALSE(Exists(kPath));
}

}  // namespace
}  // namespace tavi::db
