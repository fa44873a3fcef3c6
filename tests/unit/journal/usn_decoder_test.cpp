#include "journal/usn_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "unit/journal/raw_records.h"

namespace tavi::journal {
namespace {

using testing::RawRecord;
using testing::RawRecords;

struct Decoded {
    std::vector<std::u16string> names;
    bool malformed = false;
};

std::u16string NameOf(const UsnRecordView& record) {
    std::u16string name(record.nameUnits(), u'\0');
    record.CopyName(name.data());
    std::u16string room(record.nameUnits(), u'\0');
    EXPECT_EQ(record.Name(room.data()), name);
    return name;
}

Decoded DecodeAll(std::span<const std::byte> bytes) {
    // A copy of exactly this size, so that a sanitizer sees every byte read past the end.
    const std::vector<std::byte> exact(bytes.begin(), bytes.end());
    Decoded decoded;
    UsnDecoder decoder(exact);
    UsnRecordView record;
    while (decoder.Next(record)) {
        decoded.names.push_back(NameOf(record));
    }
    decoded.malformed = decoder.malformed();
    EXPECT_FALSE(decoder.Next(record)) << "an ended walk stays ended";
    return decoded;
}

using Names = std::vector<std::u16string>;

TEST(UsnDecoder, NoBytesAreNoRecords) {
    const Decoded decoded = DecodeAll({});
    EXPECT_TRUE(decoded.names.empty());
    EXPECT_FALSE(decoded.malformed);
}

TEST(UsnDecoder, EveryFieldIsRead) {
    RawRecords raw;
    raw.Add({.frn = 0x9168000000000073,
             .parentFrn = 0x0005000000000005,
             .usn = 4711,
             .time = 131'926'665'709'243'619,
             .reason = 0x80000102,
             .attributes = 0x2020,
             .name = u"report.docx"});
    UsnDecoder decoder(raw.bytes());
    UsnRecordView record;
    ASSERT_TRUE(decoder.Next(record));
    EXPECT_EQ(record.recordLength(), 88U);
    EXPECT_EQ(record.fileReferenceNumber(), 0x9168000000000073U);
    EXPECT_EQ(record.parentFileReferenceNumber(), 0x0005000000000005U);
    EXPECT_EQ(record.usn(), 4711);
    EXPECT_EQ(record.timeStamp(), 131'926'665'709'243'619U);
    EXPECT_EQ(record.reason(), 0x80000102U);
    EXPECT_EQ(record.sourceInfo(), 0U);
    EXPECT_EQ(record.securityId(), 0U);
    EXPECT_EQ(record.fileAttributes(), 0x2020U);
    EXPECT_EQ(NameOf(record), u"report.docx");
}

TEST(UsnDecoder, RecordsFollowEachOtherInOrder) {
    RawRecords raw;
    raw.Add({.name = u"one"});
    raw.Add({.name = u""});
    raw.Add({.name = std::u16string(255, u'n')});
    const Decoded decoded = DecodeAll(raw.bytes());
    EXPECT_EQ(decoded.names, (Names{u"one", u"", std::u16string(255, u'n')}));
    EXPECT_FALSE(decoded.malformed);
}

TEST(UsnDecoder, LongestRecordOf576BytesIsRead) {
    RawRecords raw;
    raw.Add({.name = std::u16string(255, u'x'), .extraBytes = 6});
    EXPECT_EQ(raw.bytes().size(), 576U);
    EXPECT_EQ(DecodeAll(raw.bytes()).names, Names{std::u16string(255, u'x')});
}

TEST(UsnDecoder, NamesAreAnyCodeUnits) {
    const std::u16string lone = u"\xD800-\xDC00.txt";
    const std::u16string unassigned = u"\x0378\xFFFE.txt";
    RawRecords raw;
    raw.Add({.name = lone});
    raw.Add({.name = unassigned});
    EXPECT_EQ(DecodeAll(raw.bytes()).names, (Names{lone, unassigned}));
}

TEST(UsnDecoder, RubbishInThePaddingIsNoPartOfTheName) {
    RawRecords raw;
    const std::size_t record = raw.Add({.name = u"a", .extraBytes = 16});
    for (std::size_t at = record + sizeof(platform::UsnRecordV2) + 2; at < raw.bytes().size(); ++at) {
        raw.Overwrite(at, std::uint8_t{0xEE});
    }
    EXPECT_EQ(DecodeAll(raw.bytes()).names, Names{u"a"});
}

TEST(UsnDecoder, OtherMajorVersionsAreSkippedByTheirLength) {
    for (const std::uint16_t version : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{3}, std::uint16_t{4}}) {
        RawRecords raw;
        raw.Add({.name = u"before"});
        raw.Add({.name = u"skipped", .majorVersion = version});
        raw.Add({.name = u"after"});
        const Decoded decoded = DecodeAll(raw.bytes());
        EXPECT_EQ(decoded.names, (Names{u"before", u"after"})) << version;
        EXPECT_FALSE(decoded.malformed) << version;
    }
}

TEST(UsnDecoder, OtherVersionsMayBeShorterThanThisHeader) {
    RawRecords raw;
    raw.Add({.name = u"before"});
    const std::size_t skipped = raw.Add({.name = u"", .majorVersion = 9});
    RawRecords cut;
    cut.Add({.name = u"before"});
    EXPECT_EQ(raw.bytes().size(), skipped + 64);
    raw.SetLength(skipped, 8);
    // What follows the eight bytes begins with a length of 0, which ends the walk.
    const Decoded decoded = DecodeAll(raw.bytes());
    EXPECT_EQ(decoded.names, Names{u"before"});
    EXPECT_TRUE(decoded.malformed);
    EXPECT_FALSE(DecodeAll(raw.bytes().first(skipped + 8)).malformed);
}

struct MalformedRow {
    const char* what;
    void (*spoil)(RawRecords& raw, std::size_t record);
};

class UsnDecoderMalformed : public ::testing::TestWithParam<MalformedRow> {};

TEST_P(UsnDecoderMalformed, EndsTheWalkAtThatRecord) {
    RawRecords raw;
    raw.Add({.name = u"good"});
    const std::size_t record = raw.Add({.name = u"spoilt"});
    GetParam().spoil(raw, record);
    raw.Add({.name = u"never reached"});
    const Decoded decoded = DecodeAll(raw.bytes());
    EXPECT_EQ(decoded.names, Names{u"good"});
    EXPECT_TRUE(decoded.malformed);
}

constexpr std::uint16_t kHeaderBytes = sizeof(platform::UsnRecordV2);

INSTANTIATE_TEST_SUITE_P(
    Records, UsnDecoderMalformed,
    ::testing::Values(
        MalformedRow{"LengthZero", [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 0); }},
        MalformedRow{"LengthBelowCommonHeader",
                     [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 4); }},
        MalformedRow{"LengthBelowHeader", [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 56); }},
        MalformedRow{"LengthNoMultipleOfEight",
                     [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 76); }},
        MalformedRow{"LengthPastTheEnd",
                     [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 0x10000); }},
        MalformedRow{"LengthAllOnes",
                     [](RawRecords& raw, std::size_t record) { raw.SetLength(record, 0xFFFFFFF8); }},
        MalformedRow{"NamePastTheRecord",
                     [](RawRecords& raw, std::size_t record) {
                         raw.SetNameLength(record, static_cast<std::uint16_t>(72 - kHeaderBytes + 1));
                     }},
        MalformedRow{"NameOffsetPastTheRecord",
                     [](RawRecords& raw, std::size_t record) { raw.SetNameOffset(record, 73); }},
        MalformedRow{"NameOffsetAndLengthAllOnes",
                     [](RawRecords& raw, std::size_t record) {
                         raw.SetNameOffset(record, 0xFFFF);
                         raw.SetNameLength(record, 0xFFFF);
                     }},
        MalformedRow{"OtherVersionWithLengthZero",
                     [](RawRecords& raw, std::size_t record) {
                         raw.Overwrite(record + 4, std::uint16_t{3});
                         raw.SetLength(record, 0);
                     }}),
    [](const auto& instance) { return instance.param.what; });

TEST(UsnDecoder, NameThatEndsWithItsRecordIsRead) {
    RawRecords raw;
    const std::size_t record = raw.Add({.name = u"spoilt"});
    raw.SetNameLength(record, static_cast<std::uint16_t>(72 - kHeaderBytes));
    const Decoded decoded = DecodeAll(raw.bytes());
    ASSERT_EQ(decoded.names.size(), 1U);
    EXPECT_EQ(decoded.names[0], u"spoilt");
    EXPECT_FALSE(decoded.malformed);
}

TEST(UsnDecoder, NameAtAnOddAddressIsCopiedAndReadTheSame) {
    RawRecords raw;
    raw.Add({.name = u"report.docx"});
    std::vector<std::byte> shifted(raw.bytes().size() + 1);
    std::copy(raw.bytes().begin(), raw.bytes().end(), shifted.begin() + 1);
    const std::span<const std::byte> odd(shifted.data() + 1, raw.bytes().size());
    UsnDecoder decoder(odd);
    UsnRecordView record;
    ASSERT_TRUE(decoder.Next(record));
    std::u16string room(record.nameUnits(), u'\0');
    const std::u16string_view name = record.Name(room.data());
    EXPECT_EQ(name, u"report.docx");
    EXPECT_EQ(name.data(), room.data());
}

TEST(UsnDecoder, OddByteAtANamesEndIsNotPartOfIt) {
    RawRecords raw;
    const std::size_t record = raw.Add({.name = u"abc"});
    raw.SetNameLength(record, 5);
    EXPECT_EQ(DecodeAll(raw.bytes()).names, Names{u"ab"});
}

TEST(UsnDecoder, RecordPastTheBufferEndIsNotRead) {
    RawRecords raw;
    raw.Add({.name = u"whole"});
    const std::size_t cut = raw.Add({.name = u"cut off by the end"});
    for (std::size_t bytes = cut + 1; bytes < raw.bytes().size(); ++bytes) {
        const Decoded decoded = DecodeAll(raw.bytes().first(bytes));
        EXPECT_EQ(decoded.names, Names{u"whole"}) << bytes;
        EXPECT_TRUE(decoded.malformed) << bytes;
    }
}

TEST(UsnDecoder, AnyBytesEndTheWalk) {
    const std::uint32_t seed = 20240817;
    std::mt19937 random(seed);
    for (int round = 0; round < 2000; ++round) {
        RawRecords raw;
        for (int i = 0; i < 5; ++i) {
            raw.Add({.name = std::u16string(random() % 20, u'n')});
        }
        for (int i = 0; i < 3; ++i) {
            raw.Overwrite(random() % raw.bytes().size(), static_cast<std::uint8_t>(random()));
        }
        const Decoded decoded = DecodeAll(raw.bytes());
        EXPECT_LE(decoded.names.size(), raw.bytes().size() / sizeof(platform::UsnRecordV2)) << "seed " << seed;
    }
}

}  // namespace
}  // namespace tavi::journal
