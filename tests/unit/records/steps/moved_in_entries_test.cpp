#include <gtest/gtest.h>

#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

using enum FileChangeReason;

// Notes what is asked of the machine.
class CountingWorld : public TableWorld {
public:
    std::vector<std::u16string> ListAllEntries(const std::u16string& path) override {
        ++listingCount;
        return TableWorld::ListAllEntries(path);
    }
    std::uint64_t GetFrnByPath(const std::u16string& path) override {
        questions.push_back(u"number of " + path);
        return TableWorld::GetFrnByPath(path);
    }
    std::uint32_t AttributesOrAllOnes(const std::u16string& path) override {
        questions.push_back(u"attributes of " + path);
        return TableWorld::AttributesOrAllOnes(path);
    }
    int listingCount = 0;
    std::vector<std::u16string> questions;
};

class MovedInEntriesTest : public StepTest {
protected:
    MovedInEntriesTest() {
        Add(u"C:\\Sync\\d\\a.txt", 0x20, 11);
        Add(u"C:\\Sync\\d\\e", 0x10, 12);
        Add(u"C:\\Sync\\d\\e\\b.tmp", 0x22, 13);
        Add(u"C:\\Sync\\d\\ee", 0x20, 14);
        counting.listings[u"C:\\Sync\\d"] = {u"C:\\Sync\\d\\a.txt", u"C:\\Sync\\d\\e", u"C:\\Sync\\d\\e\\b.tmp",
                                             u"C:\\Sync\\d\\ee"};
        counting.listings[u"C:\\Sync\\d\\e"] = {u"C:\\Sync\\d\\e\\b.tmp"};
    }

    void Add(const std::u16string& path, std::uint32_t attributes, std::uint64_t frn) {
        counting.attributes[path] = attributes;
        counting.frns[path] = frn;
    }
    static StepRecord Entry(std::u16string name, std::uint32_t attributes, std::uint64_t frn) {
        return At(500, Change(kCreate, std::move(name), attributes, frn));
    }
    StepRecordList Run(StepRecordList records) { return PairRenames(std::move(records), countingContext); }
    static StepRecord Arrival(std::u16string name) {
        return At(500, Change(kRenameNewName, std::move(name), kDirectory, 9));
    }

    CountingWorld counting;
    StepContext countingContext{Rules(), counting, delayRecords, temporaryFiles, stop};
};

TEST_F(MovedInEntriesTest, EveryEntryBelowBecomesACreationInTheOrderOfTheListing) {
    const StepRecordList expected = {Entry(u"d", 0x10, 9), Entry(u"d\\a.txt", 0x20, 11), Entry(u"d\\e", 0x10, 12),
                                     Entry(u"d\\e\\b.tmp", 0x22, 13), Entry(u"d\\ee", 0x20, 14)};
    const StepRecordList output = Run({Arrival(u"d")});
    EXPECT_EQ(output, expected);
    EXPECT_TRUE(output[3].isTempFile);
}

TEST_F(MovedInEntriesTest, ListedEntriesThatAreNotBelowTheDirectoryAreLeftOut) {
    counting.listings[u"C:\\Sync\\d"] = {u"", u"C:\\Sync", u"D:\\Sync\\d\\b.txt", u"C:\\Sync\\d\\a.txt"};
    const StepRecordList expected = {Entry(u"d", 0x10, 9), Entry(u"d\\a.txt", 0x20, 11)};
    EXPECT_EQ(Run({Arrival(u"d")}), expected);
}

TEST_F(MovedInEntriesTest, OfEveryEntryTheNumberIsAskedForAndThenTheAttributes) {
    Run({Arrival(u"d\\e")});
    EXPECT_EQ(counting.questions, (std::vector<std::u16string>{u"number of C:\\Sync\\d\\e\\b.tmp",
                                                               u"attributes of C:\\Sync\\d\\e\\b.tmp"}));
}

TEST_F(MovedInEntriesTest, AnEntryWithoutNumberGetsZero) {
    counting.frns.clear();
    EXPECT_EQ(Run({Arrival(u"d")})[1].frn, 0u);
}

TEST_F(MovedInEntriesTest, AVanishedEntryHasAllAttributesAndCountsAsADirectory) {
    counting.attributes.erase(u"C:\\Sync\\d\\e\\b.tmp");
    const StepRecord vanished = Run({Arrival(u"d")})[3];
    EXPECT_EQ(vanished.fileAttributes, 0xFFFFFFFFu);
    EXPECT_FALSE(vanished.isTempFile);
}

TEST_F(MovedInEntriesTest, ADirectoryWithATemporaryNameIsNoTemporaryFile) {
    counting.attributes[u"C:\\Sync\\d\\e\\b.tmp"] = 0x10;
    EXPECT_FALSE(Run({Arrival(u"d")})[3].isTempFile);
}

TEST_F(MovedInEntriesTest, PathsAreRelativeToTheFolderAsItIsNamed) {
    counting.listenPath = u"\\\\?\\C:\\Sync";
    counting.listings[u"\\\\?\\C:\\Sync\\d"] = {u"\\\\?\\C:\\Sync\\d\\a.txt"};
    EXPECT_EQ(Run({Arrival(u"d")})[1].fileName, u"d\\a.txt");

    counting.listenPath = u"\\\\server\\share";
    counting.listings[u"\\\\server\\share\\d"] = {u"\\\\server\\share\\d\\a.txt"};
    EXPECT_EQ(Run({Arrival(u"d")})[1].fileName, u"d\\a.txt");
}

TEST_F(MovedInEntriesTest, ADirectoryBelowAListedOneIsReadOffItsListing) {
    const StepRecordList output = Run({Arrival(u"d"), Arrival(u"d\\e"), Arrival(u"d")});
    const Outline expected = {{kCreate, u"d"},           {kCreate, u"d\\a.txt"},    {kCreate, u"d\\e"},
                              {kCreate, u"d\\e\\b.tmp"}, {kCreate, u"d\\ee"},       {kCreate, u"d\\e"},
                              {kCreate, u"d\\e\\b.tmp"}, {kCreate, u"d"},           {kCreate, u"d\\a.txt"},
                              {kCreate, u"d\\e"},        {kCreate, u"d\\e\\b.tmp"}, {kCreate, u"d\\ee"}};
    EXPECT_EQ(OutlineOf(output), expected);
    EXPECT_EQ(counting.listingCount, 1);
}

TEST_F(MovedInEntriesTest, EntriesReadOffAnotherListingHaveTheirOwnDirectorysTime) {
    StepRecord later = Arrival(u"d\\e");
    later.timestamp = 900;
    EXPECT_EQ(Run({Arrival(u"d"), later}).back().timestamp, 900);
}

TEST_F(MovedInEntriesTest, AnEntryThatWasGoneWhenListedIsListedByItself) {
    counting.attributes.erase(u"C:\\Sync\\d\\e");
    counting.listings[u"C:\\Sync\\d"] = {u"C:\\Sync\\d\\e"};
    const Outline expected = {{kCreate, u"d"}, {kCreate, u"d\\e"}, {kCreate, u"d\\e"}, {kCreate, u"d\\e\\b.tmp"}};
    EXPECT_EQ(OutlineOf(Run({Arrival(u"d"), Arrival(u"d\\e")})), expected);
    EXPECT_EQ(counting.listingCount, 2);
}

TEST_F(MovedInEntriesTest, ADirectoryShownWithoutContentsIsListedByItself) {
    constexpr std::uint32_t kLink = 0x410;
    Add(u"C:\\Sync\\d\\e", kLink, 12);
    counting.listings[u"C:\\Sync\\d"] = {u"C:\\Sync\\d\\e", u"C:\\Sync\\d\\ee"};
    const Outline expected = {
        {kCreate, u"d"}, {kCreate, u"d\\e"}, {kCreate, u"d\\ee"}, {kCreate, u"d\\e"}, {kCreate, u"d\\e\\b.tmp"}};
    EXPECT_EQ(OutlineOf(Run({Arrival(u"d"), Arrival(u"d\\e")})), expected);
    EXPECT_EQ(counting.listingCount, 2) << "a link, or a directory whose listing failed, was not looked into";
}

TEST_F(MovedInEntriesTest, AFileThatIsNowADirectoryIsListedByItself) {
    counting.listings[u"C:\\Sync\\d\\ee"] = {u"C:\\Sync\\d\\ee\\c"};
    EXPECT_EQ(Run({Arrival(u"d"), Arrival(u"d\\ee")}).back().fileName, u"d\\ee\\c");
}

TEST_F(MovedInEntriesTest, TheListingEndsEarlyOnceTheBatchIsAbandoned) {
    stop = true;
    EXPECT_EQ(Run({Arrival(u"d")}).size(), 1u);
    EXPECT_EQ(counting.listingCount, 1);
}

}  // namespace
}  // namespace tavi::records
