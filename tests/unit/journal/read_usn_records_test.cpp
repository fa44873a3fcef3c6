// Reads of a whole volume's journal: positions, what comes back, and what must not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "unit/journal/journal_rig.h"
#include "unit/journal/raw_records.h"

namespace tavi::journal {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using testing::FileNames;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::RawRecord;
using testing::RawRecords;

class ReadUsnRecords : public ::testing::Test, protected testing::JournalRig {
protected:
    template <typename Use>
    auto Emulated(Use use) {
        return volume().WithJournal(use);
    }
    std::int64_t NextUsn() {
        return Emulated([](sim::EmulatedJournal& journal) { return journal.nextUsn(); });
    }
    std::int64_t FirstUsn() {
        return Emulated([](sim::EmulatedJournal& journal) { return journal.firstUsn(); });
    }
    // Lets the next read return these records, after the given next USN.
    void Return(const RawRecords& raw, std::int64_t nextUsn) {
        const std::vector<std::byte> bytes(raw.bytes().begin(), raw.bytes().end());
        files.afterRead = [bytes, nextUsn](std::span<std::byte> output, std::uint32_t& bytesReturned) {
            std::memcpy(output.data(), &nextUsn, sizeof nextUsn);
            std::copy(bytes.begin(), bytes.end(), output.begin() + sizeof nextUsn);
            bytesReturned = static_cast<std::uint32_t>(sizeof nextUsn + bytes.size());
        };
    }
};

TEST_F(ReadUsnRecords, EmptyPageYieldsAnEmptyBatchAndAdvancesThePosition) {
    const auto journal = Make();
    Return(RawRecords(), 4711);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), 4711);
}

TEST_F(ReadUsnRecords, RecordsOfTheFolderComeWithTheirPathsAndPositions) {
    const auto journal = Make();
    const std::int64_t start = journal->startUsn();
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    MakeFile(u"C:\\Other\\b.txt");
    const records::UsnRecordList batch = journal->ReadUsnRecords();
    ASSERT_THAT(batch, Not(IsEmpty()));
    EXPECT_THAT(FileNames(batch), Each(::testing::AnyOf(u"Docs", u"Docs\\a.txt")));
    EXPECT_EQ(batch.front().usn, start);
    EXPECT_EQ(batch.back().frn, volume().Find(u"C:\\Sync\\Docs\\a.txt"));
    EXPECT_EQ(batch.back().oldfrn, -1);
    EXPECT_EQ(journal->startUsn(), NextUsn());
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
}

TEST_F(ReadUsnRecords, SiblingWhoseNameBeginsLikeTheFoldersIsDropped) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync2\\a.txt");
    MakeFile(u"C:\\Syn\\a.txt");
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
}

TEST_F(ReadUsnRecords, FolderComparisonIsCaseSensitive) {
    const auto journal = Make(u"C:\\SYNC");
    MakeFile(u"C:\\Sync\\a.txt");
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
}

TEST_F(ReadUsnRecords, RecordsOfTheFolderItselfAreDropped) {
    const auto journal = Make();
    volume().SetAttributes(u"C:\\Sync", 0x12);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), NextUsn());
}

TEST_F(ReadUsnRecords, RuntimeLocaleIsSetBeforeEveryRead) {
    const auto journal = Make();
    for (int i = 0; i < 2; ++i) {
        machine.clock().WsetlocaleAll(u"C");
        files.beforeControl = [&](std::uint32_t) { EXPECT_EQ(machine.clock().locale(), u"chs"); };
        journal->ReadUsnRecords();
        files.beforeControl = nullptr;
    }
    EXPECT_EQ(files.CountControls(platform::kFsctlReadUsnJournal), 2U);
}

TEST_F(ReadUsnRecords, TimestampsAreThoseOfTheCalls) {
    machine.clock().SetOffset(330);
    machine.clock().SetRuntimeOffset(-480);
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\a.txt");
    const records::UsnRecordList batch = journal->ReadUsnRecords();
    ASSERT_THAT(batch, Not(IsEmpty()));
    EXPECT_EQ(batch[0].timestamp, TimestampConverter(platform.clock).ConvertByCalls(machine.clock().NowUtc()));
}

TEST_F(ReadUsnRecords, DirectoryIsLookedUpOncePerRead) {
    for (int i = 0; i < 50; ++i) {
        MakeFile(u"C:\\Sync\\Docs\\" + std::u16string(1 + static_cast<std::size_t>(i), u'f'));
    }
    const auto journal = Make();
    journal->setStartUsn(FirstUsn());
    EXPECT_THAT(journal->ReadUsnRecords(), Not(IsEmpty()));
    EXPECT_EQ(files.openingsById.size(), 3U) << "the root, the folder and Docs";
    MakeFile(u"C:\\Sync\\Docs\\another.txt");
    EXPECT_THAT(journal->ReadUsnRecords(), Not(IsEmpty()));
    EXPECT_EQ(files.openingsById.size(), 4U) << "a new read looks again";
}

TEST_F(ReadUsnRecords, RenamedDirectoryIsSeenUnderItsPresentNameByTheNextRead) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), Contains(u"Docs\\a.txt"));
    volume().Rename(u"C:\\Sync\\Docs", u"C:\\Sync\\Papers");
    MakeFile(u"C:\\Sync\\Papers\\b.txt");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), Contains(u"Papers\\b.txt"));
}

TEST_F(ReadUsnRecords, DeletedDirectoryIsResolvedOnceTheFolderIsKnown) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\teaches.txt");
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    volume().RemoveTree(u"C:\\Sync\\Docs");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), Contains(u"Docs\\a.txt"));
}

TEST_F(ReadUsnRecords, DeletedDirectoryCannotBeResolvedBeforeTheFolderIsSeen) {
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    const auto journal = Make();
    volume().RemoveTree(u"C:\\Sync\\Docs");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), AllOf(Not(IsEmpty()), Each(u"Docs")));
}

TEST_F(ReadUsnRecords, PendingRowsAreStoredAtTheReadsEnd) {
    const auto journal = Make();
    volume().MakeDirectory(u"C:\\Sync\\Docs");
    volume().MakeDirectory(u"C:\\Sync\\More");
    const std::uint64_t before = machine.faults().calls("Sqlite.OpenV2");
    journal->ReadUsnRecords();
    EXPECT_EQ(machine.faults().calls("Sqlite.OpenV2"), before + 1);
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    journal->ReadUsnRecords();
    EXPECT_EQ(machine.faults().calls("Sqlite.OpenV2"), before + 1) << "files bring no rows";
}

TEST_F(ReadUsnRecords, EveryPositionWithinTheBoundsIsRead) {
    MakeFile(u"C:\\Sync\\a.txt");
    const auto journal = Make();
    journal->setStartUsn(FirstUsn());
    EXPECT_THAT(journal->ReadUsnRecords(), Not(IsEmpty()));
    journal->setStartUsn(NextUsn());
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), NextUsn());
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(ReadUsnRecords, OneAboveTheUpperBoundMovesToTheNextUsn) {
    const auto journal = Make();
    journal->setStartUsn(NextUsn() + 1);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), NextUsn());
    EXPECT_FALSE(journal->positionLost());
}

TEST_F(ReadUsnRecords, OneBelowTheUpperBoundIsNoRecordAndMovesToTheNextUsn) {
    MakeFile(u"C:\\Sync\\a.txt");
    const auto journal = Make();
    journal->setStartUsn(NextUsn() - 1);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), NextUsn());
}

TEST_F(ReadUsnRecords, PositionsAroundTheLowerBoundOfATrimmedJournal) {
    for (int i = 0; i < 200; ++i) {
        MakeFile(u"C:\\Sync\\" + std::u16string(1 + static_cast<std::size_t>(i), u'f'));
    }
    Emulated([](sim::EmulatedJournal& journal) { journal.TrimTo(3 * 4096); });
    const std::int64_t first = FirstUsn();
    ASSERT_GT(first, 0);
    const auto journal = Make();
    journal->setStartUsn(first);
    EXPECT_THAT(journal->ReadUsnRecords(), Not(IsEmpty()));

    journal->setStartUsn(first - 1);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), first - 1) << "an expired position is for the start handler to repair";
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 1181"));

    Emulated([](sim::EmulatedJournal& emulated) { emulated.behaviour().codeBelowFirst = 87; });
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), NextUsn());
}

TEST_F(ReadUsnRecords, JournalTrimmedDuringAReadLosesNothingThatWasReturned) {
    MakeFile(u"C:\\Sync\\before.txt");
    const auto journal = Make();
    journal->setStartUsn(FirstUsn());
    const std::int64_t end = NextUsn();
    files.afterRead = [&](std::span<std::byte>, std::uint32_t&) {
        files.afterRead = nullptr;
        for (int i = 0; i < 200; ++i) {
            MakeFile(u"C:\\Sync\\" + std::u16string(1 + static_cast<std::size_t>(i), u'f'));
        }
        Emulated([&](sim::EmulatedJournal& trimmed) { trimmed.TrimTo(trimmed.nextUsn()); });
    };
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), Contains(u"before.txt"));
    EXPECT_EQ(journal->startUsn(), end);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), end) << "what was trimmed away is missed, and the error says so";
    EXPECT_TRUE(
        log.HasError("FileChangeRecord", "FsctlReadUsnJournal", "Failed to read the USN journal, error code is 1181"));
}

TEST_F(ReadUsnRecords, DeletionInProgressIsAQuietJournal) {
    const auto journal = Make();
    const std::int64_t start = journal->startUsn();
    Emulated([](sim::EmulatedJournal& deleted) {
        deleted.behaviour().deletionTakesCalls = 1;
        deleted.Delete();
    });
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), start);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 1178",
                                      "FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 1179"));
    EXPECT_FALSE(journal->journalLost());
    EXPECT_FALSE(journal->positionLost());
}

TEST_F(ReadUsnRecords, RecordsAtPageEndsAllArrive) {
    const auto journal = Make();
    const std::uint64_t sync = volume().Find(u"C:\\Sync");
    std::vector<std::u16string> expected;
    for (std::size_t i = 0; i < 300; ++i) {
        const std::u16string name = std::u16string(1 + i % 200, u'p') + u".txt";
        Emulated([&](sim::EmulatedJournal& emulated) {
            emulated.AppendRaw(1000 + i, sync, name, 0x20, 0x100, 133'000'000'000'000'000);
        });
        expected.push_back(name);
    }
    EXPECT_EQ(FileNames(journal->ReadUsnRecords()), expected);
    EXPECT_GT(NextUsn(), 10 * 4096);
}

TEST_F(ReadUsnRecords, RecordOf576BytesAndNumberAboveTheSignedRange) {
    const auto journal = Make();
    constexpr std::uint64_t kAboveSigned = (std::uint64_t{37224} << 48U) + 115;
    static_assert(kAboveSigned > 0x7FFFFFFFFFFFFFFF);
    volume().UseNextFrn(kAboveSigned);
    MakeFile(u"C:\\Sync\\" + std::u16string(255, u'n'));
    const records::UsnRecordList batch = journal->ReadUsnRecords();
    ASSERT_THAT(batch, Not(IsEmpty()));
    EXPECT_EQ(batch[0].frn, kAboveSigned);
    EXPECT_EQ(batch[0].filename, std::u16string(255, u'n'));
}

TEST_F(ReadUsnRecords, MoreThanOneReadFillsTheBufferAndGoesOnWhereItEnded) {
    const auto journal = Make();
    constexpr std::size_t kRecords = 3000;
    const std::uint64_t sync = volume().Find(u"C:\\Sync");
    for (std::size_t i = 0; i < kRecords; ++i) {
        Emulated([&](sim::EmulatedJournal& emulated) {
            emulated.AppendRaw(1000 + i, sync, std::u16string(255, u'n'), 0x20, 0x100, 133'000'000'000'000'000);
        });
    }
    std::size_t total = 0;
    int reads = 0;
    for (records::UsnRecordList batch = journal->ReadUsnRecords(); !batch.empty(); batch = journal->ReadUsnRecords()) {
        total += batch.size();
        ++reads;
    }
    EXPECT_EQ(total, kRecords);
    EXPECT_EQ(reads, 2);
}

TEST_F(ReadUsnRecords, MalformedRecordEndsTheReadWithOneLine) {
    const auto journal = Make();
    const std::uint64_t sync = volume().Find(u"C:\\Sync");
    RawRecords raw;
    raw.Add({.frn = 7000, .parentFrn = sync, .attributes = 0x10, .name = u"Docs"});
    raw.Add({.parentFrn = sync, .name = u"before.txt"});
    const std::size_t spoilt = raw.Add({.parentFrn = sync, .name = u"spoilt.txt"});
    raw.Add({.parentFrn = sync, .name = u"after.txt"});
    raw.SetNameLength(spoilt, 0xFFFF);
    Return(raw, 900);
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), ElementsAre(u"Docs", u"before.txt"));
    EXPECT_EQ(journal->startUsn(), 900);
    EXPECT_THAT(Stored(), ElementsAre(db::PathMappingEntry{7000, sync, false, u"Docs"}));
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/ReadUsnRecords/"
                                      "A malformed record ends the decoding of the USN records"));
}

TEST_F(ReadUsnRecords, ExceptionWhileDecodingIsLoggedAndTheRecordsAreReadAgain) {
    const auto journal = Make();
    const std::int64_t start = journal->startUsn();
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    int answers = 0;
    files.nameAnswer = [&](std::span<std::byte>) -> std::int32_t {
        ++answers;
        throw std::runtime_error("no memory for a name");
    };
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(journal->startUsn(), start);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/ReadUsnRecords/"
                                      "Failed to decode the USN records: exception no memory for a name"));
    files.nameAnswer = nullptr;
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), ::testing::IsSupersetOf({u"Docs", u"Docs\\a.txt"}));
    EXPECT_EQ(journal->startUsn(), NextUsn());
}

TEST_F(ReadUsnRecords, MoreBytesThanTheBufferHasAreNotRead) {
    const auto journal = Make();
    files.afterRead = [](std::span<std::byte> output, std::uint32_t& bytesReturned) {
        std::fill(output.begin() + 8, output.end(), std::byte{0xFF});
        bytesReturned = 0xFFFFFFFF;
    };
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
}

TEST_F(ReadUsnRecords, LessThanANextUsnIsNoPosition) {
    const auto journal = Make();
    const std::int64_t start = journal->startUsn();
    for (std::uint32_t bytes = 0; bytes < 8; ++bytes) {
        files.afterRead = [bytes](std::span<std::byte>, std::uint32_t& bytesReturned) { bytesReturned = bytes; };
        EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
        EXPECT_EQ(journal->startUsn(), start);
    }
}

TEST_F(ReadUsnRecords, ListenPathTrimmedAfterAReadCounts) {
    const auto journal = Make(u"C:\\Sync\\");
    MakeFile(u"C:\\Sync\\a.txt");
    const std::int64_t start = journal->startUsn();
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    journal->RemoveTrailingBackslashes();
    journal->setStartUsn(start);
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), AllOf(Not(IsEmpty()), Each(u"a.txt")));
}

// A whole drive, as the cycle prepares it: the mapping is made before the backslash is removed.
TEST_F(ReadUsnRecords, RecordsInTheRootOfAListenedDriveAreReadWithTheirPaths) {
    const auto journal = Make(u"C:\\");
    journal->RemoveTrailingBackslashes();
    MakeFile(u"C:\\first.txt");
    MakeFile(u"C:\\Docs\\a.txt");
    MakeFile(u"C:\\second.txt");
    std::vector<std::u16string> names = FileNames(journal->ReadUsnRecords());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    EXPECT_THAT(names, ElementsAre(u"first.txt", u"Docs", u"Docs\\a.txt", u"second.txt"));
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace),
                ElementsAre("fileReferenceNumber,syncFolderPath:" + std::to_string(volume().Find(u"C:\\")) + ","));
}

TEST_F(ReadUsnRecords, DirectoryThatIsGoneFromTheRootOfAListenedDriveIsResolved) {
    const auto journal = Make(u"C:\\");
    journal->RemoveTrailingBackslashes();
    MakeFile(u"C:\\Docs\\Old\\a.txt");
    volume().RemoveTree(u"C:\\Docs");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), Contains(u"Docs\\Old\\a.txt").Times(::testing::Ge(2)));
}

TEST_F(ReadUsnRecords, ChangesInAFolderThatAProcessHoldsAsItsCurrentOneAreRead) {
    const auto journal = Make();
    files.refusedAccess = {platform::kGenericAll};
    MakeFile(u"C:\\Sync\\a.txt");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), AllOf(Not(IsEmpty()), Each(u"a.txt")));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(ReadUsnRecords, ChangesInAnOldSubfolderThatIsHeldAreRead) {
    MakeFile(u"C:\\Sync\\Old\\Deep\\a.txt");
    const auto journal = Make();
    files.refusedAccess = {platform::kGenericAll};
    volume().Write(u"C:\\Sync\\Old\\Deep\\a.txt", "more");
    EXPECT_THAT(FileNames(journal->ReadUsnRecords()), AllOf(Not(IsEmpty()), Each(u"Old\\Deep\\a.txt")));
}

TEST_F(ReadUsnRecords, LookUpThatFailsOnceCostsOneRecordOnly) {
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    const auto journal = Make();
    for (const char16_t* name : {u"b.txt", u"c.txt", u"d.txt"}) {
        volume().MakeFile(std::u16string(u"C:\\Sync\\Docs\\") + name);
    }
    const std::size_t records = journal->ReadUsnRecords().size();
    journal->setStartUsn(journal->journalData().nextUsn);
    int queries = 0;
    files.nameAnswer = [&](std::span<std::byte> buffer) {
        constexpr std::u16string_view kPath = u"\\Sync\\Docs";
        std::memcpy(buffer.data() + 4, kPath.data(), kPath.size() * sizeof(char16_t));
        return ++queries == 1 ? static_cast<std::int32_t>(0xC0000001) : platform::kStatusSuccess;
    };
    EXPECT_EQ(journal->ReadUsnRecords().size(), records - 1);
    EXPECT_EQ(queries, 2) << "what was found is kept";
    EXPECT_THAT(Errors(), ::testing::SizeIs(1));
}

TEST_F(ReadUsnRecords, DirectoryMovedTwiceInOneReadIsOneInsert) {
    MakeFile(u"C:\\Sync\\Docs\\a.txt");
    volume().MakeDirectory(u"C:\\Sync\\Archive");
    const auto journal = Make();
    const std::uint64_t frn = volume().Find(u"C:\\Sync\\Docs");
    volume().Rename(u"C:\\Sync\\Docs", u"C:\\Sync\\Papers");
    volume().Rename(u"C:\\Sync\\Papers", u"C:\\Sync\\Archive\\Letters");
    const std::uint64_t before = machine.faults().calls("Sqlite.Step");
    EXPECT_THAT(journal->ReadUsnRecords(), Not(IsEmpty()));
    const std::uint64_t stepsOfOneRow = machine.faults().calls("Sqlite.Step") - before;
    EXPECT_EQ(stepsOfOneRow, 1U);
    EXPECT_THAT(Stored(),
                ElementsAre(db::PathMappingEntry{frn, volume().Find(u"C:\\Sync\\Archive"), false, u"Letters"}));
}

TEST_F(ReadUsnRecords, ZoneOfEachReadIsItsOwn) {
    const auto journal = Make();
    RawRecords raw;
    raw.Add({.parentFrn = volume().Find(u"C:\\Sync")});
    Return(raw, journal->startUsn());
    const std::int64_t before = journal->ReadUsnRecords().at(0).timestamp;
    machine.clock().SetRuntimeOffset(120);
    EXPECT_EQ(before - journal->ReadUsnRecords().at(0).timestamp, std::int64_t{120} * 60 * 1000);
}

}  // namespace
}  // namespace tavi::journal
