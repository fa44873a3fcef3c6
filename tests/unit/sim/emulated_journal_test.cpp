#include "sim/emulated_journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/constants.h"
#include "platform/types.h"

namespace tavi::sim {
namespace {

using namespace platform;

template <class T>
std::span<const std::byte> BytesOf(const T& value) {
    return std::as_bytes(std::span(&value, 1));
}

UsnJournalData Query(EmulatedJournal& journal) {
    UsnJournalData data;
    std::uint32_t bytes = 0;
    EXPECT_EQ(journal.DeviceIoControl(kFsctlQueryUsnJournal, {}, std::as_writable_bytes(std::span(&data, 1)), bytes),
              0U);
    EXPECT_EQ(bytes, 56U);
    return data;
}

struct ReadResult {
    std::uint32_t code = 0;
    std::int64_t next = 0;
    std::string records;
};

ReadResult Read(EmulatedJournal& journal, ReadUsnJournalData request, std::size_t bufferBytes = 1048576) {
    std::vector<std::byte> buffer(bufferBytes);
    std::uint32_t bytes = 0;
    ReadResult result;
    result.code = journal.DeviceIoControl(kFsctlReadUsnJournal, BytesOf(request), buffer, bytes);
    if (result.code == 0) {
        std::memcpy(&result.next, buffer.data(), sizeof result.next);
        result.records.resize(bytes - sizeof result.next);
        std::memcpy(result.records.data(), buffer.data() + sizeof result.next, result.records.size());
    }
    return result;
}

ReadResult ReadFrom(EmulatedJournal& journal, std::int64_t start, std::size_t bufferBytes = 1048576) {
    return Read(journal, {start, 0xFFFFFFFF, 0, 0, 0, journal.journalId()}, bufferBytes);
}

// The packed header where its 64-bit fields are aligned, so that assertions may refer to them.
struct alignas(8) Record : UsnRecordV2 {};

std::vector<Record> Records(std::string_view bytes) {
    std::vector<Record> records;
    for (std::size_t at = 0; at < bytes.size();) {
        Record record;
        std::memcpy(static_cast<UsnRecordV2*>(&record), bytes.data() + at, sizeof(UsnRecordV2));
        records.push_back(record);
        at += record.recordLength;
    }
    return records;
}

// A journal with `count` changes of files whose names are `units` long.
void Fill(EmulatedJournal& journal, int count, std::size_t units) {
    for (int i = 0; i < count; ++i) {
        journal.AppendRaw(static_cast<std::uint64_t>(100 + i), 5, std::u16string(units, u'n'), 0x20, 0x100, 1);
    }
}

TEST(EmulatedJournal, AbsentJournalAnswers1179) {
    EmulatedJournal journal;
    std::uint32_t bytes = 77;
    std::vector<std::byte> output(100);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlQueryUsnJournal, {}, output, bytes), kErrorJournalNotActive);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(ReadFrom(journal, 0).code, kErrorJournalNotActive);
    const DeleteUsnJournalData request{0, 1, 0};
    EXPECT_EQ(journal.DeviceIoControl(kFsctlDeleteUsnJournal, BytesOf(request), {}, bytes), kErrorJournalNotActive);
    EXPECT_EQ(journal.DeviceIoControl(0x12345, {}, {}, bytes), kErrorInvalidFunction);
}

TEST(EmulatedJournal, CreateWithZeroSizesTakesTheDefaultsAndKeepsAnExistingJournal) {
    EmulatedJournal journal;
    const CreateUsnJournalData request;
    std::uint32_t bytes = 0;
    ASSERT_EQ(journal.DeviceIoControl(kFsctlCreateUsnJournal, BytesOf(request), {}, bytes), 0U);
    const UsnJournalData first = Query(journal);
    EXPECT_NE(first.usnJournalId, 0U);
    EXPECT_EQ(first.maximumSize, 0x2000000U);
    EXPECT_EQ(first.allocationDelta, 0x800000U);
    EXPECT_EQ(first.firstUsn, 0);
    EXPECT_EQ(first.nextUsn, 0);
    journal.AppendRaw(1, 5, u"a", 0x20, 0x100, 1);
    ASSERT_EQ(journal.DeviceIoControl(kFsctlCreateUsnJournal, BytesOf(request), {}, bytes), 0U);
    EXPECT_EQ(Query(journal).usnJournalId, first.usnJournalId);
    EXPECT_EQ(Query(journal).nextUsn, 64);
}

TEST(EmulatedJournal, RecordsAreAlignedAndCarryTheirPosition) {
    EmulatedJournal journal;
    journal.Create();
    for (std::size_t units = 1; units <= 9; ++units) {
        journal.AppendRaw(7, 5, std::u16string(units, u'x'), 0x20, 0x100, 42);
    }
    std::int64_t position = 0;
    for (const Record& record : Records(ReadFrom(journal, 0).records)) {
        EXPECT_EQ(record.usn, position);
        EXPECT_EQ(record.recordLength % 8, 0U);
        EXPECT_GE(record.recordLength, 60U + record.fileNameLength);
        EXPECT_LT(record.recordLength, 68U + record.fileNameLength);
        EXPECT_EQ(record.majorVersion, 2U);
        EXPECT_EQ(record.fileNameOffset, 60U);
        position += record.recordLength;
    }
    EXPECT_EQ(position, journal.nextUsn());
}

TEST(EmulatedJournal, NoRecordCrossesAPageAndReadsSkipTheGap) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 40, 255);  // 576 bytes each, 7 to a page
    const ReadResult read = ReadFrom(journal, 0);
    const std::vector<Record> records = Records(read.records);
    ASSERT_EQ(records.size(), 40U);
    for (const Record& record : records) {
        EXPECT_EQ(record.recordLength, 576U);
        EXPECT_EQ(record.usn / 4096, (record.usn + 575) / 4096);
    }
    EXPECT_EQ(records[7].usn, 4096);
    EXPECT_EQ(read.next, journal.nextUsn());
    const std::string_view stream = journal.Stream();
    EXPECT_EQ(stream.substr(7 * 576, 4096 - 7 * 576), std::string(4096 - 7 * 576, '\0'));
}

TEST(EmulatedJournal, TheEndOfAPageIsAPositionToGoOnFrom) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 7, 255);
    const std::int64_t end = journal.nextUsn();
    EXPECT_EQ(ReadFrom(journal, end).next, end);
    Fill(journal, 1, 255);
    const ReadResult read = ReadFrom(journal, end);
    ASSERT_EQ(read.code, 0U);
    ASSERT_EQ(Records(read.records).size(), 1U);
    EXPECT_EQ(Records(read.records)[0].usn, 4096);
}

TEST(EmulatedJournal, ReadReturnsOnlyWholeRecordsAndSaysWhereToGoOn) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 30, 255);
    std::int64_t position = 0;
    std::size_t total = 0;
    for (int reads = 0; position != journal.nextUsn(); ++reads) {
        ASSERT_LT(reads, 40);
        const ReadResult read = ReadFrom(journal, position, 8 + 2 * 576 + 575);
        ASSERT_EQ(read.code, 0U);
        EXPECT_LE(Records(read.records).size(), 2U);
        total += Records(read.records).size();
        position = read.next;
    }
    EXPECT_EQ(total, 30U);
}

TEST(EmulatedJournal, ReadAtTheEndGivesThePositionAlone) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 3, 4);
    const ReadResult read = ReadFrom(journal, journal.nextUsn());
    EXPECT_EQ(read.code, 0U);
    EXPECT_EQ(read.next, journal.nextUsn());
    EXPECT_TRUE(read.records.empty());
}

TEST(EmulatedJournal, WrongIdentityPositionOrBufferIs87Or122) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 3, 4);
    EXPECT_EQ(Read(journal, {0, 0xFFFFFFFF, 0, 0, 0, journal.journalId() + 1}).code, kErrorInvalidParameter);
    EXPECT_EQ(ReadFrom(journal, 8).code, kErrorInvalidParameter) << "inside a record";
    EXPECT_EQ(ReadFrom(journal, journal.nextUsn() + 8).code, kErrorInvalidParameter) << "beyond the end";
    std::uint32_t bytes = 0;
    std::vector<std::byte> output(100);
    const std::vector<std::byte> shortRequest(39);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlReadUsnJournal, shortRequest, output, bytes), kErrorInvalidParameter);
    EXPECT_EQ(ReadFrom(journal, 0, 7).code, kErrorInsufficientBuffer);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlQueryUsnJournal, {}, std::span(output).first(55), bytes),
              kErrorInsufficientBuffer);
}

TEST(EmulatedJournal, TrimsInStepsOfTheAllocationDelta) {
    EmulatedJournal journal;
    journal.Create(8 * 4096, 2 * 4096);
    std::int64_t before = 0;
    while (journal.nextUsn() < 40 * 4096) {
        Fill(journal, 1, 255);
        EXPECT_LE(journal.nextUsn() - journal.firstUsn(), 10 * 4096);
        EXPECT_GE(journal.nextUsn() - journal.firstUsn(), std::min<std::int64_t>(journal.nextUsn(), 8 * 4096));
        EXPECT_EQ((journal.firstUsn() - before) % (2 * 4096), 0);
        before = journal.firstUsn();
    }
    EXPECT_EQ(Query(journal).firstUsn, journal.firstUsn());
    EXPECT_EQ(Records(ReadFrom(journal, journal.firstUsn()).records)[0].usn, journal.firstUsn());
    EXPECT_EQ(Records(ReadFrom(journal, 0).records)[0].usn, journal.firstUsn()) << "0 asks for the oldest";
}

TEST(EmulatedJournal, PositionBelowTheFirstGivesTheChosenCode) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 20, 255);
    journal.TrimTo(2 * 4096 + 100);
    EXPECT_EQ(journal.firstUsn(), 2 * 4096);
    EXPECT_EQ(ReadFrom(journal, 4096).code, kErrorJournalEntryDeleted);
    EXPECT_EQ(ReadFrom(journal, 2 * 4096).code, 0U);
    journal.behaviour().codeBelowFirst = kErrorInvalidParameter;
    EXPECT_EQ(ReadFrom(journal, 4096).code, kErrorInvalidParameter);
}

TEST(EmulatedJournal, InjectedReadErrorLastsUntilTakenBack) {
    EmulatedJournal journal;
    journal.Create();
    journal.behaviour().failReadsWith = kErrorNotReady;
    EXPECT_EQ(ReadFrom(journal, 0).code, kErrorNotReady);
    EXPECT_EQ(Query(journal).nextUsn, 0) << "only reads fail";
    journal.behaviour().failReadsWith = 0;
    EXPECT_EQ(ReadFrom(journal, 0).code, 0U);
}

TEST(EmulatedJournal, DeletionChecksItsRequestAndMayTakeAWhile) {
    EmulatedJournal journal;
    journal.Create();
    journal.behaviour().deletionTakesCalls = 2;
    std::uint32_t bytes = 0;
    DeleteUsnJournalData request{journal.journalId() + 1, 1, 0};
    EXPECT_EQ(journal.DeviceIoControl(kFsctlDeleteUsnJournal, BytesOf(request), {}, bytes), kErrorInvalidParameter);
    request = {journal.journalId(), 0, 0};
    EXPECT_EQ(journal.DeviceIoControl(kFsctlDeleteUsnJournal, BytesOf(request), {}, bytes), kErrorInvalidParameter);
    request.deleteFlags = 1;
    EXPECT_EQ(journal.DeviceIoControl(kFsctlDeleteUsnJournal, BytesOf(request), {}, bytes), 0U);
    const CreateUsnJournalData create;
    EXPECT_EQ(journal.DeviceIoControl(kFsctlCreateUsnJournal, BytesOf(create), {}, bytes),
              kErrorJournalDeleteInProgress);
    std::vector<std::byte> output(56);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlQueryUsnJournal, {}, output, bytes), kErrorJournalDeleteInProgress);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlQueryUsnJournal, {}, output, bytes), kErrorJournalNotActive);
    EXPECT_EQ(journal.DeviceIoControl(kFsctlCreateUsnJournal, BytesOf(create), {}, bytes), 0U);
}

TEST(EmulatedJournal, RecreatedJournalHasAnotherIdentityAndGoesOnOrRestarts) {
    for (const auto recreation : {PositionAfterRecreation::kGoesOn, PositionAfterRecreation::kRestarts}) {
        EmulatedJournal journal;
        journal.behaviour().recreation = recreation;
        journal.Create();
        Fill(journal, 20, 100);
        const std::uint64_t id = journal.journalId();
        const std::int64_t next = journal.nextUsn();
        journal.Delete();
        journal.Create();
        EXPECT_NE(journal.journalId(), id);
        EXPECT_EQ(journal.firstUsn(), journal.nextUsn());
        EXPECT_EQ(Query(journal).lowestValidUsn, journal.firstUsn());
        if (recreation == PositionAfterRecreation::kGoesOn) {
            EXPECT_GE(journal.firstUsn(), next);
            EXPECT_EQ(ReadFrom(journal, 64).code, kErrorJournalEntryDeleted);
        } else {
            EXPECT_EQ(journal.firstUsn(), 0);
        }
        Fill(journal, 1, 3);
        EXPECT_EQ(Records(ReadFrom(journal, journal.firstUsn()).records).size(), 1U);
    }
}

TEST(EmulatedJournal, ReasonsAccumulateUntilClose) {
    EmulatedJournal journal;
    journal.Create();
    journal.Append(9, 5, u"a", 0x20, kReasonFileCreate, 1);
    journal.Append(9, 5, u"a", 0x20, kReasonDataExtend, 2);
    journal.Append(9, 5, u"a", 0x20, kReasonDataExtend, 3);  // nothing new
    journal.Append(8, 5, u"b", 0x20, kReasonDataExtend, 3);  // another file's cycle in between
    journal.Append(9, 5, u"a", 0x20, kReasonRenameOldName, 4);
    journal.Append(9, 5, u"c", 0x20, kReasonRenameNewName, 4);
    journal.Close(9, 5);
    journal.Close(9, 6);  // closed already
    journal.Append(9, 5, u"c", 0x20, kReasonDataOverwrite, 7);
    std::vector<std::pair<std::u16string, std::uint32_t>> seen;
    for (const JournalEntry& entry : journal.Entries()) {
        seen.emplace_back(entry.name, entry.reason);
    }
    const std::vector<std::pair<std::u16string, std::uint32_t>> expected = {
        {u"a", 0x100}, {u"a", 0x102}, {u"b", 0x2}, {u"a", 0x1102}, {u"c", 0x2102}, {u"c", 0x80002102}, {u"c", 0x1},
    };
    EXPECT_EQ(seen, expected);
}

TEST(EmulatedJournal, ReadFiltersByReasonAndClose) {
    EmulatedJournal journal;
    journal.Create();
    journal.Append(9, 5, u"a", 0x20, kReasonFileCreate, 1);
    journal.Close(9, 1);
    journal.Append(9, 5, u"a", 0x20, kReasonBasicInfoChange, 1);
    const ReadResult closed = Read(journal, {0, 0xFFFFFFFF, 1, 0, 0, journal.journalId()});
    EXPECT_EQ(Records(closed.records).size(), 1U);
    const ReadResult basic = Read(journal, {0, kReasonBasicInfoChange, 0, 0, 0, journal.journalId()});
    EXPECT_EQ(Records(basic.records).size(), 1U);
    EXPECT_EQ(basic.next, journal.nextUsn());
}

TEST(EmulatedJournal, SurvivesSerializationWithOpenFiles) {
    EmulatedJournal journal;
    journal.Create(16 * 4096, 4096);
    Fill(journal, 200, 255);
    journal.Append(9, 5, u"\xD800 odd", 0x20, kReasonDataExtend, 1);
    EmulatedJournal copy;
    ASSERT_TRUE(copy.Restore(journal.Serialize()));
    EXPECT_EQ(copy.Serialize(), journal.Serialize());
    EXPECT_EQ(copy.firstUsn(), journal.firstUsn());
    copy.Close(9, 2);
    journal.Close(9, 2);
    EXPECT_EQ(copy.Entries().back().name, u"\xD800 odd");
    EXPECT_EQ(copy.Stream(), journal.Stream());
    EXPECT_TRUE(copy.Restore(journal.Header() + std::string(journal.Stream()))) << "without the open files";
}

TEST(EmulatedJournal, RefusesToRestoreWhatItDidNotSave) {
    EmulatedJournal journal;
    journal.Create();
    journal.Append(9, 5, u"name", 0x20, kReasonDataExtend, 1);
    const std::string saved = journal.Serialize();
    EmulatedJournal copy;
    EXPECT_FALSE(copy.Restore({}));
    EXPECT_FALSE(copy.Restore(std::string(200, 'x')));
    for (std::size_t bytes = 0; bytes < saved.size(); ++bytes) {
        const std::size_t headerAndStream = EmulatedJournal::kHeaderBytes + journal.Stream().size();
        if (bytes != headerAndStream) {
            EXPECT_FALSE(copy.Restore(std::string_view(saved).substr(0, bytes))) << bytes;
        }
    }
    EXPECT_FALSE(copy.active());
}

TEST(EmulatedJournal, HeaderAndStreamGrowAtTheirEnds) {
    EmulatedJournal journal;
    journal.Create();
    Fill(journal, 10, 5);
    const std::string before(journal.Stream());
    Fill(journal, 10, 5);
    EXPECT_EQ(journal.Stream().substr(0, before.size()), before);
    EXPECT_EQ(journal.Header().size(), EmulatedJournal::kHeaderBytes);
}

TEST(EmulatedJournal, MayKeepMoreThanItsSizeUntilACheckpoint) {
    EmulatedJournal journal;
    journal.Create(4096, 4096);
    journal.behaviour().trimsAtCheckpoints = true;
    Fill(journal, 200, 10);
    EXPECT_EQ(journal.firstUsn(), 0);
    EXPECT_GT(journal.nextUsn(), 3 * 4096);
    journal.Checkpoint();
    EXPECT_GT(journal.firstUsn(), 0);
    EXPECT_LE(journal.nextUsn() - journal.firstUsn(), 2 * 4096);
}

TEST(EmulatedJournal, ForgottenFileIsNotClosed) {
    EmulatedJournal journal;
    journal.Create();
    journal.Append(1, 2, u"f", 0x20, kReasonDataExtend, 1);
    journal.Forget(1);
    journal.Close(1, 2);
    EXPECT_EQ(journal.Entries().size(), 1U);
}

std::string Recording(const char* name) {
    std::ifstream in(std::string(TAVI_RECORDED_JOURNALS) + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

TEST(EmulatedJournal, WritesTheBytesOfARecordedJournal) {
    const std::string recorded = Recording("dfir.J");
    if (recorded.empty()) {
        GTEST_SKIP() << "the recorded journals are not here";
    }
    EmulatedJournal source;
    ASSERT_TRUE(source.LoadRecorded(std::as_bytes(std::span(recorded))));
    EmulatedJournal journal;
    journal.Create();
    std::map<std::uint64_t, std::uint32_t> seen;
    std::size_t written = 0;
    for (const JournalEntry& entry : source.Entries()) {
        if (entry.majorVersion != 2) {
            break;  // the emulation writes version 2 only
        }
        // Only what is new in a record is announced; accumulating it must give the record's own reasons.
        if ((entry.reason & kReasonClose) != 0 && seen[entry.frn] == (entry.reason & ~kReasonClose)) {
            journal.Append(entry.frn, entry.parentFrn, entry.name, entry.attributes, kReasonClose, entry.time);
        } else {
            journal.Append(entry.frn, entry.parentFrn, entry.name, entry.attributes,
                           entry.reason & ~(seen[entry.frn] & ~0x3000U), entry.time);
        }
        seen[entry.frn] = (entry.reason & kReasonClose) != 0 ? 0 : entry.reason;
        ++written;
    }
    EXPECT_GT(written, 50U);
    EXPECT_EQ(journal.Stream(), std::string_view(recorded).substr(0, journal.Stream().size()));
}

TEST(EmulatedJournal, RecordedJournalIsReadBackAsItIs) {
    for (const char* name : {"dfir.J", "plaso.J"}) {
        const std::string recorded = Recording(name);
        if (recorded.empty()) {
            GTEST_SKIP() << "the recorded journals are not here";
        }
        EmulatedJournal journal;
        ASSERT_TRUE(journal.LoadRecorded(std::as_bytes(std::span(recorded)))) << name;
        std::string gapless;
        for (std::size_t at = 0; at + 8 <= recorded.size();) {
            std::uint32_t length = 0;
            std::memcpy(&length, recorded.data() + at, sizeof length);
            if (length == 0) {
                at = (at / 4096 + 1) * 4096;
                continue;
            }
            if (at + length > recorded.size()) {
                break;
            }
            gapless.append(recorded, at, length);
            at += length;
        }
        std::string read;
        for (std::int64_t position = 0; position != journal.nextUsn();) {
            const ReadResult result = ReadFrom(journal, position, 1000);
            ASSERT_EQ(result.code, 0U);
            read += result.records;
            position = result.next;
        }
        EXPECT_EQ(read, gapless) << name;
    }
}

TEST(EmulatedJournal, RecordedStreamMayBeginAnywhereAndBeContinued) {
    EmulatedJournal source;
    source.Create();
    Fill(source, 10, 255);
    const std::string gap(300, '\0');
    const std::string recorded = std::string(source.Stream()) + gap;
    EmulatedJournal journal;
    EXPECT_FALSE(journal.LoadRecorded(std::as_bytes(std::span(recorded)), 100)) << "inside a page";
    ASSERT_TRUE(journal.LoadRecorded(std::as_bytes(std::span(recorded)), 4096 * 100));
    EXPECT_EQ(journal.firstUsn(), 409600);
    journal.AppendRaw(1, 5, u"after", 0x20, 0x100, 1);
    EXPECT_EQ(journal.Entries().size(), 11U);
    EXPECT_EQ(journal.Entries().back().name, u"after");
}

TEST(EmulatedJournal, RefusesARecordingWhoseRecordsDoNotFit) {
    EmulatedJournal source;
    source.Create();
    Fill(source, 2, 10);
    for (const std::uint32_t length : {4U, 81U, 5000U}) {
        std::string recorded(source.Stream());
        std::memcpy(recorded.data(), &length, sizeof length);
        EmulatedJournal journal;
        EXPECT_FALSE(journal.LoadRecorded(std::as_bytes(std::span(recorded)))) << length;
    }
}

}  // namespace
}  // namespace tavi::sim
