#include "ipc/client_message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/captured_log.h"
#include "unit/ipc/frame_builder.h"

namespace tavi::ipc {
namespace {

using test::AppendLittleEndian32;
using test::Bytes;
using test::Frame;
using test::RawFrame;
using test::StartJson;

constexpr const char* kLengthMessage = "The total length of received data is incorrect";
constexpr const char* kLengthFieldMessage = "The total length field in the received data is incorrect";
constexpr const char* kCommandMessage = "The command in the received message is incorrect";
constexpr const char* kJsonLengthMessage = "The length of the JSON data is incorrect";
constexpr const char* kNoObject = "Failed to parse JSON data or not object";

const std::u16string kGoodJson = StartJson(u"user", u"C:\\Sync", u"C:\\Data");

class ClientMessage : public testing::Test {
protected:
    // The one line that a refused frame leaves.
    void ExpectRefused(const Bytes& frame, const char* message) {
        log_.Clear();
        EXPECT_FALSE(GetSyncFileMessageAndCheck(frame).valid);
        EXPECT_EQ(log_.Lines(), (std::vector<sim::LogLine>{{sim::LogKind::kError, "ListenServiceImpl",
                                                            "GetSyncFileMessageAndCheck", message}}))
            << log_.Dump();
    }

    void ExpectInvalid(std::u16string_view json, const std::string& trace) {
        log_.Clear();
        EXPECT_FALSE(ParseClientJson(protocol::kStartListenTask, json).valid);
        EXPECT_EQ(log_.Texts(sim::LogKind::kTrace), std::vector<std::string>{trace});
        EXPECT_EQ(log_.Lines().size(), 1U) << log_.Dump();
    }

    ListenTaskParams ExpectValid(std::u16string_view json) {
        log_.Clear();
        const ListenTaskParams params = ParseClientJson(protocol::kStartListenTask, json);
        EXPECT_TRUE(params.valid);
        EXPECT_TRUE(log_.Lines().empty()) << log_.Dump();
        return params;
    }

    sim::CapturedLog log_;
};

TEST_F(ClientMessage, FrameOfEightBytesWithCommandOneIsValid) {
    const ListenTaskParams params = GetSyncFileMessageAndCheck(Frame(protocol::kFinishListenTasks));
    EXPECT_TRUE(params.valid);
    EXPECT_EQ(params.command, 1U);
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ClientMessage, StatusRequestIsValidWithoutParameters) {
    const ListenTaskParams params = GetSyncFileMessageAndCheck(Frame(protocol::kDetectUsnStatus));
    EXPECT_TRUE(params.valid);
    EXPECT_EQ(params.command, 2U);
}

TEST_F(ClientMessage, FewerThanEightBytesAreRefused) {
    const Bytes whole = Frame(protocol::kFinishListenTasks);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        ExpectRefused(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), kLengthMessage);
    }
}

TEST_F(ClientMessage, TotalLengthOf4097OrSevenIsRefusedAnd4096IsAccepted) {
    ExpectRefused(RawFrame(4097, protocol::kFinishListenTasks, 4089), kLengthFieldMessage);
    ExpectRefused(RawFrame(7, protocol::kFinishListenTasks), kLengthFieldMessage);
    log_.Clear();
    EXPECT_TRUE(GetSyncFileMessageAndCheck(RawFrame(4096, protocol::kFinishListenTasks, 4088)).valid);
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ClientMessage, LengthFieldsBelowTheHeaderAreRefused) {
    for (std::uint32_t length = 0; length < 8; ++length) {
        ExpectRefused(RawFrame(length, protocol::kFinishListenTasks), kLengthFieldMessage);
    }
}

TEST_F(ClientMessage, LengthFieldNearFourGigabytesIsRefused) {
    ExpectRefused(RawFrame(0xFFFFFFFF, protocol::kFinishListenTasks), kLengthFieldMessage);
    ExpectRefused(RawFrame(0x80000008, protocol::kFinishListenTasks), kLengthFieldMessage);
}

TEST_F(ClientMessage, LengthThatDisagreesWithTheBytesReceivedByOneIsRefused) {
    ExpectRefused(RawFrame(12, protocol::kFinishListenTasks, 3), kLengthFieldMessage);
    ExpectRefused(RawFrame(12, protocol::kFinishListenTasks, 5), kLengthFieldMessage);
}

TEST_F(ClientMessage, CommandAboveTwoIsRefused) {
    ExpectRefused(RawFrame(8, 3), kCommandMessage);
    ExpectRefused(RawFrame(8, 0xFFFFFFFF), kCommandMessage);
    ExpectRefused(RawFrame(8, 0x01000001), kCommandMessage);
}

TEST_F(ClientMessage, OddJsonByteCountIsRefused) {
    ExpectRefused(RawFrame(9, protocol::kStartListenTask, 1), kJsonLengthMessage);
    ExpectRefused(RawFrame(4095, protocol::kFinishListenTasks, 4087), kJsonLengthMessage);
}

TEST_F(ClientMessage, ChecksComeInTheirOrder) {
    // Every field is wrong; the length field is what is complained about. Then the command, before the odd length.
    ExpectRefused(RawFrame(4, 9, 1), kLengthFieldMessage);
    ExpectRefused(RawFrame(9, 9, 1), kCommandMessage);
}

TEST_F(ClientMessage, StartRequestCarriesItsParameters) {
    const ListenTaskParams params = GetSyncFileMessageAndCheck(
        Frame(protocol::kStartListenTask, StartJson(u"user", u"C:\\Sync", u"D:\\Data\\", u"30")));
    EXPECT_EQ(params, (ListenTaskParams{.valid = true,
                                        .command = 0,
                                        .userId = u"user",
                                        .listenPath = u"C:\\Sync",
                                        .databasePath = u"D:\\Data\\",
                                        .recordSplitInterval = 30}));
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ClientMessage, TextOfOtherCommandsIsNotLookedAt) {
    const ListenTaskParams params = GetSyncFileMessageAndCheck(Frame(protocol::kFinishListenTasks, u"no json \xD800"));
    EXPECT_TRUE(params.valid);
    EXPECT_TRUE(params.userId.empty());
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ClientMessage, TextsOutsideAsciiComeThroughWhole) {
    const ListenTaskParams params = ExpectValid(StartJson(u"用户", u"C:\\Dateien\\Größe \U0001F600", u"C:\\d\u00E9"));
    EXPECT_EQ(params.userId, u"用户");
    EXPECT_EQ(params.listenPath, u"C:\\Dateien\\Größe \U0001F600");
    EXPECT_EQ(params.databasePath, u"C:\\d\u00E9");
}

TEST_F(ClientMessage, LoneSurrogateInTheTextBecomesTheReplacementCharacter) {
    std::u16string json = StartJson(u"aXb", u"C:\\Sync", u"C:\\Data");
    json[json.find(u'X')] = u'\xD800';
    EXPECT_EQ(ExpectValid(json).userId, u"a\uFFFDb");
}

TEST_F(ClientMessage, UserIdOf61CodeUnitsIsInvalidAnd60IsValid) {
    ExpectValid(StartJson(std::u16string(60, u'u'), u"C:\\Sync", u"C:\\Data"));
    ExpectInvalid(StartJson(std::u16string(61, u'u'), u"C:\\Sync", u"C:\\Data"), "Invalid parameter,userIdSize:61");
    ExpectInvalid(StartJson(u"", u"C:\\Sync", u"C:\\Data"), "Invalid parameter,userIdSize:0");
}

TEST_F(ClientMessage, UserIdIsMeasuredInCodeUnits) {
    std::u16string pairs;
    for (int i = 0; i < 30; ++i) {
        pairs += u"\U0001F600";
    }
    ExpectValid(StartJson(pairs, u"C:\\Sync", u"C:\\Data"));
    ExpectInvalid(StartJson(pairs + u"x", u"C:\\Sync", u"C:\\Data"), "Invalid parameter,userIdSize:61");
}

TEST_F(ClientMessage, ListenPathOf301CodeUnitsIsInvalidAndLogsTheUserIdsLength) {
    ExpectValid(StartJson(u"user", std::u16string(300, u'p'), u"C:\\Data"));
    ExpectInvalid(StartJson(u"user", std::u16string(301, u'p'), u"C:\\Data"), "Invalid parameter,userIdSize:4");
    ExpectInvalid(StartJson(u"user", u"", u"C:\\Data"), "Invalid parameter,userIdSize:4");
}

TEST_F(ClientMessage, EmptyDatabasePathIsInvalidAndLogsTheUserIdsLength) {
    ExpectInvalid(StartJson(u"user", u"C:\\Sync", u""), "Invalid parameter,userIdSize:4");
}

TEST_F(ClientMessage, MissingOrOtherTypedTextsCountAsEmpty) {
    ExpectInvalid(u"{}", "Invalid parameter,userIdSize:0");
    ExpectInvalid(uR"({"userId":7,"listenPath":"C:\\Sync","databasePath":"C:\\Data"})",
                  "Invalid parameter,userIdSize:0");
    ExpectInvalid(uR"({"userId":"u","listenPath":["C:\\Sync"],"databasePath":"C:\\Data"})",
                  "Invalid parameter,userIdSize:1");
    ExpectInvalid(uR"({"userId":"u","listenPath":"C:\\Sync","databasePath":null})", "Invalid parameter,userIdSize:1");
}

TEST_F(ClientMessage, IntervalThatIsNoUnsignedIntegerCountsAsZero) {
    for (const auto* interval : {u"-1", u"\"30\"", u"4294967296", u"1.5", u"null", u"true", u"[1]"}) {
        EXPECT_EQ(ExpectValid(StartJson(u"user", u"C:\\Sync", u"C:\\Data", interval)).recordSplitInterval, 0U);
    }
    const std::u16string absent = uR"({"userId":"u","listenPath":"C:\\Sync","databasePath":"C:\\Data"})";
    EXPECT_EQ(ExpectValid(absent).recordSplitInterval, 0U);
}

TEST_F(ClientMessage, IntervalMayBeAnyUnsignedIntegerHoweverItIsWritten) {
    EXPECT_EQ(ExpectValid(StartJson(u"u", u"C:\\S", u"C:\\D", u"4294967295")).recordSplitInterval, 4294967295U);
    EXPECT_EQ(ExpectValid(StartJson(u"u", u"C:\\S", u"C:\\D", u"30.0")).recordSplitInterval, 30U);
    EXPECT_EQ(ExpectValid(StartJson(u"u", u"C:\\S", u"C:\\D", u"3e1")).recordSplitInterval, 30U);
}

TEST_F(ClientMessage, OtherKeysAreIgnored) {
    const std::u16string json =
        uR"({"extra":{"userId":"x"},"userId":"u","listenPath":"C:\\S","databasePath":"C:\\D","more":[1,2]})";
    EXPECT_EQ(ExpectValid(json).userId, u"u");
}

TEST_F(ClientMessage, JsonThatIsAnArrayIsRefused) {
    ExpectInvalid(u"[" + kGoodJson + u"]", kNoObject);
}

TEST_F(ClientMessage, TextThatIsNoObjectIsRefused) {
    for (const auto* json : {u"", u" ", u"7", u"\"text\"", u"null", u"{", u"{\"userId\":}", u"{]", u"\xD800"}) {
        ExpectInvalid(json, kNoObject);
    }
}

TEST_F(ClientMessage, NestingThatMakesTheParserThrowIsAParseFailure) {
    // The parser's limit is 1000 levels; a frame has room for about twice as many.
    ExpectInvalid(u"{\"userId\":" + std::u16string(1500, u'[') + std::u16string(1500, u']') + u"}", kNoObject);
}

TEST_F(ClientMessage, CommandThatTheFrameCheckWouldRefuseIsInvalid) {
    EXPECT_FALSE(ParseClientJson(3, kGoodJson).valid);
    EXPECT_EQ(log_.Texts(sim::LogKind::kTrace), std::vector<std::string>{"Invalid command"});
}

TEST_F(ClientMessage, ReplyIsEightBytesLittleEndian) {
    const auto frame = MakeReplyFrame(0x01020304);
    Bytes expected;
    AppendLittleEndian32(expected, 8);
    AppendLittleEndian32(expected, 0x01020304);
    EXPECT_EQ(Bytes(frame.begin(), frame.end()), expected);
    EXPECT_EQ(frame[0], std::byte{8});
    EXPECT_EQ(frame[4], std::byte{4});
}

TEST_F(ClientMessage, CharacterZeroInAnyTextIsInvalid) {
    struct Row {
        const char* field;
        std::u16string_view json;
        const char* size;
    };
    const Row rows[] = {
        {"user", uR"({"userId":"us\u0000er","listenPath":"C:\\Sync","databasePath":"C:\\Data"})", "5"},
        {"user's end", uR"({"userId":"user\u0000","listenPath":"C:\\Sync","databasePath":"C:\\Data"})", "5"},
        {"folder", uR"({"userId":"user","listenPath":"C:\\Sync\u0000\\x","databasePath":"C:\\Data"})", "4"},
        {"database", uR"({"userId":"user","listenPath":"C:\\Sync","databasePath":"C:\\Data\u0000:x"})", "4"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.field);
        ExpectInvalid(row.json, std::string("Invalid parameter,userIdSize:") + row.size);
    }
    ExpectValid(uR"({"userId":"user","listenPath":"C:\\Sync","databasePath":"C:\\Data","\u0000":"\u0000"})");
}

TEST_F(ClientMessage, CodeUnitZeroInTheJsonItselfIsInvalid) {
    std::u16string json = kGoodJson;
    json[json.find(u"user\"")] = u'\0';
    EXPECT_FALSE(ParseClientJson(protocol::kStartListenTask, json).valid);
    EXPECT_EQ(log_.Lines().size(), 1U) << log_.Dump();
}

}  // namespace
}  // namespace tavi::ipc
