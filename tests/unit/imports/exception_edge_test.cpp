#include "imports/exception_edge.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/captured_log.h"
#include "unit/records/cycle/failing_allocation.h"

namespace Drive {
namespace {

constexpr ClassLog kLog("Tag");
constexpr ExceptionTexts kTexts{.standard = "Work failed: exception ", .other = "Work failed"};

std::vector<std::string> TextsOf(const tavi::sim::CapturedLog& log) {
    std::vector<std::string> texts;
    for (const tavi::sim::LogLine& line : log.Lines()) {
        texts.push_back(line.classTag + "|" + line.function + "|" + line.text);
    }
    return texts;
}

TEST(ExceptionEdge, AnOperationThatThrowsNothingIsLeftAlone) {
    tavi::sim::CapturedLog log;
    int done = 0;
    EXPECT_TRUE(EndExceptions(kLog, "Work", kTexts, [&] { ++done; }));
    EXPECT_TRUE(EndStandardExceptions(kLog, "Work", kTexts, [&] { ++done; }));
    EXPECT_TRUE(EndExceptions([&] { ++done; }));
    EXPECT_EQ(done, 3);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(ExceptionEdge, AStandardExceptionIsAFailureAndALine) {
    tavi::sim::CapturedLog log;
    EXPECT_FALSE(EndExceptions(kLog, "Work", kTexts, [] { throw std::runtime_error("reason"); }));
    EXPECT_FALSE(EndStandardExceptions(kLog, "Work", kTexts, [] { throw std::bad_alloc(); }));
    EXPECT_FALSE(EndExceptions(kLog, "Work", {.standard = "No reason", .reasonFollows = false},
                               [] { throw std::runtime_error("reason"); }));
    EXPECT_EQ(TextsOf(log), (std::vector<std::string>{
                                "Tag|Work|Work failed: exception reason",
                                std::string("Tag|Work|Work failed: exception ") + std::bad_alloc().what(),
                                "Tag|Work|No reason",
                            }));
}

TEST(ExceptionEdge, AnotherExceptionHasItsOwnText) {
    tavi::sim::CapturedLog log;
    EXPECT_FALSE(EndExceptions(kLog, "Work", kTexts, [] { throw 7; }));
    EXPECT_EQ(TextsOf(log), std::vector<std::string>{"Tag|Work|Work failed"});
}

TEST(ExceptionEdge, AnotherExceptionPassesTheStandardEdge) {
    tavi::sim::CapturedLog log;
    EXPECT_THROW(EndStandardExceptions(kLog, "Work", kTexts, [] { throw 7; }), int);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(ExceptionEdge, WithoutATextThereIsNoLine) {
    tavi::sim::CapturedLog log;
    EXPECT_FALSE(EndExceptions([] { throw std::runtime_error("reason"); }));
    EXPECT_FALSE(EndExceptions([] { throw 7; }));
    EXPECT_TRUE(log.Lines().empty());
}

// Whichever allocation of the line fails, its making or the backend's copy of it.
TEST(ExceptionEdge, LoggingAnExceptionThrowsNothingWithoutMemory) {
    const std::runtime_error reason(std::string(200, 'r'));
    for (std::uint64_t nth = 1;; ++nth) {
        tavi::sim::CapturedLog log;
        bool fired = false;
        EXPECT_FALSE(EndStandardExceptions(kLog, "Work", kTexts, [&] { throw reason; }));
        {
            const tavi::records::testing::FailingAllocation failing(nth);
            EXPECT_NO_THROW(LogException(kLog, "Work", kTexts, reason));
            fired = failing.Fired();
        }
        if (!fired) {
            EXPECT_GT(nth, 1u);
            break;
        }
    }
}

}  // namespace
}  // namespace Drive
