#include "tavi_client/conversation.h"

#include <gtest/gtest.h>

#include "unit/client_library/scripted_pipe.h"

namespace tavi::client {
namespace {

const Frame kRequest = BuildFrame(Command::kStatus);

TEST(Conversation, SendsTheRequestOnceAndTakesTheStatus) {
    ScriptedPipe pipe({{"Open"}, {"Write"}, {"Read", 0, ReplyBytes(2)}});
    const Answer answer = Ask(pipe, kRequest, 1000);
    EXPECT_EQ(answer.outcome, Outcome::kReplied);
    EXPECT_EQ(answer.status, 2U);
    ASSERT_EQ(pipe.written.size(), 1U);
    EXPECT_EQ(pipe.written[0], kRequest);
    EXPECT_FALSE(pipe.IsOpen());
}

TEST(Conversation, WaitsForItsTurnWhileAnotherClientIsServed) {
    ScriptedPipe pipe({{"Open", 231},
                       {"WaitForInstance", 0, {}, 300},
                       {"Open", 231},
                       {"WaitForInstance", 0, {}, 100},
                       {"Open"},
                       {"Write"},
                       {"Read", 0, ReplyBytes(0)}});
    EXPECT_EQ(Ask(pipe, kRequest, 1000).outcome, Outcome::kReplied);
    EXPECT_EQ(pipe.timeouts, (std::vector<std::uint32_t>{1000, 700, 600, 600}));
}

TEST(Conversation, EveryCallGetsTheTimeThatIsLeft) {
    ScriptedPipe pipe({{"Open", 0, {}, 100}, {"Write", 0, {}, 250}, {"Read", 0, ReplyBytes(0)}});
    Ask(pipe, kRequest, 1000);
    EXPECT_EQ(pipe.timeouts, (std::vector<std::uint32_t>{900, 650}));
}

TEST(Conversation, AClientThatNeverGetsItsTurnHasNoAnswer) {
    ScriptedPipe waited({{"Open", 231}, {"WaitForInstance", 121, {}, 1000}});
    EXPECT_EQ(Ask(waited, kRequest, 1000).outcome, Outcome::kNoAnswer);

    ScriptedPipe overtaken({{"Open", 231}, {"WaitForInstance", 0, {}, 1000}, {"Open", 231}});
    EXPECT_EQ(Ask(overtaken, kRequest, 1000).outcome, Outcome::kNoAnswer);
}

TEST(Conversation, FailuresAreToldApartByTheirCode) {
    struct Row {
        const char* name;
        std::vector<ScriptedCall> script;
        Outcome outcome;
        std::uint32_t error;
    };
    const Row rows[] = {
        {"no pipe", {{"Open", 2}}, Outcome::kNotThere, 2},
        {"the pipe goes while waiting", {{"Open", 231}, {"WaitForInstance", 2}}, Outcome::kNotThere, 2},
        {"access denied", {{"Open", 5}}, Outcome::kDenied, 5},
        {"another failure", {{"Open", 1450}}, Outcome::kFailed, 1450},
        {"late write", {{"Open"}, {"Write", 258}}, Outcome::kNoAnswer, 258},
        {"late reply", {{"Open"}, {"Write"}, {"Read", 258}}, Outcome::kNoAnswer, 258},
        {"too long a reply", {{"Open"}, {"Write"}, {"Read", 234}}, Outcome::kInvalidReply, 234},
    };
    for (const Row& row : rows) {
        ScriptedPipe pipe(row.script);
        const Answer answer = Ask(pipe, kRequest, 1000);
        EXPECT_EQ(answer.outcome, row.outcome) << row.name;
        EXPECT_EQ(answer.error, row.error) << row.name;
        EXPECT_FALSE(pipe.IsOpen()) << row.name;
    }
}

TEST(Conversation, BytesThatAreNoReplyAreSaidToBeNone) {
    ScriptedPipe pipe({{"Open"}, {"Write"}, {"Read", 0, {1, 2, 3}}});
    EXPECT_EQ(Ask(pipe, kRequest, 1000).outcome, Outcome::kInvalidReply);
}

TEST(Conversation, AClientDroppedOnceComesAgain) {
    for (const std::uint32_t code : {109U, 232U, 233U}) {
        ScriptedPipe pipe({{"Open"}, {"Write"}, {"Read", code}, {"Open"}, {"Write"}, {"Read", 0, ReplyBytes(1)}});
        const Answer answer = Ask(pipe, kRequest, 1000);
        EXPECT_EQ(answer.outcome, Outcome::kReplied) << code;
        EXPECT_EQ(answer.status, 1U) << code;
    }
}

TEST(Conversation, AClientDroppedTwiceIsTurnedAway) {
    ScriptedPipe pipe({{"Open"}, {"Write", 233}, {"Open"}, {"Write"}, {"Read", 109}});
    const Answer answer = Ask(pipe, kRequest, 1000);
    EXPECT_EQ(answer.outcome, Outcome::kTurnedAway);
    EXPECT_EQ(answer.error, 109U);
}

TEST(Conversation, NobodyComesAgainWhenTheTimeIsOver) {
    ScriptedPipe pipe({{"Open"}, {"Write"}, {"Read", 109, {}, 900}});
    EXPECT_EQ(Ask(pipe, kRequest, 1000).outcome, Outcome::kTurnedAway);
}

TEST(StartEnd, OnlyAnAnswerOfZeroToFourOrAPipeThatNeverOpenedIsNoStartCutShort) {
    struct Row {
        Answer answer;
        StartEnd end;
    };
    const Row rows[] = {
        {{Outcome::kReplied, 0, 0}, StartEnd::kAnswered},
        {{Outcome::kReplied, 1, 0}, StartEnd::kAnswered},
        {{Outcome::kReplied, 2, 0}, StartEnd::kAnswered},
        {{Outcome::kReplied, 3, 0}, StartEnd::kAnswered},
        {{Outcome::kReplied, 4, 0}, StartEnd::kAnswered},
        {{Outcome::kReplied, 5, 0}, StartEnd::kMayBeCutShort},
        {{Outcome::kReplied, 6, 0}, StartEnd::kMayBeCutShort},
        {{Outcome::kNotThere, 0, 2}, StartEnd::kAnswered},
        {{Outcome::kDenied, 0, 5}, StartEnd::kAnswered},
        {{Outcome::kTurnedAway, 0, 109}, StartEnd::kMayBeCutShort},
        {{Outcome::kNoAnswer, 0, 258}, StartEnd::kMayBeCutShort},
        {{Outcome::kInvalidReply, 0, 0}, StartEnd::kMayBeCutShort},
        {{Outcome::kFailed, 0, 1450}, StartEnd::kMayBeCutShort},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(HowStartEnded(row.answer), row.end)
            << static_cast<int>(row.answer.outcome) << ' ' << row.answer.status;
    }
}

TEST(StartEnd, AfterAStartCutShortZeroAndThreeCountAsTwo) {
    const std::uint32_t counted[] = {2, 1, 2, 2, 4, 5};
    for (std::uint32_t status = 0; status <= 5; ++status) {
        EXPECT_EQ(StatusToActOn(StartEnd::kAnswered, status), status);
        EXPECT_EQ(StatusToActOn(StartEnd::kMayBeCutShort, status), counted[status]) << status;
    }
}

}  // namespace
}  // namespace tavi::client
