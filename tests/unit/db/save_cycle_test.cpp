#include <filesystem>
#include <stdexcept>

#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using records::FileChangeReason;
using Lines = std::vector<std::string>;

class SaveCycle : public DatabaseTest {
protected:
    void SetUp() override {
        Init();
        RunSql(
            "INSERT INTO user VALUES('user-1','C:\\Sync',100);"
            "INSERT INTO fileChangeRecord VALUES(4,1,'old','',32,1,5,6);"
            "INSERT INTO delayRecord VALUES(1,'held','',32,0,1,0,5,6);"
            "INSERT INTO temporaryFile VALUES(1,'t.tmp',32,0);");
        before_ = Everything();
    }
    bool Save() {
        return database_.SaveCycleResults({Change(u"d.tmp")},
                                          {Change(u"old", FileChangeReason::kDelete), Change(u"new")},
                                          {{u"n.tmp", 32, 0}}, 200, kUser);
    }
    void ExpectUnchanged() { EXPECT_EQ(Everything(), before_); }
    void ExpectSaved() { EXPECT_EQ(Everything(), After()); }
    static Lines After() {
        return {"user: user-1|C:\\Sync|200",
                "fileChangeRecord: 4|1|old||32|1|5|6",
                "fileChangeRecord: 5|1700000000123|old||-2147483616|2|-281474976710655|-1",
                "fileChangeRecord: 6|1700000000123|new||-2147483616|3|-281474976710655|-1",
                "delayRecord: 2|d.tmp||-2147483616|1|3|3|1700000000123|-281474976710655",
                "temporaryFile: 1|t.tmp|32|0",
                "temporaryFile: 2|n.tmp|32|0"};
    }

    Lines before_;
};

TEST_F(SaveCycle, StoresEverythingInOneTransactionInItsOrder) {
    EXPECT_TRUE(Save());
    const StatementTexts texts;
    EXPECT_EQ(
        sqlite_.Calls({"OpenV2", "Exec", "PrepareV2", "CloseV2"}),
        (Lines{"OpenV2 0x8002", "Exec begin transaction;", "Exec DELETE FROM delayRecord;",
               "Exec PRAGMA cache_size=-65536;PRAGMA journal_size_limit=4194304;",
               "PrepareV2 " + texts[SqlText::kInsertDelayRecord],
               "PrepareV2 " + texts[SqlText::kUpsertFileChangeRecord], "PrepareV2 " + texts[SqlText::kUpdateUserUsn],
               "PrepareV2 " + texts[SqlText::kReplaceTemporaryFile], "Exec commit transaction;", "CloseV2"}));
    EXPECT_EQ(Errors(), Lines{});
    ExpectSaved();
}

TEST_F(SaveCycle, WithNothingToStoreStillStoresThePositionAndReleasesHeldRecords) {
    EXPECT_TRUE(database_.SaveCycleResults({}, {}, {}, 300, kUser));
    EXPECT_EQ(Everything(), (Lines{"user: user-1|C:\\Sync|300", "fileChangeRecord: 4|1|old||32|1|5|6",
                                   "temporaryFile: 1|t.tmp|32|0"}));
}

TEST_F(SaveCycle, FailedPositionUpdateLeavesTheTablesAsTheyWere) {
    sqlite_.Answer("PrepareV2 UPDATE user", SQLITE_ERROR);
    EXPECT_FALSE(Save());
    EXPECT_EQ(Errors(),
              Lines{"SqLite3Operator/UpdateUSNOfUserTableSql/Failed to create the stmt object,error reason:1"});
    EXPECT_EQ(sqlite_.Calls({"Exec", "CloseV2"}).back(), "CloseV2");
    EXPECT_EQ(sqlite_.Count("Exec rollback;"), 1);
    EXPECT_EQ(sqlite_.Count("Exec commit"), 0);
    ExpectUnchanged();
}

TEST_F(SaveCycle, StopsAtTheFirstOperationThatFails) {
    sqlite_.Answer("PrepareV2 INSERT INTO fileChangeRecord", SQLITE_ERROR);
    EXPECT_FALSE(Save());
    EXPECT_EQ(sqlite_.Count("PrepareV2"), 2);
    ExpectUnchanged();
}

TEST_F(SaveCycle, FailedBeginIsAFailureAndWritesNothing) {
    sqlite_.Answer("Exec begin", SQLITE_ERROR);
    EXPECT_FALSE(Save());
    EXPECT_EQ(sqlite_.Calls({"Exec", "CloseV2"}), (Lines{"Exec begin transaction;", "CloseV2"}));
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/BeginDbTransaction/Failed to start the transaction,error reason:1"});
    ExpectUnchanged();
}

TEST_F(SaveCycle, FailedEmptyingOfTheDelayTableIsAFailure) {
    sqlite_.Answer("Exec DELETE", SQLITE_ERROR);
    EXPECT_FALSE(Save());
    EXPECT_EQ(sqlite_.Calls({"Exec"}),
              (Lines{"Exec begin transaction;", "Exec DELETE FROM delayRecord;", "Exec rollback;"}));
    ExpectUnchanged();
}

// On a failing disk SQLite rolls the transaction back by itself. What is tried again after that would be on its own.
TEST_F(SaveCycle, TransactionThatAFailingDiskHasEndedIsNotContinuedWithout) {
    sqlite_.OnOpened([&](sqlite3* handle) {
        sqlite_.OnCall([handle, tries = 0](const std::string& call) mutable -> std::optional<int> {
            if (!call.starts_with("Exec DELETE") || ++tries > 2) {
                return std::nullopt;
            }
            if (tries == 1) {
                return SQLITE_BUSY;
            }
            EXPECT_EQ(sqlite3_exec(handle, "ROLLBACK;", nullptr, nullptr, nullptr), SQLITE_OK);
            return SQLITE_IOERR;
        });
    });
    EXPECT_FALSE(Save());
    EXPECT_EQ(sqlite_.Count("Exec DELETE"), 2);
    EXPECT_EQ(sqlite_.Count("Step"), 0);
    EXPECT_EQ(Errors(),
              (Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 10",
                     "SqLite3Operator/RollbackDbTransaction/Failed to roll back the transaction,error reason:1"}));
    ExpectUnchanged();
}

TEST_F(SaveCycle, TransactionThatIsStillThereAfterAnInputOutputErrorIsContinued) {
    sqlite_.OnCall([tries = 0](const std::string& call) mutable -> std::optional<int> {
        if (!call.starts_with("Exec DELETE") || ++tries > 2) {
            return std::nullopt;
        }
        return tries == 1 ? SQLITE_BUSY : SQLITE_IOERR;
    });
    EXPECT_TRUE(Save());
    EXPECT_EQ(sqlite_.Count("Exec DELETE"), 3);
    ExpectSaved();
}

TEST_F(SaveCycle, TransactionThatIsGoneBeforeTheCommitIsAFailure) {
    sqlite_.OnOpened([&](sqlite3* handle) {
        sqlite_.OnCall([handle](const std::string& call) -> std::optional<int> {
            if (call.starts_with("Exec commit")) {
                EXPECT_EQ(sqlite3_exec(handle, "ROLLBACK;", nullptr, nullptr, nullptr), SQLITE_OK);
            }
            return std::nullopt;
        });
    });
    EXPECT_FALSE(Save());
    EXPECT_EQ(Errors().front(), "SqLite3Operator/CommitDbTransaction/Failed to commit the transaction,error reason:1");
    ExpectUnchanged();
}

TEST_F(SaveCycle, FailedCommitIsAFailureAndRolledBack) {
    sqlite_.Answer("Exec commit", SQLITE_BUSY);
    EXPECT_FALSE(Save());
    EXPECT_EQ(Errors(), Lines{"SqLite3Operator/CommitDbTransaction/Failed to commit the transaction,error reason:5"});
    EXPECT_EQ(sqlite_.Count("Exec rollback;"), 1);
    ExpectUnchanged();
}

TEST_F(SaveCycle, RefusedPageCacheCostsNothingButTime) {
    sqlite_.Answer("Exec PRAGMA cache_size", SQLITE_ERROR);
    EXPECT_TRUE(Save());
    EXPECT_EQ(Errors(), Lines{});
    ExpectSaved();
}

TEST_F(SaveCycle, DurabilityIsNotTouched) {
    int synchronous = -1;
    sqlite_.OnOpened([&](sqlite3* handle) {
        sqlite_.OnCall([&synchronous, handle](const std::string& call) -> std::optional<int> {
            if (call.starts_with("Exec commit")) {
                sqlite3_stmt* statement = nullptr;
                sqlite3_prepare_v2(handle, "PRAGMA synchronous;", -1, &statement, nullptr);
                sqlite3_step(statement);
                synchronous = sqlite3_column_int(statement, 0);
                sqlite3_finalize(statement);
            }
            return std::nullopt;
        });
    });
    EXPECT_TRUE(Save());
    EXPECT_EQ(synchronous, 2);  // FULL
}

TEST_F(SaveCycle, DatabaseLockedForThreeSecondsIsWaitedFor) {
    OtherConnection other(HostPath());
    other.Run("BEGIN IMMEDIATE;");
    const std::int64_t start = Now();
    const platform::Handle thread = platform_.threads.StartThread([&] {
        platform_.threads.Sleep(3000);
        other.Run("COMMIT;");
    });
    EXPECT_TRUE(Save()) << log().Dump();
    EXPECT_GE(Now() - start, 3000);
    EXPECT_LT(Now() - start, 3500);
    EXPECT_TRUE(platform_.threads.WaitForThread(thread, platform::kInfinite));
    platform_.threads.CloseThread(thread);
    ExpectSaved();
}

TEST_F(SaveCycle, DatabaseLockedForEverIsGivenUp) {
    const std::int64_t start = Now();
    {
        OtherConnection other(HostPath());
        other.Run("BEGIN IMMEDIATE;");
        EXPECT_FALSE(Save());
    }
    EXPECT_EQ(sqlite_.Count("Exec DELETE"), 6);
    EXPECT_GE(Now() - start, 5000 + 6 * 101 * 10);
    EXPECT_LE(Now() - start, 5000 + 6 * 101 * 100);
    EXPECT_EQ(Errors(),
              Lines{"SQLite3Operator/ExecuteSQLThatIsNotQuery/ExecuteSQLThatIsNotQuery failed,error code is 5"});
    ExpectUnchanged();
    EXPECT_TRUE(Save());
    ExpectSaved();
}

TEST_F(SaveCycle, ReaderDoesNotHoldItUp) {
    OtherConnection reader(HostPath());
    reader.Run("BEGIN;");
    const Lines seen = reader.Rows("SELECT * FROM fileChangeRecord;");
    const std::int64_t start = Now();
    EXPECT_TRUE(Save());
    EXPECT_EQ(Now(), start);
    EXPECT_EQ(reader.Rows("SELECT * FROM fileChangeRecord;"), seen);
    reader.Run("COMMIT;");
    ExpectSaved();
}

TEST_F(SaveCycle, FullDiskLeavesTheDatabaseAsItWas) {
    records::FileChangeInfoList many;
    for (char16_t i = 0; i < 5000; ++i) {
        many.push_back(Change(u"folder\\file" + std::u16string(1, static_cast<char16_t>(0x4E00 + i))));
    }
    sqlite_.OnOpened(
        [](sqlite3* handle) { sqlite3_exec(handle, "PRAGMA max_page_count=40;", nullptr, nullptr, nullptr); });
    EXPECT_FALSE(database_.SaveCycleResults({}, many, {}, 200, kUser));
    EXPECT_EQ(Errors().front(),
              "SqLite3Operator/InsertFileChangeRecordTable/Failed to insert the file change record table");
    ExpectUnchanged();
    sqlite_.OnOpened(nullptr);
    EXPECT_TRUE(database_.SaveCycleResults({}, many, {}, 200, kUser));
    EXPECT_EQ(Rows("SELECT count(*) FROM fileChangeRecord;"), Lines{"5001"});
}

// The files as they are on the disk at every call of a save are what a kill at that moment would leave.
TEST_F(SaveCycle, KilledAtAnyCallTheFileHoldsAllOrNothing) {
    namespace fs = std::filesystem;
    const std::string copy = HostPath() + ".copy";
    std::size_t withIt = 0;
    std::size_t without = 0;
    sqlite_.OnCall([&](const std::string& call) -> std::optional<int> {
        SCOPED_TRACE("killed before " + call);
        for (const char* companion : {"", "-wal"}) {
            fs::remove(copy + companion);
            if (fs::exists(HostPath() + companion)) {
                fs::copy_file(HostPath() + companion, copy + companion);
            }
        }
        OtherConnection restarted(copy);
        EXPECT_EQ(restarted.Rows("PRAGMA integrity_check;"), Lines{"ok"});
        const bool saved = restarted.Rows("SELECT usnLocation FROM user;") == Lines{"200"};
        ++(saved ? withIt : without);
        EXPECT_EQ(restarted.Rows("SELECT count(*) FROM fileChangeRecord;"), Lines{saved ? "3" : "1"});
        EXPECT_EQ(restarted.Rows("SELECT filePath FROM delayRecord;"), Lines{saved ? "d.tmp" : "held"});
        EXPECT_EQ(restarted.Rows("SELECT count(*) FROM temporaryFile;"), Lines{saved ? "2" : "1"});
        return std::nullopt;
    });
    EXPECT_TRUE(Save());
    EXPECT_GT(withIt, 0U);
    EXPECT_GT(without, 10U);
}

TEST_F(SaveCycle, NothingIsThrownAndNothingKeptWhenSqliteThrowsAnywhere) {
    EXPECT_TRUE(Save());
    const std::size_t calls = sqlite_.calls().size();
    for (std::size_t n = 1; n <= calls; ++n) {
        RunSql("UPDATE user SET usnLocation=100;");
        Forget();
        std::size_t made = 0;
        std::string thrownIn;
        sqlite_.OnCall([&](const std::string& call) -> std::optional<int> {
            if (++made == n) {
                thrownIn = call;
                throw std::runtime_error("broken");
            }
            return std::nullopt;
        });
        const Lines before = Everything();
        const bool saved = Save();
        SCOPED_TRACE(thrownIn);
        sqlite_.MakeEverything();
        if (thrownIn != "CloseV2" && thrownIn != "Finalize") {  // what was to be released is the wrapper's to keep
            EXPECT_EQ(sqlite_.OpenThings(), 0U);
        }
        sqlite_.CloseWhatIsOpen();
        EXPECT_EQ(saved, Rows("SELECT usnLocation FROM user;") == Lines{"200"});
        if (!saved) {
            EXPECT_EQ(Everything(), before);
        }
    }
}

}  // namespace
}  // namespace tavi::db
