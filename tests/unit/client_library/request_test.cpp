#include "tavi_client/request.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>

#include "imports/type_convert.h"

namespace tavi::client {
namespace {

std::uint32_t NumberAt(const Frame& frame, std::size_t offset) {
    return frame.at(offset) | frame.at(offset + 1) * 256U | frame.at(offset + 2) * 65536U |
           frame.at(offset + 3) * 16777216U;
}

std::u16string TextOf(const Frame& frame) {
    std::u16string text;
    for (std::size_t offset = 8; offset + 1 < frame.size(); offset += 2) {
        text.push_back(static_cast<char16_t>(frame[offset] | frame[offset + 1] << 8));
    }
    return text;
}

Json::Value JsonOf(const Frame& frame) {
    const std::string text = TypeConvert::UnicodeToUTF8(TextOf(frame));
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
}

StartRequest SomeRequest() {
    return {"anna", "C:\\Sync", "C:\\Data", 30};
}

TEST(RequestFrame, FinishIsTheHeaderAlone) {
    EXPECT_EQ(BuildFrame(Command::kFinish), (Frame{8, 0, 0, 0, 1, 0, 0, 0}));
}

TEST(RequestFrame, StatusIsTheHeaderAlone) {
    EXPECT_EQ(BuildFrame(Command::kStatus), (Frame{8, 0, 0, 0, 2, 0, 0, 0}));
}

TEST(RequestFrame, StartCarriesItsLengthItsCommandAndItsParameters) {
    const auto frame = BuildStartFrame(SomeRequest());
    ASSERT_TRUE(frame);
    EXPECT_EQ(NumberAt(*frame, 0), frame->size());
    EXPECT_EQ(NumberAt(*frame, 4), 0U);
    EXPECT_EQ(frame->size() % 2, 0U);
    const Json::Value json = JsonOf(*frame);
    EXPECT_EQ(json["userId"].asString(), "anna");
    EXPECT_EQ(json["listenPath"].asString(), "C:\\Sync");
    EXPECT_EQ(json["databasePath"].asString(), "C:\\Data");
    ASSERT_TRUE(json["recordSplitInterval"].isUInt());
    EXPECT_EQ(json["recordSplitInterval"].asUInt(), 30U);
    EXPECT_EQ(json.size(), 4U);
}

TEST(RequestFrame, TheLargestSplitIntervalStaysAnUnsignedInteger) {
    StartRequest request = SomeRequest();
    request.recordSplitInterval = 0xFFFFFFFF;
    const auto frame = BuildStartFrame(request);
    ASSERT_TRUE(frame);
    EXPECT_EQ(JsonOf(*frame)["recordSplitInterval"].asUInt(), 0xFFFFFFFFU);
}

TEST(RequestFrame, NamesOutsideAsciiArriveAsTheyAre) {
    StartRequest request = SomeRequest();
    request.listenPath = "D:\\\u540c\u6b65\\\U0001F4C1 \"x\"";
    const auto frame = BuildStartFrame(request);
    ASSERT_TRUE(frame);
    EXPECT_EQ(JsonOf(*frame)["listenPath"].asString(), request.listenPath);
    EXPECT_NE(TextOf(*frame).find(u"\u540c\u6b65"), std::u16string::npos);
}

TEST(RequestFrame, TheLongestNamesOutsideAsciiFit) {
    StartRequest request = SomeRequest();
    request.userId.clear();
    request.listenPath.clear();
    for (int count = 0; count < 60; ++count) {
        request.userId += "\u540c";
    }
    for (int count = 0; count < 300; ++count) {
        request.listenPath += "\u6b65";
    }
    EXPECT_EQ(CheckStartRequest(request), "");
    EXPECT_TRUE(BuildStartFrame(request));
}

TEST(RequestFrame, LengthsAreCountedInUtf16CodeUnits) {
    StartRequest request = SomeRequest();
    request.userId.clear();
    for (int count = 0; count < 30; ++count) {
        request.userId += "\U0001F4C1";
    }
    EXPECT_TRUE(BuildStartFrame(request));
    request.userId += "a";
    EXPECT_FALSE(BuildStartFrame(request));
    EXPECT_EQ(CheckStartRequest(request), "the user id must be 1 to 60 characters long, not 61");
}

TEST(RequestFrame, RequestsTheServiceWouldIgnoreAreNotBuilt) {
    struct Row {
        const char* name;
        StartRequest request;
        const char* problem;
    };
    const Row rows[] = {
        {"no user", {"", "C:\\S", "C:\\D", 0}, "the user id must be 1 to 60 characters long, not 0"},
        {"long user",
         {std::string(61, 'u'), "C:\\S", "C:\\D", 0},
         "the user id must be 1 to 60 characters long, not 61"},
        {"no folder", {"u", "", "C:\\D", 0}, "the folder must be 1 to 300 characters long, not 0"},
        {"long folder",
         {"u", std::string(301, 'f'), "C:\\D", 0},
         "the folder must be 1 to 300 characters long, not 301"},
        {"no database", {"u", "C:\\S", "", 0}, "the database folder must not be empty"},
        {"0 in the user", {std::string("a\0b", 3), "C:\\S", "C:\\D", 0}, "the user id must not hold a character 0"},
        {"0 in the folder", {"u", std::string("C:\\\0", 4), "C:\\D", 0}, "the folder must not hold a character 0"},
        {"0 in the database",
         {"u", "C:\\S", std::string("C:\\\0", 4), 0},
         "the database folder must not hold a character 0"},
        {"long database",
         {"u", "C:\\S", std::string(2000, 'd'), 0},
         "the database folder is too long: the request does not fit into 4096 bytes"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(CheckStartRequest(row.request), row.problem) << row.name;
        EXPECT_FALSE(BuildStartFrame(row.request)) << row.name;
    }
}

TEST(RequestFrame, AFrameOf4096BytesIsBuiltAndOneUnitMoreIsNot) {
    StartRequest request = SomeRequest();
    request.databasePath = "d";
    const auto small = BuildStartFrame(request);
    ASSERT_TRUE(small);
    request.databasePath.append((4096 - small->size()) / 2, 'd');
    const auto largest = BuildStartFrame(request);
    ASSERT_TRUE(largest);
    EXPECT_EQ(largest->size(), 4096U);
    request.databasePath += 'd';
    EXPECT_FALSE(BuildStartFrame(request));
}

}  // namespace
}  // namespace tavi::client
