#include "replay/command_line.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tavi::replay {
namespace {

struct Result {
    int exitCode;
    std::string output;
    std::string errors;
};

Result Replay(std::vector<std::string> arguments, const std::string& text = {}) {
    std::istringstream input(text);
    std::ostringstream output;
    std::ostringstream errors;
    const int exitCode = RunCommandLine(std::move(arguments), {input, output, errors}, false);
    return {exitCode, output.str(), errors.str()};
}

TEST(CommandLine, HelpNamesTheCommandsAndTheExitCodes) {
    const Result result = Replay({"--help"});
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_NE(result.output.find("records"), std::string::npos);
    EXPECT_NE(result.output.find("Exit code: 0"), std::string::npos);
}

TEST(CommandLine, HelpOfACommandNamesItsOptions) {
    const Result result = Replay({"records", "--help"});
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_NE(result.output.find("--json"), std::string::npos);
    EXPECT_NE(result.output.find("FILE"), std::string::npos);
}

TEST(CommandLine, AWrongCommandLineIsAUsageError) {
    const std::vector<std::vector<std::string>> lines = {
        {}, {"recods", "x"}, {"records"}, {"records", "--jsn", "-"}, {"records", "a", "b"}};
    for (const std::vector<std::string>& line : lines) {
        const Result result = Replay(line);
        EXPECT_EQ(result.exitCode, kExitUsage);
        EXPECT_FALSE(result.errors.empty());
        EXPECT_EQ(result.output, "");
    }
}

TEST(CommandLine, AFileThatCannotBeOpenedIsNamed) {
    const Result result = Replay({"records", "no such file.json"});
    EXPECT_EQ(result.exitCode, kExitBadInput);
    EXPECT_EQ(result.errors, "no such file.json: cannot be opened\n");
}

TEST(CommandLine, ADashIsTheStandardInput) {
    const Result result = Replay({"records", "-", "--json"}, "{\"records\":[]}");
    EXPECT_EQ(result.exitCode, kExitDone);
    EXPECT_TRUE(result.output.starts_with("{\"steps\":[[\"Original USN record\",[]],"));
    EXPECT_EQ(Replay({"records", "-"}, "{").errors.substr(0, 17), "standard input:1:");
}

}  // namespace
}  // namespace tavi::replay
