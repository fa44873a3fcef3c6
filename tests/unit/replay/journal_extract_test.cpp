#include "replay/journal_extract.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include "platform/constants.h"
#include "sim/emulated_journal.h"

namespace tavi::replay {
namespace {

using platform::Usn;

constexpr std::size_t kPage = 4096;

std::string Records(int count) {
    sim::EmulatedJournal journal;
    journal.Create();
    for (int i = 0; i < count; ++i) {
        journal.AppendRaw(40, 5, u"a.txt", 0x20, 0x100, 1);
    }
    return std::string(journal.Stream());
}

constexpr std::size_t kRecordBytes = 72;

void SetUsn(std::string& bytes, std::size_t record, Usn usn) {
    std::memcpy(bytes.data() + record + 24, &usn, sizeof usn);
}

// The extract together with the bytes that it reads.
struct Opened {
    explicit Opened(std::string bytes, std::optional<Usn> firstByteUsn = std::nullopt)
        : input(std::move(bytes)), extract(JournalExtract::Open(input, firstByteUsn, error)) {}

    std::istringstream input;
    std::string error;
    std::optional<JournalExtract> extract;
};

struct Answer {
    std::uint32_t code = 0;
    std::string bytes;
    Usn next = 0;
};

template <typename Reader>
Answer Ask(Reader read, Usn startUsn, std::size_t bufferBytes, std::uint32_t reasonMask, std::uint64_t id) {
    platform::ReadUsnJournalData request;
    request.startUsn = startUsn;
    request.reasonMask = reasonMask;
    request.usnJournalId = id;
    std::string buffer(bufferBytes, '\x55');
    std::uint32_t returned = 0;
    Answer answer;
    answer.code = read(request, std::as_writable_bytes(std::span(buffer)), returned);
    answer.bytes = buffer.substr(0, returned);
    if (returned >= sizeof answer.next) {
        std::memcpy(&answer.next, answer.bytes.data(), sizeof answer.next);
    }
    return answer;
}

Answer Read(JournalExtract& extract, Usn startUsn, std::size_t bufferBytes = 1 << 20,
            std::uint32_t reasonMask = 0xFFFFFFFF) {
    return Ask([&extract](const auto& request, auto output,
                          auto& returned) { return extract.Read(request, output, returned); },
               startUsn, bufferBytes, reasonMask, 1);
}

TEST(JournalExtract, AnExtractFromPositionZeroIsReadFromThere) {
    Opened opened(Records(3));
    ASSERT_TRUE(opened.extract) << opened.error;
    EXPECT_EQ(opened.extract->firstUsn(), 0);
    EXPECT_EQ(opened.extract->nextUsn(), static_cast<Usn>(3 * kRecordBytes));
    EXPECT_EQ(opened.extract->leftOut().Describe(), "");
    EXPECT_EQ(Read(*opened.extract, 0).bytes.substr(8), Records(3));
}

TEST(JournalExtract, ThePositionComesFromTheFirstRecord) {
    std::string bytes = Records(1);
    SetUsn(bytes, 0, 0x30000);
    Opened opened(bytes);
    ASSERT_TRUE(opened.extract) << opened.error;
    EXPECT_EQ(opened.extract->firstUsn(), 0x30000);
    EXPECT_EQ(Read(*opened.extract, 0x30000).bytes.substr(8), bytes);
}

TEST(JournalExtract, ZerosBeforeTheFirstRecordAreSkippedWhereverTheyEnd) {
    for (const std::size_t zeros : {8U, 4088U, 4096U, 8192U, 8200U, 3U << 20}) {
        std::string bytes = Records(1);
        SetUsn(bytes, 0, static_cast<Usn>(0x100000 + zeros % kPage));
        Opened opened(std::string(zeros, '\0') + bytes);
        if (zeros % kPage + kRecordBytes > kPage) {
            EXPECT_EQ(opened.error, "a record's length leads out of its page") << zeros;
            continue;
        }
        ASSERT_TRUE(opened.extract) << zeros << ": " << opened.error;
        EXPECT_EQ(opened.extract->firstUsn(), static_cast<Usn>(0x100000 + zeros % kPage));
        EXPECT_EQ(Read(*opened.extract, 0).bytes.substr(8), bytes) << zeros;
    }
}

TEST(JournalExtract, RecordsBehindZerosInTheMiddleOfAPageAreRead) {
    std::string bytes = Records(3);
    bytes.replace(kRecordBytes, kRecordBytes, kRecordBytes, '\0');
    Opened opened(bytes);
    ASSERT_TRUE(opened.extract) << opened.error;
    const Answer answer = Read(*opened.extract, 0);
    EXPECT_EQ(answer.bytes.substr(8), bytes.substr(0, kRecordBytes) + bytes.substr(2 * kRecordBytes));
    EXPECT_EQ(answer.next, static_cast<Usn>(3 * kRecordBytes));
}

TEST(JournalExtract, AnExtractWithoutARecordIsRefused) {
    for (const std::size_t size : {0U, 8U, 55U, 4096U, 10'000U}) {
        EXPECT_EQ(Opened(std::string(size, '\0')).error, "holds no journal record") << size;
        EXPECT_EQ(Opened(std::string(size, '\0'), 4096).error, "holds no journal record at its own position") << size;
    }
}

TEST(JournalExtract, AnExtractThatBeginsInsideAPageIsReadOnlyWithItsPosition) {
    std::string bytes = Records(2);
    SetUsn(bytes, 0, 0x5008);
    SetUsn(bytes, kRecordBytes, 0x5008 + static_cast<Usn>(kRecordBytes));
    EXPECT_EQ(Opened(bytes).error,
              "its first record's position does not fit its place: not the beginning of a page of a journal");
    Opened told(bytes, 0x5008);
    ASSERT_TRUE(told.extract) << told.error;
    EXPECT_EQ(told.extract->firstUsn(), 0x5008);
    EXPECT_EQ(Read(*told.extract, 0).bytes.substr(8), bytes);
}

TEST(JournalExtract, AnExtractThatBeginsInsideARecordIsReadFromTheNextOne) {
    const std::string whole = Records(3);
    for (const std::size_t cut : {1U, 4U, 8U, 60U, 71U}) {
        Opened opened(whole.substr(cut), static_cast<Usn>(cut));
        ASSERT_TRUE(opened.extract) << cut << ": " << opened.error;
        EXPECT_EQ(opened.extract->firstUsn(), static_cast<Usn>(kRecordBytes)) << cut;
        EXPECT_EQ(Read(*opened.extract, 0).bytes.substr(8), whole.substr(kRecordBytes)) << cut;
    }
    EXPECT_EQ(Opened(whole.substr(8), 8).extract->leftOut().Describe(), "not read: 64 bytes before the first record");
}

TEST(JournalExtract, ARecordThatTheEndCutsOffIsSaid) {
    const std::string whole = Records(2);
    Opened opened(whole.substr(0, whole.size() - 16));
    ASSERT_TRUE(opened.extract) << opened.error;
    EXPECT_EQ(opened.extract->nextUsn(), static_cast<Usn>(kRecordBytes));
    EXPECT_EQ(opened.extract->leftOut().Describe(), "not read: 56 bytes of a record that the end cuts off");
}

TEST(JournalExtract, RecordsOfOtherVersionsAreCountedAndHandedOn) {
    std::string bytes = Records(3);
    bytes[kRecordBytes + 4] = 4;
    Opened opened(bytes);
    ASSERT_TRUE(opened.extract) << opened.error;
    EXPECT_EQ(opened.extract->leftOut().Describe(), "not read: 1 record of other versions than 2");
    EXPECT_EQ(Read(*opened.extract, 0).bytes.substr(8), bytes);
}

TEST(JournalExtract, ALengthThatLeadsOutOfThePageIsRefused) {
    for (const int length : {1, 4, 12, 4032, 0xFF00}) {
        std::string bytes = Records(2);
        bytes[kRecordBytes] = static_cast<char>(length & 0xFF);
        bytes[kRecordBytes + 1] = static_cast<char>(length >> 8);
        EXPECT_EQ(Opened(bytes).error, "a record's length leads out of its page") << length;
    }
}

TEST(JournalExtract, PositionsThatAreNoRecordsAreRefusedAsTheFileSystemDoes) {
    std::string bytes = Records(2);
    SetUsn(bytes, 0, 0x5000);
    Opened opened(bytes);
    JournalExtract& extract = *opened.extract;
    EXPECT_EQ(Read(extract, 0x4FF8).code, platform::kErrorJournalEntryDeleted);
    EXPECT_EQ(Read(extract, 0x5008).code, platform::kErrorInvalidParameter);
    EXPECT_EQ(Read(extract, extract.nextUsn() + 8).code, platform::kErrorInvalidParameter);
    EXPECT_EQ(Read(extract, 0, 7).code, platform::kErrorInsufficientBuffer);
    EXPECT_EQ(Read(extract, extract.nextUsn()).bytes.size(), 8u);
}

TEST(JournalExtract, AFileThatCanNoLongerBeReadGivesAnError) {
    Opened opened(Records(200'000 / 72));
    opened.input.str("");
    EXPECT_EQ(Read(*opened.extract, opened.extract->nextUsn() - 72).code, platform::kErrorSuccess) << "in memory";
    Opened large(Records(3'000'000 / 72));
    large.input.str("");
    EXPECT_EQ(Read(*large.extract, 0).code, 23u);
}

// Any journal, read through buffers of any size, gives what the emulated journal gives.
TEST(JournalExtract, ReadsAsTheEmulatedJournalDoes) {
    std::mt19937_64 random(20261122);
    for (int round = 0; round < 60; ++round) {
        sim::EmulatedJournal journal;
        journal.Create();
        const int count = 1 + static_cast<int>(random() % 400);
        for (int i = 0; i < count; ++i) {
            const std::u16string name(1 + random() % (random() % 8 == 0 ? 250 : 20), u'x');
            journal.AppendRaw(random(), 5, name, 0x20, 1U << (random() % 16), random());
        }
        Opened opened{std::string(journal.Stream())};
        ASSERT_TRUE(opened.extract) << opened.error;
        platform::UsnJournalData data;
        std::uint32_t returned = 0;
        ASSERT_EQ(journal.DeviceIoControl(platform::kFsctlQueryUsnJournal, {},
                                          std::as_writable_bytes(std::span(&data, 1)), returned),
                  0u);
        const auto emulated = [&journal](const auto& request, auto output, auto& bytes) {
            return journal.DeviceIoControl(platform::kFsctlReadUsnJournal, std::as_bytes(std::span(&request, 1)),
                                           output, bytes);
        };
        const std::uint32_t mask = random() % 2 == 0 ? 0xFFFFFFFF : static_cast<std::uint32_t>(random() % 0xFFFF + 1);
        const std::size_t buffer = 600 + random() % 9000;
        for (Usn position = 0; position < journal.nextUsn();) {
            const Answer expected = Ask(emulated, position, buffer, mask, data.usnJournalId);
            const Answer got = Read(*opened.extract, position, buffer, mask);
            ASSERT_EQ(got.code, expected.code) << round << " at " << position;
            ASSERT_EQ(got.bytes, expected.bytes) << round << " at " << position;
            ASSERT_GT(got.next, position);
            position = got.next;
        }
    }
}

}  // namespace
}  // namespace tavi::replay
