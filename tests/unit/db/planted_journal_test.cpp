// A rollback journal that somebody put beside the database. SQLite plays it back before it reads, also when the
// database keeps a write-ahead log, and at the end deletes the super-journal that it names, when none of the journals
// listed there exists: whatever file that is, with the service's rights.
//
// The bytes follow SQLite's file format: the header of a rollback journal (https://sqlite.org/fileformat.html, "The
// Rollback Journal") and the pointer to the super-journal at its end, as its pager writes and reads it.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t kSectorSize = 4096;
constexpr std::uint32_t kLockByte = 0x40000000;  // its page is in no journal; the number marks the pointer
const std::string kMagic("\xD9\xD5\x05\xF9\x20\xA1\x63\xD7", 8);

std::string BigEndian(std::uint32_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>((value >> shift) & 0xFF);
    }
    return bytes;
}

struct DatabaseSize {
    std::uint32_t pages = 0;
    std::uint32_t pageSize = 0;
};

// No pages to put back, only the size that the database has anyway, and then the super-journal.
std::string Journal(const DatabaseSize& size, const std::string& superJournal) {
    constexpr std::uint32_t kPages = 0;
    constexpr std::uint32_t kNonce = 0x01020304;
    std::string bytes = kMagic + BigEndian(kPages) + BigEndian(kNonce) + BigEndian(size.pages) +
                        BigEndian(kSectorSize) + BigEndian(size.pageSize);
    bytes.resize(kSectorSize, '\0');
    std::uint32_t checksum = 0;
    for (const char character : superJournal) {
        checksum += static_cast<std::uint32_t>(static_cast<signed char>(character));
    }
    return bytes + BigEndian(kLockByte / size.pageSize + 1) + superJournal +
           BigEndian(static_cast<std::uint32_t>(superJournal.size())) + BigEndian(checksum) + kMagic;
}

class PlantedJournal : public DatabaseTest {
protected:
    void SetUp() override {
        Init();
        RunSql("INSERT INTO user VALUES('user-1','C:\\Sync',100);");
        ASSERT_EQ(Rows("PRAGMA journal_mode;"), Lines{"wal"});
        machine_.files().WriteText(kVictim, kContents);
        const DatabaseSize size{Number("PRAGMA page_count;"), Number("PRAGMA page_size;")};
        ASSERT_EQ(std::filesystem::file_size(HostPath()), std::uintmax_t{size.pages} * size.pageSize);
        std::ofstream(HostPath() + "-journal", std::ios::binary)
            << Journal(size, machine_.files().HostPath(kVictim).string());
    }
    std::uint32_t Number(const std::string& sql) { return static_cast<std::uint32_t>(std::stoul(Rows(sql).at(0))); }
    bool JournalExists() { return std::filesystem::exists(HostPath() + "-journal"); }
    void ExpectVictimLives() {
        std::ifstream file(machine_.files().HostPath(kVictim), std::ios::binary);
        std::ostringstream contents;
        contents << file.rdbuf();
        EXPECT_EQ(contents.str(), kContents);
    }

    const std::u16string kVictim = u"D:\\somebody else's.txt";
    const std::string kContents = "nothing that SQLite wrote";
};

TEST_F(PlantedJournal, DoesNotHaveTheFileDeletedThatItCallsItsSuperJournal) {
    const UserRecord record{.userId = kUser, .listenPath = u"C:\\Other", .usnLocation = 200};
    EXPECT_FALSE(database_.UpdateUserTable(record)) << "it was not played back";
    EXPECT_FALSE(JournalExists()) << "it was not played back";
    ExpectVictimLives();
    EXPECT_TRUE(database_.UpdateUserTable(record)) << log().Dump();
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"user-1|C:\\Other|200"});
}

TEST_F(PlantedJournal, DoesNotHaveItDeletedWhileTheDatabaseIsPreparedEither) {
    database_.InitSqLiteDb(kPath);  // SQLite tries some statements again by itself
    EXPECT_FALSE(JournalExists()) << "it was not played back";
    ExpectVictimLives();
    EXPECT_TRUE(database_.InitSqLiteDb(kPath)) << log().Dump();
    EXPECT_EQ(Rows("SELECT * FROM user;"), Lines{"user-1|C:\\Sync|100"});
}

TEST_F(PlantedJournal, IsNotPlayedBackByAReader) {
    EXPECT_FALSE(database_.SelectUserTableByUserId(kUser).ok);
    ExpectVictimLives();
}

}  // namespace
}  // namespace tavi::db
