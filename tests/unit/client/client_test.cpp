#include "client.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tavi_client/request.h"
#include "unit/client_library/scripted_pipe.h"

namespace tavi::client {
namespace {

struct RunResult {
    int exitCode;
    std::string out;
    std::string err;
};

RunResult RunWith(ScriptedPipe& pipe, const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int exitCode = RunClient(arguments, {pipe, out, err});
    return {exitCode, out.str(), err.str()};
}

RunResult RunWith(std::vector<ScriptedCall> script, const std::vector<std::string>& arguments) {
    ScriptedPipe pipe(std::move(script));
    return RunWith(pipe, arguments);
}

std::vector<ScriptedCall> Replying(std::uint8_t status) {
    return {{"Open"}, {"Write"}, {"Read", 0, ReplyBytes(status)}};
}

const std::vector<std::string> kStart = {"start", "--user", "anna", "--folder", "C:\\Sync", "--database", "C:\\Data"};

std::vector<std::string> StartWith(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = kStart;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(Client, StartSendsWhatItsOptionsSay) {
    ScriptedPipe pipe(Replying(4));
    const RunResult run = RunWith(pipe, StartWith({"--split-interval", "45"}));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "listening, for the first time for this user (reply 4)\n");
    EXPECT_EQ(run.err, "");
    ASSERT_EQ(pipe.written.size(), 1U);
    EXPECT_EQ(pipe.written[0], *BuildStartFrame({"anna", "C:\\Sync", "C:\\Data", 45}));
}

TEST(Client, FinishAndStatusSendTheirFrames) {
    ScriptedPipe finish(Replying(6));
    EXPECT_EQ(RunWith(finish, {"finish"}).exitCode, 0);
    EXPECT_EQ(finish.written.at(0), BuildFrame(Command::kFinish));
    ScriptedPipe status(Replying(2));
    EXPECT_EQ(RunWith(status, {"status"}).exitCode, 0);
    EXPECT_EQ(status.written.at(0), BuildFrame(Command::kStatus));
}

TEST(Client, ExitCodesTellTheRepliesApart) {
    struct Row {
        std::vector<std::string> arguments;
        std::uint8_t reply;
        int exitCode;
        int exitCodeWithReply;
    };
    const Row rows[] = {
        {kStart, 0, 0, 10},     {kStart, 1, 0, 11},     {kStart, 2, 0, 12},     {kStart, 3, 0, 13},
        {kStart, 4, 0, 14},     {kStart, 5, 1, 15},     {{"finish"}, 6, 0, 16}, {{"status"}, 0, 7, 10},
        {{"status"}, 1, 8, 11}, {{"status"}, 2, 0, 12},
    };
    for (const Row& row : rows) {
        const RunResult plain = RunWith(Replying(row.reply), row.arguments);
        EXPECT_EQ(plain.exitCode, row.exitCode) << row.arguments[0] << ' ' << int{row.reply};
        EXPECT_NE(plain.out.find("(reply " + std::to_string(row.reply) + ")\n"), std::string::npos);
        EXPECT_EQ(plain.err, "");
        std::vector<std::string> withReply = row.arguments;
        withReply.emplace_back("--exit-with-reply");
        EXPECT_EQ(RunWith(Replying(row.reply), withReply).exitCode, row.exitCodeWithReply);
    }
}

TEST(Client, AReplyThatDoesNotAnswerTheRequestIsAnError) {
    const RunResult run = RunWith(Replying(6), {"status", "--exit-with-reply"});
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "The service sent a reply that does not answer this request (reply 6).\n");
}

TEST(Client, SaysWhyThereIsNoReply) {
    struct Row {
        std::vector<ScriptedCall> script;
        int exitCode;
        const char* text;
    };
    const Row rows[] = {
        {{{"Open", 2}}, 3, "The service is not there: TaviLumbraService is not installed or not running (error 2).\n"},
        {{{"Open", 5}}, 4, "The service refuses this client: this user may not open its pipe (error 5).\n"},
        {{{"Open"}, {"Write"}, {"Read", 109}, {"Open"}, {"Write"}, {"Read", 109}},
         4,
         "The service refuses this client: it closed the connection without a reply. It serves programs only that "
         "carry "
         "its publisher's signature (error 109).\n"},
        {{{"Open"}, {"Write"}, {"Read", 258}},
         5,
         "The service did not answer within 3 seconds: it is busy with another client or stuck (error 258).\n"},
        {{{"Open"}, {"Write"}, {"Read", 0, {1}}}, 6, "What the service sent is not a reply.\n"},
        {{{"Open", 1450}}, 6, "The conversation with the service broke down (error 1450).\n"},
    };
    for (const Row& row : rows) {
        const RunResult run = RunWith(row.script, {"status", "--timeout", "3"});
        EXPECT_EQ(run.exitCode, row.exitCode) << row.text;
        EXPECT_EQ(run.err, row.text);
        EXPECT_EQ(run.out, "");
    }
}

TEST(Client, TheTimeOutIsInSeconds) {
    ScriptedPipe pipe(Replying(2));
    RunWith(pipe, {"status", "--timeout", "7"});
    EXPECT_EQ(pipe.timeouts.at(0), 7000U);
}

TEST(Client, WrongArgumentsReachNoService) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"unknown"},
        {"start"},
        {"start", "--user", "anna", "--folder", "C:\\Sync"},
        {"status", "finish"},
        {"status", "--timeout", "0"},
        {"status", "--timeout", "3601"},
        {"status", "extra"},
        StartWith({"--split-interval", "-1"}),
        StartWith({"--split-interval", "4294967296"}),
        StartWith({"--split-interval", "soon"}),
    };
    for (const auto& arguments : wrong) {
        const RunResult run = RunWith(std::vector<ScriptedCall>{}, arguments);
        EXPECT_EQ(run.exitCode, 2) << ::testing::PrintToString(arguments);
        EXPECT_NE(run.err, "") << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "") << ::testing::PrintToString(arguments);
    }
}

TEST(Client, AStartRequestTheServiceWouldIgnoreIsNotSent) {
    const RunResult run = RunWith(std::vector<ScriptedCall>{}, {"start", "--user", std::string(61, 'u'), "--folder",
                                                                "C:\\S", "--database", "C:\\D"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, "start: the user id must be 1 to 60 characters long, not 61.\n");
}

TEST(Client, HelpListsCommandsAndExitCodesAndSucceeds) {
    const RunResult run = RunWith(std::vector<ScriptedCall>{}, {"--help"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    for (const char* text : {"start", "finish", "status", "watch", "show", "doctor", "explain", "Exit codes:",
                             "  3  the service is not there", "  9  the database or the sync log cannot be read"}) {
        EXPECT_NE(run.out.find(text), std::string::npos) << text;
    }
}

TEST(Client, TellsItsVersion) {
    const RunResult run = RunWith(std::vector<ScriptedCall>{}, {"--version"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "3.0.0.300\n");
}

TEST(Client, EveryCommandHasAHelpThatNamesItsOptions) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"start", {"--user", "--folder", "--database", "--split-interval", "--timeout", "--exit-with-reply"}},
        {"finish", {"--timeout"}},
        {"status", {"--timeout"}},
        {"watch", {"--user", "--database", "--since", "--once", "--seconds", "--json", "--color", "Ctrl+C"}},
        {"show", {"--user", "--database", "administrator"}},
        {"doctor", {"--folder", "--user", "--database", "It changes nothing"}},
        {"explain", {"path", "--folder", "--batches", "--frn", "--logs", "obscures names"}},
    };
    for (const auto& [command, texts] : rows) {
        const RunResult run = RunWith(std::vector<ScriptedCall>{}, {command, "--help"});
        EXPECT_EQ(run.exitCode, 0) << command;
        EXPECT_EQ(run.err, "");
        for (const std::string& text : texts) {
            EXPECT_NE(run.out.find(text), std::string::npos) << command << ": " << text << "\n" << run.out;
        }
    }
}

// There is one task for all users of a machine.
TEST(Client, StartAndFinishAskForAnElevatedPromptAndSendNothingWithoutOne) {
    for (const std::vector<std::string>& arguments : {kStart, std::vector<std::string>{"finish"}}) {
        ScriptedPipe pipe({});
        std::ostringstream out;
        std::ostringstream err;
        Surroundings surroundings{pipe, out, err};
        surroundings.elevated = false;
        EXPECT_EQ(RunClient(arguments, surroundings), 50);
        EXPECT_EQ(out.str(), "");
        EXPECT_EQ(err.str(), arguments[0] + ": run this from an elevated prompt (Run as administrator).\n");
        EXPECT_TRUE(pipe.written.empty());
    }
}

TEST(Client, StatusNeedsNoElevatedPrompt) {
    ScriptedPipe pipe(Replying(2));
    std::ostringstream out;
    std::ostringstream err;
    Surroundings surroundings{pipe, out, err};
    surroundings.elevated = false;
    EXPECT_EQ(RunClient({"status"}, surroundings), 0);
}

TEST(Client, AfterAStartCutShortTheRepliesThatSayNothingCountAsTwo) {
    const std::string counts = "the start before it was cut short, so this counts as reply 2: changes may be missing\n";
    for (const std::uint8_t reply : {std::uint8_t{0}, std::uint8_t{3}}) {
        const RunResult run = RunWith(Replying(reply), StartWith({"--after-cut-short", "--exit-with-reply"}));
        EXPECT_EQ(run.exitCode, 12);
        EXPECT_NE(run.out.find("(reply " + std::to_string(reply) + ")\n" + counts), std::string::npos) << run.out;
        EXPECT_EQ(RunWith(Replying(reply), StartWith({"--exit-with-reply"})).exitCode, 10 + int{reply});
    }
    for (const std::uint8_t reply : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{4}, std::uint8_t{5}}) {
        const RunResult run = RunWith(Replying(reply), StartWith({"--after-cut-short", "--exit-with-reply"}));
        EXPECT_EQ(run.exitCode, 10 + int{reply});
        EXPECT_EQ(run.out.find(counts), std::string::npos);
    }
}

TEST(Client, AStartThatMayBeCutShortSaysHowToStartAgain) {
    const std::string hint = "This start may have been cut short. Start again with --after-cut-short.\n";
    const std::vector<std::vector<ScriptedCall>> cutShort = {
        Replying(5), {{"Open"}, {"Write"}, {"Read", 258}}, {{"Open"}, {"Write"}, {"Read", 1450}}};
    for (const std::vector<ScriptedCall>& script : cutShort) {
        EXPECT_TRUE(RunWith(script, kStart).out.ends_with(hint));
    }
    EXPECT_EQ(RunWith(Replying(0), kStart).out.find(hint), std::string::npos);
    EXPECT_EQ(RunWith({{"Open", 2}}, kStart).out.find(hint), std::string::npos);
    EXPECT_EQ(RunWith({{"Open"}, {"Write"}, {"Read", 258}}, {"finish"}).out.find(hint), std::string::npos);
}

}  // namespace
}  // namespace tavi::client
