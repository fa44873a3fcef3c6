#include "imports/client_refusals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/captured_log.h"

namespace tavi::DigitalSignature {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr platform::FileTime kHour = platform::FileTime{36} * 1'000'000'000;  // 100 ns
constexpr platform::FileTime kNow = 1000 * kHour;

class ClientRefusalsTest : public testing::Test {
protected:
    std::vector<std::string> Lines() const {
        std::vector<std::string> texts;
        for (const sim::LogLine& line : log.Lines()) {
            EXPECT_EQ(line.kind, sim::LogKind::kError);
            EXPECT_EQ(line.classTag, "DigitalSignature");
            EXPECT_EQ(line.function, "IsValidClient");
            texts.push_back(line.text);
        }
        return texts;
    }

    sim::CapturedLog log;
    ClientRefusals refusals;
};

TEST_F(ClientRefusalsTest, ARefusalIsALineWithTheProcessAndTheReason) {
    refusals.Refused({4711, 7}, kNow, "its executable is signed by another publisher: X");
    EXPECT_THAT(Lines(), ElementsAre("Refused the client process 4711: its executable is signed by another publisher: "
                                     "X"));
}

TEST_F(ClientRefusalsTest, AProcessThatComesAgainGetsNoFurtherLine) {
    for (int i = 0; i < 1000; ++i) {
        refusals.Refused({4711, 7}, kNow + static_cast<platform::FileTime>(i) * kHour, "reason");
    }
    EXPECT_THAT(Lines(), SizeIs(1));
}

TEST_F(ClientRefusalsTest, AnotherProcessWithTheSameNumberGetsItsOwnLine) {
    refusals.Refused({4711, 7}, kNow, "first");
    refusals.Refused({4711, 8}, kNow, "second");
    refusals.Refused({0, 0}, kNow, "third");
    refusals.Refused({0, 0}, kNow, "third again");
    EXPECT_THAT(Lines(), ElementsAre(EndsWith("first"), EndsWith("second"), EndsWith("third")));
}

TEST_F(ClientRefusalsTest, TheLastSixtyFourProcessesAreRemembered) {
    for (std::uint32_t process = 1; process <= 65; ++process) {
        refusals.Refused({process, 1}, kNow, "reason");
    }
    ASSERT_THAT(Lines(), SizeIs(65));
    for (std::uint32_t process = 65; process >= 2; --process) {
        refusals.Refused({process, 1}, kNow, "reason");
    }
    EXPECT_THAT(Lines(), SizeIs(65));
    refusals.Refused({1, 1}, kNow, "reason");
    EXPECT_THAT(Lines(), SizeIs(66)) << "the oldest was forgotten";
    refusals.Refused({3, 1}, kNow, "reason");
    EXPECT_THAT(Lines(), SizeIs(66));
    refusals.Refused({2, 1}, kNow, "reason");
    EXPECT_THAT(Lines(), SizeIs(67)) << "the next oldest";
}

TEST_F(ClientRefusalsTest, AnHourHasAHundredLinesAndTheNextOneSaysWhatWasLeftOut) {
    std::uint32_t process = 0;
    for (int i = 0; i < 1000; ++i) {
        refusals.Refused({++process, 1}, kNow + kHour - 1, "reason");
    }
    ASSERT_THAT(Lines(), SizeIs(100));
    EXPECT_EQ(Lines()[98], "Refused the client process 99: reason");
    EXPECT_EQ(Lines()[99], "Refused the client process 100: reason; no more of these lines within this hour");
    refusals.Refused({++process, 1}, kNow + 2 * kHour - 2, "reason");
    EXPECT_THAT(Lines(), SizeIs(100));
    refusals.Refused({++process, 1}, kNow + 2 * kHour - 1, "reason");
    refusals.Refused({++process, 1}, kNow + 2 * kHour - 1, "reason");
    ASSERT_THAT(Lines(), SizeIs(102));
    EXPECT_EQ(Lines()[100], "Refused the client process 1002: reason; refused without a line before it: 901");
    EXPECT_EQ(Lines()[101], "Refused the client process 1003: reason");
}

TEST_F(ClientRefusalsTest, AClockThatIsSetBackBeginsANewHour) {
    for (std::uint32_t process = 1; process <= 100; ++process) {
        refusals.Refused({process, 1}, kNow, "reason");
    }
    refusals.Refused({101, 1}, kNow - 1, "reason");
    EXPECT_THAT(Lines().back(), HasSubstr("process 101"));
    EXPECT_THAT(Lines().back(), Not(HasSubstr("no more")));
}

TEST_F(ClientRefusalsTest, MoreThanThreeRefusalsInARowCostAPause) {
    EXPECT_EQ(refusals.PauseMs(), 0u);
    for (int i = 1; i <= 3; ++i) {
        refusals.Refused({4711, 7}, kNow, "reason");
        EXPECT_EQ(refusals.PauseMs(), 0u) << i;
    }
    for (int i = 4; i <= 10; ++i) {
        refusals.Refused({4711, 7}, kNow, "reason");
        EXPECT_EQ(refusals.PauseMs(), 100u) << i;
    }
    refusals.Accepted();
    EXPECT_EQ(refusals.PauseMs(), 0u);
    refusals.Refused({4711, 7}, kNow, "reason");
    EXPECT_EQ(refusals.PauseMs(), 0u) << "the count begins anew";
}

}  // namespace
}  // namespace tavi::DigitalSignature
