// Links in the place of the folder or the files, which somebody else may have put there, and reparse points that are
// none.
#include "db/database_folder.h"

#include <optional>

#include "imports/type_convert.h"
#include "platform/constants.h"
#include "support/forwarding.h"
#include "support/platform_with.h"
#include "unit/db/database_test.h"

namespace tavi::db {
namespace {

using Lines = std::vector<std::string>;

// The tags as Windows' headers give them.
constexpr std::uint32_t kJunction = 0xA0000003;
constexpr std::uint32_t kSymbolicLink = 0xA000000C;
constexpr std::uint32_t kDeduplicated = 0x80000013;
constexpr std::uint32_t kCloudFile = 0x9000001A;

// The machine's files, with a reparse point that a test adds to a path.
class FilesWithLinks final : public test::ForwardingFiles, public test::ForwardingPaths {
public:
    explicit FilesWithLinks(const platform::Platform& real)
        : ForwardingFiles(real.files), ForwardingPaths(real.paths) {}

    void Link(const std::u16string& path, std::optional<std::uint32_t> tag = kSymbolicLink) {
        link_ = path;
        tag_ = tag;
    }

    std::uint32_t GetFileAttributesW(const std::u16string& path) override {
        const std::uint32_t attributes = ForwardingPaths::GetFileAttributesW(path);
        return path == link_ ? platform::kFileAttributeReparsePoint : attributes;
    }
    // What the directory says of the path; nothing when its tag is not to be had.
    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override {
        if (pattern != link_ || !tag_) {
            return platform::kInvalidFindHandle;
        }
        data = {platform::kFileAttributeReparsePoint, u"link", *tag_};
        ++searches_;
        return kSearch;
    }
    bool FindClose(platform::FindHandle handle) override {
        EXPECT_EQ(handle, kSearch);
        --searches_;
        return true;
    }
    int searches() const { return searches_; }
    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flags) override {
        opened_.push_back({path, access, shareMode, disposition, flags});
        return ForwardingFiles::CreateFileW(path, access, shareMode, disposition, flags);
    }
    bool GetFileInformationByHandle(platform::Handle handle, platform::FileInformation& information) override {
        const bool got = ForwardingFiles::GetFileInformationByHandle(handle, information);
        if (opened_.back().path == link_) {
            information.fileAttributes |= platform::kFileAttributeReparsePoint;
        }
        return got;
    }

    struct Opened {
        std::u16string path;
        std::uint32_t access = 0;
        std::uint32_t share = 0;
        std::uint32_t disposition = 0;
        std::uint32_t flags = 0;
    };
    const std::vector<Opened>& opened() const { return opened_; }

private:
    static constexpr platform::FindHandle kSearch{77};

    std::u16string link_;
    std::optional<std::uint32_t> tag_;
    int searches_ = 0;
    std::vector<Opened> opened_;
};

// An operator on a machine whose files can have links.
class DatabaseFolderTest : public DatabaseTest {
protected:
    bool Init() { return operator_.InitSqLiteDb(kPath); }
    bool Exists(const std::u16string& path) { return platform_.paths.PathFileExistsW(path); }

    FilesWithLinks files_{real_};
    platform::Platform linked_ = test::PlatformWith(platform_, files_);
    SqLite3Operator operator_{linked_};
    const std::u16string folderItself_ = kFolder.substr(0, kFolder.size() - 1);
    const Lines refusal_{"SqLite3Operator/InitSqLiteDb/The database directory is incorrect"};
};

TEST_F(DatabaseFolderTest, IsOpenedAsItselfAndWithoutSharingItsDeletion) {
    EXPECT_TRUE(Init());
    ASSERT_EQ(files_.opened().size(), 1U);
    EXPECT_EQ(files_.opened()[0].path, folderItself_);
    EXPECT_EQ(files_.opened()[0].access, platform::kGenericRead);
    EXPECT_EQ(files_.opened()[0].share, platform::kFileShareRead | platform::kFileShareWrite);
    EXPECT_EQ(files_.opened()[0].disposition, platform::kOpenExisting);
    EXPECT_EQ(files_.opened()[0].flags, platform::kFileFlagBackupSemantics | platform::kFileFlagOpenReparsePoint);
    EXPECT_TRUE(machine_.leaks().empty());
}

TEST_F(DatabaseFolderTest, IsHeldUntilTheDatabaseIsPrepared) {
    std::size_t closed = 0;
    sqlite_.OnCall([&](const std::string&) -> std::optional<int> {
        closed += machine_.OpenHandles() == 0 ? 1U : 0U;
        return std::nullopt;
    });
    EXPECT_TRUE(Init());
    EXPECT_EQ(closed, 0U);
    EXPECT_EQ(machine_.OpenHandles(), 0U);
}

TEST_F(DatabaseFolderTest, ThatIsALinkIsRefusedBeforeAnythingIsCreatedInIt) {
    files_.Link(folderItself_);
    EXPECT_FALSE(Init());
    EXPECT_EQ(Errors(), refusal_);
    EXPECT_TRUE(sqlite_.calls().empty());
    EXPECT_FALSE(Exists(kPath));
}

TEST_F(DatabaseFolderTest, ThatIsRefusedIsNotReadOrWrittenAfterwards) {
    EXPECT_TRUE(Init());
    EXPECT_TRUE(operator_.InsertUserTable({kUser, u"p", 1}));
    files_.Link(folderItself_);
    EXPECT_FALSE(Init());
    EXPECT_FALSE(operator_.SelectUserTableByUserId(kUser).ok);
    EXPECT_FALSE(operator_.SaveCycleResults({}, {Change(u"a")}, {}, 2, kUser));
    EXPECT_EQ(Rows("SELECT usnLocation FROM user;"), Lines{"1"});
}

TEST_F(DatabaseFolderTest, WithALinkInPlaceOfAFileIsRefused) {
    for (const char16_t* companion : {u"", u"-wal", u"-shm", u"-journal"}) {
        Forget();
        files_.Link(kPath + companion);
        EXPECT_FALSE(Init());
        EXPECT_EQ(Errors(), refusal_);
        EXPECT_TRUE(sqlite_.calls().empty());
    }
}

TEST_F(DatabaseFolderTest, ThatIsAJunctionIsRefused) {
    files_.Link(folderItself_, kJunction);
    EXPECT_FALSE(Init());
    EXPECT_EQ(Errors(), refusal_);
    EXPECT_EQ(files_.searches(), 0);
}

TEST_F(DatabaseFolderTest, OrFileThatSomethingElseKeepsButThatLeadsNowhereIsUsed) {
    for (const std::uint32_t tag : {kDeduplicated, kCloudFile}) {
        for (const std::u16string& path : {folderItself_, kPath, kPath + u"-wal"}) {
            Forget();
            files_.Link(path, tag);
            EXPECT_TRUE(Init()) << log().Dump();
            EXPECT_EQ(files_.searches(), 0);
        }
    }
}

TEST_F(DatabaseFolderTest, OrFileWhoseTagIsNotToBeHadIsRefused) {
    for (const std::u16string& path : {folderItself_, kPath}) {
        Forget();
        files_.Link(path, std::nullopt);
        EXPECT_FALSE(Init());
        EXPECT_EQ(Errors(), refusal_);
    }
}

TEST_F(DatabaseFolderTest, ThatIsAFileIsRefused) {
    machine_.files().WriteText(folderItself_, "no directory");
    EXPECT_FALSE(Init());
    EXPECT_EQ(Errors().size(), 1U);
    EXPECT_TRUE(sqlite_.calls().empty());
}

TEST_F(DatabaseFolderTest, LeadingElsewhereIsNotEmptiedThere) {
    EXPECT_TRUE(Init());
    Forget();
    files_.Link(folderItself_);
    EXPECT_TRUE(SqLite3Operator::DropTablesAndDb(linked_, kPath));
    EXPECT_EQ(Errors(), refusal_);
    EXPECT_TRUE(sqlite_.calls().empty());
    EXPECT_TRUE(Exists(kPath));
}

TEST_F(DatabaseFolderTest, CanBeTheRootOfADrive) {
    EXPECT_TRUE(operator_.InitSqLiteDb(u"D:\\ListenService.dat")) << log().Dump();
    ASSERT_EQ(files_.opened().size(), 1U);
    EXPECT_EQ(files_.opened()[0].path, u"D:\\");
}

TEST(DatabasePath, IsOnADriveOrAShare) {
    for (const char16_t* path : {u"C:\\x.dat", u"z:\\a\\b\\x.dat", u"\\\\?\\C:\\x.dat", u"\\\\server\\share\\x.dat",
                                 u"\\\\server\\c$\\a\\x.dat", u"\\\\.server\\share\\x.dat"}) {
        EXPECT_TRUE(IsOnDriveOrShare(path)) << TypeConvert::UnicodeToUTF8(path);
    }
}

}  // namespace
}  // namespace tavi::db
