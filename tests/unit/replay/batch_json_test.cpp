#include "replay/batch_json.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace tavi::replay {
namespace {

const char* const kBatch =
    R"({"records":[{"usn":8,"reason":256,"fileAttributes":32,"timestamp":1700000004114,"filename":"d\\a","frn":7}],)"
    R"("delay":[{"fileName":"n","originalFileName":[55296],"fileAttributes":4294967295,"isTempFile":true,"reason":-1,)"
    R"("delayCount":2,"timestamp":5,"frn":18446744073709551615,"oldfrn":3}],)"
    R"("env":{"listenPath":"C:\\Sync","placeholders":["p",[56320]],"tree":{"d":[["e",16,5],[[55296],32,0]]}}})";

std::string ErrorOf(const std::string& text) {
    std::string error;
    EXPECT_FALSE(ParseBatch(text, error));
    return error;
}

std::string With(const std::string& from, const std::string& to) {
    std::string text = kBatch;
    const std::size_t place = text.find(from);
    EXPECT_NE(place, std::string::npos) << from;
    return text.replace(place, from.size(), to);
}

TEST(BatchJson, EveryFieldIsRead) {
    std::string error;
    const std::optional<Batch> batch = ParseBatch(kBatch, error);
    ASSERT_TRUE(batch) << error;
    EXPECT_EQ(batch->records, (records::UsnRecordList{{8, 256, 32, 1700000004114, u"d\\a", 7, -1}}));
    EXPECT_EQ(batch->delay,
              (records::FileChangeInfoList{
                  {u"n", u"\xD800", 0xFFFFFFFF, true, records::FileChangeReason::kUnknown, 2, 5, records::kNoFrn, 3}}));
    EXPECT_EQ(batch->world.listenPath, u"C:\\Sync");
    EXPECT_EQ(batch->world.placeholders, (std::set<std::u16string>{u"p", u"\xDC00"}));
    ASSERT_EQ(batch->world.tree.size(), 1u);
    const std::vector<TableEntry>& entries = batch->world.tree.at(u"d");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].name, u"e");
    EXPECT_EQ(entries[0].attributes, 16u);
    EXPECT_EQ(entries[0].frn, 5u);
    EXPECT_EQ(entries[1].name, u"\xD800");
}

TEST(BatchJson, WhatWasReadIsWrittenTheSame) {
    std::string error;
    const std::optional<Batch> batch = ParseBatch(kBatch, error);
    ASSERT_TRUE(batch) << error;
    const std::string text = FormatBatch(*batch);
    const std::optional<Batch> again = ParseBatch(text, error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(again->records, batch->records);
    EXPECT_EQ(again->delay, batch->delay);
    EXPECT_EQ(FormatBatch(*again), text);
    EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST(BatchJson, OldNumberDelayAndEnvironmentMayBeMissing) {
    std::string error;
    const std::optional<Batch> batch = ParseBatch(R"({"records":[]})", error);
    ASSERT_TRUE(batch) << error;
    EXPECT_TRUE(batch->records.empty());
    EXPECT_TRUE(batch->delay.empty());
    EXPECT_TRUE(batch->world.tree.empty());
    EXPECT_TRUE(ParseBatch(R"({"records":[],"env":{}})", error));
    EXPECT_TRUE(ParseBatch(With(",\"oldfrn\":3", ""), error));
}

TEST(BatchJson, SixtyFourBitNumbersAreReadSignedAndUnsigned) {
    std::string error;
    const std::optional<Batch> batch = ParseBatch(With("\"frn\":7}", "\"frn\":-2,\"oldfrn\":-1}"), error);
    ASSERT_TRUE(batch) << error;
    EXPECT_EQ(batch->records[0].frn, ~std::uint64_t{1});
    EXPECT_EQ(batch->records[0].oldfrn, -1);
    const std::optional<Batch> second =
        ParseBatch(With("\"timestamp\":5", "\"timestamp\":18446744073709551615"), error);
    ASSERT_TRUE(second) << error;
    EXPECT_EQ(second->delay[0].timestamp, -1);
}

TEST(BatchJson, WhatIsWrongIsSaidWithItsPlace) {
    const std::pair<std::string, std::string> cases[] = {
        {With("\"usn\":8,", ""), "records[0].usn: missing"},
        {With("\"usn\":8", "\"usn\":\"8\""), "records[0].usn: expected an integer of 64 bits"},
        {With("\"usn\":8", "\"usn\":18446744073709551616"), "records[0].usn: expected an integer of 64 bits"},
        {With("\"usn\":8", "\"usn\":1.5"), "records[0].usn: expected an integer of 64 bits"},
        {With("\"reason\":256", "\"reason\":4294967296"), "records[0].reason: expected an unsigned integer of 32 bits"},
        {With("\"reason\":-1", "\"reason\":2147483648"), "delay[0].reason: expected a signed integer of 32 bits"},
        {With("\"isTempFile\":true", "\"isTempFile\":1"), "delay[0].isTempFile: expected true or false"},
        {With("\"fileName\":\"n\"", "\"fileName\":[65536]"),
         "delay[0].fileName: expected a name: a string of valid UTF-8, or an array of UTF-16 code units"},
        {With("[\"e\",16,5]", "[\"e\",16]"),
         "env.tree[\"d\"][0]: expected an array of name, attributes and reference number"},
        {With("[\"e\",16,5]", "[\"\",16,5]"), "env.tree[\"d\"][0][0]: an entry has a name"},
        {With("[\"e\",16,5]", "[\"e\",-1,5]"), "env.tree[\"d\"][0][1]: expected an unsigned integer of 32 bits"},
        {With("[[\"e\",16,5],[[55296],32,0]]", "3"), "env.tree[\"d\"]: expected an array"},
        {With("{\"d\":[[\"e\",16,5],[[55296],32,0]]}", "3"), "env.tree: expected an object"},
        {With("[\"p\",[56320]]", "{}"), "env.placeholders: expected an array"},
        {R"({"records":{}})", "batch.records: expected an array"},
        {R"({"records":[3]})", "records[0]: expected an object"},
        {R"({"delay":[]})", "batch.records: missing"},
        {R"({"records":[],"env":[]})", "env: expected an object"},
        {"[]", "batch: expected an object"},
        {With("\"n\"", "\"\\ud800\\u0041\""),
         "an escaped surrogate lacks its other half; write such a name as an array of code units"},
    };
    for (const auto& [text, error] : cases) {
        EXPECT_EQ(ErrorOf(text), error) << text;
    }
}

TEST(BatchJson, TextThatIsNoJsonIsRefused) {
    for (const std::string text : {"", "{", "{}}", "{\"records\":[]} x", "{\"records\":[],\"records\":[]}", "nonsense",
                                   "{\"records\":[\"\\ud800\"]}"}) {
        EXPECT_TRUE(ErrorOf(text).starts_with("not well-formed JSON\n")) << text << '\n' << ErrorOf(text);
    }
}

TEST(BatchJson, BracketsThatNestTooDeepAreRefused) {
    EXPECT_FALSE(ErrorOf(std::string(100'000, '[')).empty());
}

}  // namespace
}  // namespace tavi::replay
