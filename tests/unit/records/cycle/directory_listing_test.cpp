#include "records/cycle/directory_listing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/journal/journal_rig.h"

namespace tavi::records {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using PathList = std::vector<std::u16string>;

class DirectoryListing : public ::testing::Test, protected journal::testing::JournalRig {
protected:
    void SetUp() override {
        MakeFile(u"C:\\Sync\\In\\a.txt");
        volume().MakeDirectory(u"C:\\Sync\\In\\b");
        MakeFile(u"C:\\Sync\\In\\b\\inner.txt");
        volume().MakeDirectory(u"C:\\Sync\\In\\b\\deep");
        MakeFile(u"C:\\Sync\\In\\b\\deep\\deepest.txt");
        MakeFile(u"C:\\Sync\\In\\c.txt");
    }
    PathList List(const std::u16string& directory) { return ListAllEntries(real.paths, directory); }
};

const PathList kEverything = {u"C:\\Sync\\In\\a.txt",        u"C:\\Sync\\In\\b",
                              u"C:\\Sync\\In\\b\\deep",      u"C:\\Sync\\In\\b\\deep\\deepest.txt",
                              u"C:\\Sync\\In\\b\\inner.txt", u"C:\\Sync\\In\\c.txt"};

TEST_F(DirectoryListing, DirectoryIsFollowedByItsContents) {
    EXPECT_EQ(List(u"C:\\Sync\\In"), kEverything);
}

TEST_F(DirectoryListing, TrailingBackslashIsNotDoubled) {
    EXPECT_EQ(List(u"C:\\Sync\\In\\"), kEverything);
}

TEST_F(DirectoryListing, EmptyOrAbsentDirectoryGivesNothing) {
    volume().MakeDirectory(u"C:\\Sync\\Empty");
    EXPECT_THAT(List(u"C:\\Sync\\Empty"), IsEmpty());
    EXPECT_THAT(List(u"C:\\Sync\\Absent"), IsEmpty());
    EXPECT_EQ(machine.faults().calls("Paths.FindFirstFileW"), 1U) << "what is absent is not enumerated";
}

TEST_F(DirectoryListing, EnumerationThatCannotStartGivesNothing) {
    machine.faults().Fail({.call = "Paths.FindFirstFileW"});
    EXPECT_THAT(List(u"C:\\Sync\\In"), IsEmpty());
}

TEST_F(DirectoryListing, InnerDirectoryThatCannotBeListedIsStillAnEntry) {
    machine.faults().Fail({.call = "Paths.FindFirstFileW", .nth = 2});
    EXPECT_THAT(List(u"C:\\Sync\\In"), ElementsAre(u"C:\\Sync\\In\\a.txt", u"C:\\Sync\\In\\b", u"C:\\Sync\\In\\c.txt"));
}

TEST_F(DirectoryListing, EnumerationThatBreaksOffEndsThatDirectoryOnly) {
    // ".", "..", "a.txt", "b", then the entries of "b" from ".." on.
    machine.faults().Fail({.call = "Paths.FindNextFileW", .nth = 4});
    const PathList entries = List(u"C:\\Sync\\In");
    EXPECT_THAT(entries, ElementsAre(u"C:\\Sync\\In\\a.txt", u"C:\\Sync\\In\\b", u"C:\\Sync\\In\\c.txt"));
}

TEST_F(DirectoryListing, EveryEnumerationIsClosedWhateverFails) {
    volume().MakeDirectory(u"C:\\Sync\\Cloud");
    volume().SetReparseTag(u"C:\\Sync\\Cloud", 0x9000001A);
    for (std::uint64_t nth = 1;; ++nth) {
        machine.faults().Clear();
        const std::uint64_t fired = machine.faults().fired();
        machine.faults().Fail({.nth = nth});
        List(u"C:\\Sync\\In");
        List(u"C:\\Sync\\Cloud");
        EXPECT_THAT(machine.leaks(), IsEmpty()) << machine.faults().lastFired();
        if (machine.faults().fired() == fired) {
            break;
        }
        ASSERT_LT(nth, 1000U);
    }
    machine.faults().Clear();
}

TEST_F(DirectoryListing, VeryDeepTreeIsListed) {
    std::u16string path = u"C:\\Deep";
    PathList expected;
    for (int depth = 0; depth < 1500; ++depth) {
        path += u"\\d";
        expected.push_back(path);
    }
    volume().MakeDirectory(path);
    EXPECT_EQ(List(u"C:\\Deep"), expected);
}

// Keeps what the two calls that name a directory are given.
class NamingPaths : public test::ForwardingPaths {
public:
    using ForwardingPaths::ForwardingPaths;

    int Waccess(const std::u16string& path, int mode) override {
        EXPECT_EQ(mode, 0);
        accessed.push_back(path);
        return ForwardingPaths::Waccess(path, mode);
    }
    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override {
        enumerated.push_back(pattern);
        return ForwardingPaths::FindFirstFileW(pattern, data);
    }

    PathList accessed;
    PathList enumerated;
};

TEST_F(DirectoryListing, BothCallsAreGivenTheLongPathForm) {
    const std::u16string longPath = u"C:\\" + std::u16string(148, u'a') + u"\\" + std::u16string(148, u'b');
    ASSERT_EQ(longPath.size(), 300U);
    volume().MakeDirectory(longPath);
    NamingPaths naming(real.paths);
    ListAllEntries(naming, u"C:\\Sync\\In\\b\\deep");
    ListAllEntries(naming, longPath);
    EXPECT_THAT(naming.accessed, ElementsAre(u"C:\\Sync\\In\\b\\deep", u"\\\\?\\" + longPath));
    EXPECT_THAT(naming.enumerated, ElementsAre(u"C:\\Sync\\In\\b\\deep\\*.*", u"\\\\?\\" + longPath + u"\\*.*"));
}

// A link to a directory further up, answered as the system does.
class LinkingPaths : public test::ForwardingPaths {
public:
    LinkingPaths(platform::Paths& real, std::uint32_t tag) : ForwardingPaths(real), tag_(tag) {}

    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override {
        const platform::FindHandle handle = ForwardingPaths::FindFirstFileW(pattern, data);
        Mark(data);
        return handle;
    }
    bool FindNextFileW(platform::FindHandle handle, platform::FindData& data) override {
        const bool found = ForwardingPaths::FindNextFileW(handle, data);
        Mark(data);
        return found;
    }

private:
    void Mark(platform::FindData& data) const {
        data.reparseTag = 0;
        if (data.fileName == u"b") {
            data.fileAttributes |= platform::kFileAttributeReparsePoint;
            data.reparseTag = tag_;
        }
    }

    std::uint32_t tag_;
};

PathList ListWithTag(journal::testing::JournalRig& rig, std::uint32_t tag) {
    LinkingPaths linking(rig.real.paths, tag);
    return ListAllEntries(linking, u"C:\\Sync\\In");
}

TEST_F(DirectoryListing, LinksAndJunctionsAreListedButNotFollowed) {
    constexpr std::uint32_t kMountPoint = 0xA0000003;
    constexpr std::uint32_t kSymbolicLink = 0xA000000C;
    for (const std::uint32_t tag : {kMountPoint, kSymbolicLink}) {
        EXPECT_THAT(ListWithTag(*this, tag),
                    ElementsAre(u"C:\\Sync\\In\\a.txt", u"C:\\Sync\\In\\b", u"C:\\Sync\\In\\c.txt"));
    }
}

TEST_F(DirectoryListing, LinkThatIsAskedForItselfHasNothingBelowIt) {
    for (const std::uint32_t tag : {0xA0000003U, 0xA000000CU}) {
        volume().SetReparseTag(u"C:\\Sync\\In\\b", tag);
        EXPECT_THAT(List(u"C:\\Sync\\In\\b"), IsEmpty());
        EXPECT_THAT(List(u"C:\\Sync\\In\\b\\"), IsEmpty());
    }
    volume().SetReparseTag(u"C:\\Sync\\In\\b", 0x9000001A);
    EXPECT_THAT(List(u"C:\\Sync\\In\\b"), ::testing::SizeIs(3)) << "a cloud provider's directory is no link";
}

TEST_F(DirectoryListing, ReparsePointWhoseKindCannotBeToldIsNotEntered) {
    volume().SetReparseTag(u"C:\\Sync\\In\\b", 0x9000001A);
    machine.faults().Fail({.call = "Paths.FindFirstFileW"});
    EXPECT_THAT(List(u"C:\\Sync\\In\\b"), IsEmpty());
}

TEST_F(DirectoryListing, CloudPlaceholderDirectoriesAreFollowed) {
    constexpr std::uint32_t kCloud = 0x9000001A;
    EXPECT_EQ(ListWithTag(*this, kCloud), kEverything);
}

}  // namespace
}  // namespace tavi::records
