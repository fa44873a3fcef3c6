#include "journal/batch_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>

#include "unit/journal/journal_rig.h"
#include "unit/journal/raw_records.h"

namespace tavi::journal {
namespace {

using ::testing::ElementsAre;
using testing::FileNames;
using ::testing::IsEmpty;
using testing::RawRecords;

constexpr std::uint64_t kSync = 500;
constexpr std::uint32_t kDirectory = 0x10;

// Answers from a table; what is not in it is gone, and the mapping is asked. Counts what it is asked.
class TablePaths : public ParentPaths {
public:
    Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const PathMapping* mapping,
                                              std::u16string& path) override {
        ++asked[number];
        if (const auto found = paths.find(number); found != paths.end()) {
            path = found->second;
            return Validity::kWholeRead;
        }
        path = mapping == nullptr ? std::u16string() : mapping->BuildPathFromMapping(number);
        return Validity::kThisRecord;
    }

    std::map<platform::FileReferenceNumber, std::u16string> paths{{kSync, u"\\Sync"}, {5, u"\\"}};
    std::map<platform::FileReferenceNumber, int> asked;
};

class BatchDecoderTest : public ::testing::Test, protected testing::JournalRig {
protected:
    std::vector<std::u16string> Names() { return FileNames(decoder.Decode(raw.bytes(), source, &mapping).records); }
    void AddFile(std::uint64_t parent, std::u16string name) { raw.Add({.parentFrn = parent, .name = std::move(name)}); }
    void AddDirectory(std::uint64_t frn, std::uint64_t parent, std::u16string name) {
        raw.Add({.frn = frn, .parentFrn = parent, .attributes = kDirectory, .name = std::move(name)});
    }

    RawRecords raw;
    TablePaths source;
    PathMapping mapping{database, u"C:\\Sync"};
    BatchDecoder decoder{u"C:\\Sync", machine.platform().clock};
};

TEST_F(BatchDecoderTest, EveryFieldArrives) {
    raw.Add({.frn = 0x9168000000000073,
             .parentFrn = kSync,
             .usn = 96,
             .time = 131'926'665'709'243'619,
             .reason = 0x80000102,
             .attributes = 0x2020,
             .name = u"a.txt"});
    const records::UsnRecordList batch = decoder.Decode(raw.bytes(), source, &mapping).records;
    ASSERT_EQ(batch.size(), 1U);
    records::UsnRecord expected;
    expected.usn = 96;
    expected.reason = 0x80000102;
    expected.fileAttributes = 0x2020;
    expected.timestamp = TimestampConverter(machine.platform().clock).ConvertByCalls(131'926'665'709'243'619);
    expected.filename = u"a.txt";
    expected.frn = 0x9168000000000073;
    expected.oldfrn = -1;
    EXPECT_EQ(batch[0], expected);
}

TEST_F(BatchDecoderTest, PathsAreRelativeToTheFolder) {
    source.paths[600] = u"\\Sync\\Docs\\2024";
    AddFile(kSync, u"top.txt");
    AddFile(600, u"deep.txt");
    EXPECT_THAT(Names(), ElementsAre(u"top.txt", u"Docs\\2024\\deep.txt"));
}

TEST_F(BatchDecoderTest, FolderItselfAndEverythingOutsideAreDropped) {
    source.paths[600] = u"\\Sync2";
    source.paths[601] = u"\\Other\\Sync";
    AddDirectory(kSync, 5, u"Sync");
    AddFile(600, u"sibling.txt");
    AddFile(601, u"elsewhere.txt");
    AddFile(602, u"unknown parent.txt");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BatchDecoderTest, FolderComparisonIsCaseSensitive) {
    source.paths[600] = u"\\SYNC\\Docs";
    AddFile(600, u"a.txt");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BatchDecoderTest, ListenPathWithoutAColonDropsEverything) {
    BatchDecoder without(u"\\Sync", machine.platform().clock);
    AddFile(kSync, u"a.txt");
    EXPECT_THAT(without.Decode(raw.bytes(), source, &mapping).records, IsEmpty());
}

TEST_F(BatchDecoderTest, WholeVolumeAsFolderTakesWhatCanBeResolved) {
    BatchDecoder whole(u"C:", machine.platform().clock);
    AddFile(5, u"root.txt");
    AddFile(kSync, u"a.txt");
    AddFile(4711, u"unknown parent.txt");
    EXPECT_EQ(FileNames(whole.Decode(raw.bytes(), source, nullptr).records),
              (std::vector<std::u16string>{u"root.txt", u"Sync\\a.txt"}));
}

TEST_F(BatchDecoderTest, NameOf259UnitsFitsAndOneOf260IsSkipped) {
    AddFile(kSync, std::u16string(259, u'a'));
    AddFile(kSync, std::u16string(260, u'b'));
    AddFile(kSync, u"after.txt");
    EXPECT_THAT(Names(), ElementsAre(std::u16string(259, u'a'), u"after.txt"));
    EXPECT_EQ(source.asked[kSync], 1);
}

TEST_F(BatchDecoderTest, SkippedNameDoesNotEvenResolveItsParent) {
    AddFile(kSync, std::u16string(300, u'b'));
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(source.asked, IsEmpty());
}

TEST_F(BatchDecoderTest, NamesOfAnyUnitsAreKeptAsTheyAre) {
    const std::u16string lone = u"\xDC00\xD800.txt";
    const std::u16string unassigned = u"\x0378\xFFFF.txt";
    AddFile(kSync, lone);
    AddFile(kSync, unassigned);
    EXPECT_THAT(Names(), ElementsAre(lone, unassigned));
}

TEST_F(BatchDecoderTest, MalformedRecordEndsTheBatchAndIsReported) {
    AddFile(kSync, u"before.txt");
    const std::size_t spoilt = raw.Add({.parentFrn = kSync, .name = u"spoilt.txt"});
    AddFile(kSync, u"after.txt");
    raw.SetLength(spoilt, 12);
    const BatchDecoder::Result result = decoder.Decode(raw.bytes(), source, &mapping);
    EXPECT_EQ(FileNames(result.records), std::vector<std::u16string>{u"before.txt"});
    EXPECT_TRUE(result.malformed);
}

TEST_F(BatchDecoderTest, ParentThatIsFoundIsAskedForOncePerRead) {
    for (int i = 0; i < 100; ++i) {
        AddFile(kSync, u"a.txt");
        AddFile(4711, u"gone.txt");
    }
    EXPECT_EQ(Names().size(), 100U);
    EXPECT_EQ(source.asked[kSync], 1);
    EXPECT_EQ(source.asked[4711], 100) << "a failure may pass: the next record asks again";
    Names();
    EXPECT_EQ(source.asked[kSync], 1) << "the read goes on";
    decoder.EndRead();
    source.paths[kSync] = u"\\Elsewhere";
    EXPECT_THAT(Names(), IsEmpty()) << "the next read sees the names of its own instant";
    EXPECT_EQ(source.asked[kSync], 2);
}

TEST_F(BatchDecoderTest, GoneDirectoryCannotBeResolvedBeforeTheFolderIsSeen) {
    AddDirectory(600, kSync + 1, u"never learned");
    mapping.Load({{601, kSync, false, u"Gone"}});
    AddFile(601, u"lost.txt");
    AddFile(kSync, u"teaches.txt");
    AddFile(601, u"found.txt");
    EXPECT_THAT(Names(), ElementsAre(u"teaches.txt", u"Gone\\found.txt"));
}

TEST_F(BatchDecoderTest, DirectoryMadeAndRemovedWithinOneReadIsRebuilt) {
    AddDirectory(600, kSync, u"Short");
    AddDirectory(601, 600, u"lived");
    AddFile(601, u"a.txt");
    EXPECT_THAT(Names(), ElementsAre(u"Short", u"Short\\lived", u"Short\\lived\\a.txt"));
}

TEST_F(BatchDecoderTest, RebuiltPathFollowsTheMappingAtOnce) {
    AddDirectory(600, kSync, u"First");
    AddFile(600, u"a.txt");
    AddDirectory(600, kSync, u"Second");
    AddFile(600, u"b.txt");
    AddDirectory(601, 600, u"Inner");
    AddFile(601, u"c.txt");
    AddDirectory(600, kSync, u"Third");
    AddFile(601, u"d.txt");
    EXPECT_THAT(Names(), ElementsAre(u"First", u"First\\a.txt", u"Second", u"Second\\b.txt", u"Second\\Inner",
                                     u"Second\\Inner\\c.txt", u"Third", u"Third\\Inner\\d.txt"));
    EXPECT_EQ(source.asked[600], 3) << "once for each record below it";
}

TEST_F(BatchDecoderTest, DirectoryRenamedThereAndBackWithinOneReadHasItsFirstName) {
    AddFile(kSync, u"teaches.txt");
    AddDirectory(600, kSync, u"There");
    AddDirectory(600, kSync, u"Back");
    AddDirectory(600, kSync, u"There");
    Names();
    EXPECT_EQ(mapping.BuildPathFromMapping(600), u"\\Sync\\There");
}

TEST_F(BatchDecoderTest, RecycledDirectoryUpdatesItsEntryThoughItsRecordIsDropped) {
    source.paths[900] = u"\\$RECYCLE.BIN\\S-1-5-21";
    AddDirectory(600, kSync, u"Docs");
    AddDirectory(601, 600, u"Old");
    AddDirectory(600, 900, u"$RABC");
    AddFile(601, u"in the bin.txt");
    EXPECT_THAT(Names(), ElementsAre(u"Docs", u"Docs\\Old"));
    EXPECT_EQ(mapping.BuildPathFromMapping(601), u"");
}

TEST_F(BatchDecoderTest, LoopInTheMappingEndsInNoPath) {
    AddFile(kSync, u"teaches.txt");
    mapping.Load({{600, 601, false, u"a"}, {601, 600, false, u"b"}});
    AddFile(600, u"lost.txt");
    EXPECT_THAT(Names(), ElementsAre(u"teaches.txt"));
}

TEST_F(BatchDecoderTest, DirectoryThatIsItsOwnParentEndsInNoPath) {
    BatchDecoder whole(u"C:\\Sync", machine.platform().clock);
    AddFile(kSync, u"teaches.txt");
    AddDirectory(600, 600, u".");
    AddFile(600, u"lost.txt");
    EXPECT_THAT(Names(), ElementsAre(u"teaches.txt"));
}

TEST_F(BatchDecoderTest, PathOf30000UnitsIsDelivered) {
    std::u16string path;
    std::uint64_t number = kSync;
    AddFile(kSync, u"teaches.txt");
    std::vector<db::PathMappingEntry> rows;
    for (int depth = 0; depth < 117; ++depth) {
        const std::u16string name(255, static_cast<char16_t>(u'a' + depth % 26));
        rows.push_back({number + 1, number, false, name});
        path += name + u'\\';
        ++number;
    }
    mapping.Load(rows);
    const std::u16string name(30'000 - path.size(), u'z');
    AddFile(number, name);
    const std::vector<std::u16string> names = Names();
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names[1].size(), 30'000U);
    EXPECT_EQ(names[1], path + name);
}

TEST_F(BatchDecoderTest, DecodingWithAndWithoutTheParentsKnownGivesTheSame) {
    for (std::uint64_t i = 0; i < 2000; ++i) {
        const std::uint64_t directory = 1000 + i % 50;
        source.paths[directory] = i % 3 == 0 ? u"\\Sync\\Dir" + std::u16string(i % 50, u'x') : u"\\Other";
        raw.Add({.parentFrn = directory, .usn = static_cast<std::int64_t>(i), .time = 132'000'000'000'000'000 + i});
    }
    const records::UsnRecordList first = decoder.Decode(raw.bytes(), source, &mapping).records;
    EXPECT_EQ(decoder.Decode(raw.bytes(), source, &mapping).records, first);
    decoder.EndRead();
    EXPECT_EQ(decoder.Decode(raw.bytes(), source, &mapping).records, first);
    EXPECT_FALSE(first.empty());
}

}  // namespace
}  // namespace tavi::journal
