#include "sim/captured_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::sim {
namespace {

using Drive::SyncPanelLog;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CapturedLog, KeepsEveryLineWithItsKind) {
    CapturedLog log(u"C:\\Log");
    SyncPanelLog::ListenServiceLogInit();
    SyncPanelLog::WriteErrorLog("Class", "Function", "went wrong");
    SyncPanelLog::WriteTraceLog("a trace");
    SyncPanelLog::WriteNetLog("a net line");
    SyncPanelLog::WriteSyncLog("Category", "Label", "rows");
    EXPECT_EQ(log.initialisations(), 1);
    EXPECT_THAT(log.Lines(),
                ElementsAre(LogLine{LogKind::kError, "Class", "Function", "went wrong"},
                            LogLine{LogKind::kTrace, "", "", "a trace"}, LogLine{LogKind::kNet, "", "", "a net line"},
                            LogLine{LogKind::kSync, "Category", "Label", "rows"}));
    EXPECT_TRUE(log.HasError("Class", "Function", "went wrong"));
    EXPECT_FALSE(log.HasError("Class", "Other", "went wrong"));
    EXPECT_TRUE(log.HasTrace("a trace"));
    EXPECT_FALSE(log.HasTrace("a net line"));
    EXPECT_TRUE(log.HasNet("a net line"));
    EXPECT_EQ(log.CountContaining("a "), 2U);
    EXPECT_EQ(log.Count("rows"), 1U);
    EXPECT_THAT(log.Texts(LogKind::kNet), ElementsAre("a net line"));
    EXPECT_EQ(log.Dump(),
              "error [Class] [Function] went wrong\ntrace [] [] a trace\nnet [] [] a net line\n"
              "sync [Category] [Label] rows\n");
    EXPECT_EQ(SyncPanelLog::GetLogPath(), u"C:\\Log");
    log.Clear();
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(CapturedLog, IsInstalledOnlyWhileItLives) {
    {
        CapturedLog log;
        SyncPanelLog::WriteTraceLog("x");
        EXPECT_EQ(log.Lines().size(), 1U);
    }
    SyncPanelLog::WriteTraceLog("nobody listens");
    EXPECT_EQ(SyncPanelLog::GetLogPath(), u"");
}

TEST(CapturedLog, TellsItsObserverOfEveryLine) {
    CapturedLog log;
    std::vector<std::string> seen;
    log.OnLine([&](const LogLine& line) {
        seen.push_back(line.text);
        EXPECT_TRUE(log.Contains(line.text)) << "kept before";
    });
    SyncPanelLog::WriteNetLog("one");
    SyncPanelLog::WriteTraceLog("two");
    EXPECT_THAT(seen, ElementsAre("one", "two"));
}

}  // namespace
}  // namespace tavi::sim
