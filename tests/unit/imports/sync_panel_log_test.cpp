#include "imports/sync_panel_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Drive {
namespace {

class MemoryLog : public LogBackend {
public:
    void Init() override { lines.emplace_back("init"); }
    void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) override {
        lines.push_back("error|" + std::string(classTag) + "|" + std::string(function) + "|" + std::string(message));
    }
    void WriteTraceLog(std::string_view message) override { lines.push_back("trace|" + std::string(message)); }
    void WriteNetLog(std::string_view message) override { lines.push_back("net|" + std::string(message)); }
    void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) override {
        lines.push_back("sync|" + std::string(category) + "|" + std::string(label) + "|" + std::string(text));
    }
    std::u16string GetLogPath() override { return u"C:\\logs"; }

    std::vector<std::string> lines;
};

void WriteOneOfEach() {
    SyncPanelLog::ListenServiceLogInit();
    SyncPanelLog::WriteErrorLog("Class", "Function", "message");
    SyncPanelLog::WriteTraceLog("trace message");
    SyncPanelLog::WriteNetLog("net message");
    SyncPanelLog::WriteSyncLog("Category", "label", "text");
}

TEST(SyncPanelLog, HandsEveryCallToTheInstalledBackend) {
    MemoryLog log;
    SyncPanelLog::Install(&log);
    WriteOneOfEach();
    EXPECT_TRUE(SyncPanelLog::GetLogPath() == u"C:\\logs");
    SyncPanelLog::Install(nullptr);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"init", "error|Class|Function|message", "trace|trace message",
                                                   "net|net message", "sync|Category|label|text"}));
}

TEST(SyncPanelLog, DoesNothingWithoutABackend) {
    MemoryLog log;
    SyncPanelLog::Install(&log);
    SyncPanelLog::Install(nullptr);
    WriteOneOfEach();
    EXPECT_TRUE(SyncPanelLog::GetLogPath().empty());
    EXPECT_TRUE(log.lines.empty());
}

}  // namespace
}  // namespace Drive
