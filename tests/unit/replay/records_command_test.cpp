#include "replay/records_command.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

namespace tavi::replay {
namespace {

struct Result {
    int exitCode;
    std::string output;
    std::string errors;
};

Result Replay(const std::string& text, Form form) {
    std::istringstream input(text);
    std::ostringstream output;
    std::ostringstream errors;
    Progress progress(errors, false);
    const int exitCode = RunRecords({input, output, errors}, "in.json", form, progress);
    return {exitCode, output.str(), errors.str()};
}

Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
}

std::string ToText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

const char* const kCreated =
    R"({"records":[{"usn":8,"reason":256,"fileAttributes":32,"timestamp":5,"filename":"d\\a.txt","frn":7}]})";

TEST(RecordsCommand, EveryStepIsShownWithItsLabelAndList) {
    const Result result = Replay(kCreated, Form::kText);
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_EQ(result.errors, "");
    EXPECT_NE(result.output.find("Batch 1 (line 1)\n\nOriginal USN record\n"
                                 "usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n"
                                 "8\tFileCreate\t32\t5\td\\a.txt\t7\t18446744073709551615\n\n"),
              std::string::npos)
        << result.output;
    EXPECT_NE(
        result.output.find("Split a move record from the rename record\n"
                           "fileName\toriginalFileName\tfrn\toldfrn\tfileAttributes\tisTempFile\treason\tdelayCount"
                           "\ttimestamp\n"
                           "d\\a.txt\t\t7\t18446744073709551615\t32\t0\tCREATE\t0\t5\n\n"
                           "Held back for a later batch\n\nTemporary files\n\n"),
        std::string::npos)
        << result.output;
}

TEST(RecordsCommand, JsonHasTwelveStepsAndTheThreeResults) {
    const Result result = Replay(kCreated, Form::kJson);
    EXPECT_EQ(result.exitCode, kExitDone);
    const Json::Value value = Parse(result.output);
    EXPECT_EQ(value["steps"].size(), 12u);
    EXPECT_EQ(value["steps"][0][0], Json::Value("Original USN record"));
    EXPECT_EQ(ToText(value["steps"][0][1]),
              R"([{"fileAttributes":32,"filename":"d\\a.txt","frn":7,"oldfrn":18446744073709551615,"reason":256,)"
              R"("timestamp":5,"usn":8}])");
    EXPECT_EQ(ToText(value["final"]),
              R"([{"delayCount":0,"fileAttributes":32,"fileName":"d\\a.txt","frn":7,"isTempFile":false,)"
              R"("oldfrn":18446744073709551615,"originalFileName":"","reason":1,"timestamp":5}])");
    EXPECT_EQ(value["delay"], Json::Value(Json::arrayValue));
    EXPECT_EQ(value["temporaryFiles"], Json::Value(Json::arrayValue));
    EXPECT_EQ(value.size(), 4u);
}

TEST(RecordsCommand, EachBatchGivesALineOfJson) {
    const Result result = Replay(std::string(kCreated) + "\n\n{\"records\":[]}\n", Form::kJson);
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_EQ(Lines(result.output).size(), 2u);
}

TEST(RecordsCommand, NamesWithLoneSurrogatesSurvive) {
    const Result result = Replay(
        R"({"records":[{"usn":8,"reason":8192,"fileAttributes":16,"timestamp":5,"filename":[55296,97],"frn":7}],)"
        R"("delay":[{"fileName":[56320],"originalFileName":[97,55296],"fileAttributes":32,"isTempFile":false,"reason":4,)"
        R"("delayCount":0,"timestamp":5,"frn":1}]})",
        Form::kJson);
    ASSERT_EQ(result.exitCode, kExitDone) << result.errors;
    const Json::Value final = Parse(result.output)["final"];
    ASSERT_EQ(final.size(), 2u);
    EXPECT_EQ(ToText(final[0]["fileName"]), "[56320]");
    EXPECT_EQ(ToText(final[0]["originalFileName"]), "[97,55296]");
    EXPECT_EQ(ToText(final[1]["fileName"]), "[55296,97]");
}

TEST(RecordsCommand, HeldBackRecordsAndTemporaryFilesAreShown) {
    const char* const batch =
        R"({"records":[{"usn":1,"reason":256,"fileAttributes":32,"timestamp":5,"filename":"r.tmp","frn":7}],)"
        R"("delay":[{"fileName":"x.tmp","originalFileName":"m.mlx","fileAttributes":32,"isTempFile":true,"reason":5,)"
        R"("delayCount":0,"timestamp":5,"frn":1}]})";
    const Json::Value value = Parse(Replay(batch, Form::kJson).output);
    ASSERT_EQ(value["delay"].size(), 1u);
    EXPECT_EQ(value["delay"][0]["originalFileName"], Json::Value("m.mlx"));
    EXPECT_EQ(ToText(value["temporaryFiles"]), R"([{"fileAttributes":32,"filePath":"r.tmp","isHandle":0}])");
    EXPECT_NE(Replay(batch, Form::kText).output.find("\nTemporary files\nr.tmp\t32\t0\n"), std::string::npos);
}

TEST(RecordsCommand, ABadBatchIsReportedWithItsLineAfterTheResultsOfThoseBeforeIt) {
    const Result result = Replay(std::string(kCreated) + "\n\n{\"records\":[{}]}\n{\"records\":[]}\n", Form::kJson);
    EXPECT_EQ(result.exitCode, kExitBadInput);
    EXPECT_EQ(result.errors, "in.json:3: records[0].usn: missing\n");
    EXPECT_EQ(Lines(result.output).size(), 1u);
}

TEST(RecordsCommand, InputWithoutABatchIsBad) {
    const Result result = Replay("\n", Form::kJson);
    EXPECT_EQ(result.exitCode, kExitBadInput);
    EXPECT_EQ(result.errors, "in.json: holds no batch\n");
}

TEST(RecordsCommand, OutputThatCannotBeWrittenIsAFailure) {
    std::istringstream input(kCreated);
    std::ostringstream output;
    output.setstate(std::ios::badbit);
    std::ostringstream errors;
    Progress progress(errors, false);
    EXPECT_EQ(RunRecords({input, output, errors}, "in.json", Form::kJson, progress), kExitBadInput);
    EXPECT_EQ(errors.str(), "the output cannot be written\n");
}

TEST(RecordsCommand, TheWorkedBatchesGiveWhatIsExpected) {
    std::ifstream file(TAVI_RECORDED_JOURNALS "/batches.jsonl", std::ios::binary);
    if (!file) {
        GTEST_SKIP() << "the recorded batches are not there: " TAVI_RECORDED_JOURNALS "/batches.jsonl";
    }
    std::string inputs;
    std::vector<Json::Value> expected;
    for (std::string line; std::getline(file, line);) {
        const Json::Value batch = Parse(line);
        inputs += ToText(batch["input"]) + '\n';
        expected.push_back(batch["expected"]);
    }
    ASSERT_FALSE(expected.empty());
    const Result result = Replay(inputs, Form::kJson);
    EXPECT_EQ(result.exitCode, kExitDone) << result.errors;
    const std::vector<std::string> outputs = Lines(result.output);
    ASSERT_EQ(outputs.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        // JsonCpp tells signed from unsigned numbers, its text does not.
        EXPECT_EQ(ToText(Parse(outputs[i])), ToText(expected[i])) << "line " << i + 1;
    }
}

}  // namespace
}  // namespace tavi::replay
